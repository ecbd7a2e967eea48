#pragma once

#include "ui/settings/settings_callbacks.h"

#include <QWidget>

namespace quillo {

namespace model {
class ModelManager;
}

/// The page of the speech models: which there are, their download, choice and removal. User-interface thread.
class ModelsTab final : public QWidget {
public:
    explicit ModelsTab(QWidget* parent = nullptr);

    /// Fills the page; the manager is not owned and may be null.
    void populateModels(model::ModelManager* modelManager);

    /// Fits the folder's name to the width of the page.
    void updateModelsPathLabel();

    void setOnActiveModelChanged(ActiveModelCallback onActiveModelChanged);

private:
    model::ModelManager* modelManager_ = nullptr;
    ActiveModelCallback onActiveModelChanged_;
};

} // namespace quillo
