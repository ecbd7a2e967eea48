#pragma once

#include "ui/settings/settings_callbacks.h"

#include <QWidget>

namespace quillo {

/// The page of the cloud services: which source comes first, and their keys. User-interface thread.
class CloudTab final : public QWidget {
public:
    explicit CloudTab(QWidget* parent = nullptr);

    void setOnCloudTest(CloudTestCallback onCloudTest);

private:
    CloudTestCallback onCloudTest_;
};

} // namespace quillo
