#pragma once

#include "settings/settings_data.h"
#include "ui/settings/settings_callbacks.h"

#include <QWidget>

class QComboBox;

namespace quillo {

class CloudServiceBox;

/// The page of the cloud services: which source comes first, and their keys. User-interface thread.
class CloudTab final : public QWidget {
public:
    explicit CloudTab(QWidget* parent = nullptr);

    void setSettings(const SettingsData& settings);

    /// Overwrites the fields of this page.
    void collectSettings(SettingsData& settings) const;

    /// Tries a key when the user asks for it.
    void setOnCloudTest(const CloudTestCallback& onCloudTest);

private:
    QComboBox* sourceCombo_; // the widgets belong to their parents
    CloudServiceBox* openai_;
    CloudServiceBox* mistral_;
};

} // namespace quillo
