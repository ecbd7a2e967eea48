#include "ui/settings/appearance_tab.h"

namespace quillo {

AppearanceTab::AppearanceTab(QWidget* parent)
    : QWidget(parent)
{
    setObjectName("appearanceTab");
    setAccessibleName("Style");
}

} // namespace quillo
