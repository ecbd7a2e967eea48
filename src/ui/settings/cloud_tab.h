#pragma once

#include "ui/settings/settings_page.h"
#include "ui/settings/settings_services.h"

class QComboBox;

namespace quillo {

class CloudServiceBox;

/// The page of the cloud services: which source comes first, and their keys. User-interface thread.
class CloudTab final : public SettingsPage {
public:
    /// onCloudTest tries a key when the user asks for it.
    explicit CloudTab(const CloudTestCallback& onCloudTest);

    void setSettings(const SettingsData& settings) override;
    void collectSettings(SettingsData& settings) const override;

private:
    QComboBox* sourceCombo_; // the widgets belong to their parents
    CloudServiceBox* openai_;
    CloudServiceBox* mistral_;
};

} // namespace quillo
