#include "ui/settings/cloud_tab.h"

#include <utility>

namespace quillo {

CloudTab::CloudTab(QWidget* parent)
    : QWidget(parent)
{
    setObjectName("cloudTab");
    setAccessibleName("Cloud");
}

void CloudTab::setOnCloudTest(CloudTestCallback onCloudTest)
{
    onCloudTest_ = std::move(onCloudTest);
}

} // namespace quillo
