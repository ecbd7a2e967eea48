#include "ui/settings/models_tab.h"

#include <utility>

namespace quillo {

ModelsTab::ModelsTab(QWidget* parent)
    : QWidget(parent)
{
    setObjectName("modelsTab");
    setAccessibleName("Models");
}

void ModelsTab::populateModels(model::ModelManager* modelManager)
{
    modelManager_ = modelManager;
}

// The page does not show the folder yet.
void ModelsTab::updateModelsPathLabel() { }

void ModelsTab::setOnActiveModelChanged(ActiveModelCallback onActiveModelChanged)
{
    onActiveModelChanged_ = std::move(onActiveModelChanged);
}

} // namespace quillo
