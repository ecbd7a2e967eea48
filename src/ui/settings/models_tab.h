#pragma once

#include "model/catalogue.h"
#include "ui/settings/late_calls.h"
#include "ui/settings/settings_page.h"
#include "ui/settings/settings_services.h"

#include <memory>
#include <string>
#include <vector>

class QLabel;
class QVBoxLayout;

namespace quillo {

namespace ui {
class ModelCardWidget;
}

/// The page of the speech models: which there are, their download, choice and removal, one card for each.
///
/// User-interface thread. A download that is under way when the page goes runs on, unseen.
class ModelsTab final : public SettingsPage {
public:
    ModelsTab(model::ModelManager* modelManager, ActiveModelCallback onActiveModelChanged);

    /// Makes all cards afresh. The manager is not owned and must outlive the page; null leaves everything as it is and
    /// makes the buttons do nothing. Not from one of the page's own callbacks.
    void populateModels(model::ModelManager* modelManager);

    void updateDiskUsage();

    /// Fits the folder's name to the width there is.
    void updateModelsPathLabel();

    /// Shows how a download stands.
    void onModelProgress(const std::string& id, model::ModelStatus status, int percent);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    class ReportFilter;

    QWidget* buildCards();
    QLayout* buildFooter();
    void addCard(const model::ModelInfo& model, bool recommended);
    void setStatus(const std::string& id, model::ModelStatus status);
    void download(const std::string& id);
    void setActive(const std::string& id);
    void deleteModel(const std::string& id);
    void openFolder() const;

    model::ModelManager* modelManager_ = nullptr;
    const LateCalls lateCalls_; ///< for the reports of downloads, which come on threads of their own
    const std::shared_ptr<ReportFilter> reportFilter_; ///< shared with the downloads
    const ActiveModelCallback onActiveModelChanged_;
    QLabel* diskUsageLabel_; // the widgets belong to their parents
    QWidget* cardsContainer_ = nullptr;
    QVBoxLayout* cardsLayout_ = nullptr;
    std::vector<ui::ModelCardWidget*> modelCards_; ///< in the order shown
    QLabel* modelsPathLabel_ = nullptr;
    QString modelsFolderPath_; ///< empty until there are cards
};

} // namespace quillo
