#include "ui/settings/models_tab.h"

#include "model/model_manager.h"
#include "ui/settings/look.h"
#include "ui/settings/model_card_widget.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QStandardPaths>
#include <QUrl>
#include <QVBoxLayout>

#include <map>
#include <mutex>
#include <utility>

namespace quillo {

using model::ModelStatus;
using ui::ModelCardWidget;

/// Which reports of downloads are worth an event. A fast one reports the same percentage thousands of times, which
/// passes once, so that a download costs the page about a hundred events at most. Any thread.
class ModelsTab::ReportFilter {
public:
    bool passes(const std::string& id, ModelStatus status, int percent)
    {
        const std::lock_guard lock(mutex_);
        if (status != ModelStatus::Downloading) { // the end, which always counts
            passed_.erase(id);
            return true;
        }
        // All bytes are there, but maybe of an error page, and not yet under the model's name: the end will tell.
        if (percent >= 100)
            return false;
        const auto [last, isFirst] = passed_.try_emplace(id, percent);
        return isFirst || std::exchange(last->second, percent) != percent;
    }

    /// The cards show something else by now: the next report of every download passes.
    void renew()
    {
        const std::lock_guard lock(mutex_);
        passed_.clear();
    }

private:
    std::mutex mutex_; // guards what follows
    std::map<std::string, int> passed_; // last percentage of each running download
};

ModelsTab::ModelsTab(model::ModelManager* modelManager, ActiveModelCallback onActiveModelChanged)
    : SettingsPage("modelsTab", "Models")
    , reportFilter_(std::make_shared<ReportFilter>())
    , onActiveModelChanged_(std::move(onActiveModelChanged))
    , diskUsageLabel_(makeLabel("secondary"))
{
    auto* const separator = new QFrame;
    separator->setObjectName("modelsSeparator");
    separator->setFrameShape(QFrame::HLine);
    fixHeight(separator, 1);
    separator->setStyleSheet(QString("background-color: %1;").arg(color::border));
    diskUsageLabel_->setObjectName("diskUsageLabel");

    auto* const layout = makeColumn("Whisper Models", 10, 12, diskUsageLabel_);
    layout->addWidget(buildCards(), 1);
    layout->addWidget(separator);
    layout->addLayout(buildFooter());
    populateModels(modelManager);
}

QWidget* ModelsTab::buildCards()
{
    cardsContainer_ = new QWidget;
    cardsContainer_->setObjectName("cardsContainer");
    cardsLayout_ = new QVBoxLayout(cardsContainer_);
    cardsLayout_->setContentsMargins(0, 0, 4, 0);
    cardsLayout_->setSpacing(6);
    cardsLayout_->addStretch();
    auto* const area = new QScrollArea;
    area->setObjectName("modelsScrollArea");
    area->setAccessibleName("Whisper Models");
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(cardsContainer_);
    return area;
}

QLayout* ModelsTab::buildFooter()
{
    modelsPathLabel_ = makeLabel("secondary");
    modelsPathLabel_->setObjectName("modelsPathLabel");
    modelsPathLabel_->setAccessibleName("Models folder");
    modelsPathLabel_->setStyleSheet(textStyle(color::faintText));
    modelsPathLabel_->setTextFormat(Qt::PlainText);
    modelsPathLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // The text follows the width, never the other way round; there is none before the first layout.
    modelsPathLabel_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    modelsPathLabel_->resize(0, 0);
    separateToolTip(modelsPathLabel_);
    auto* const open = new QPushButton("Open Folder");
    open->setObjectName("openFolderButton");
    fixHeight(open, 26);
    open->setStyleSheet("padding-top: 0; padding-bottom: 0;"); // the theme's would leave too little for the text
    open->setMinimumWidth(110);
    connect(open, &QPushButton::clicked, this, &ModelsTab::openFolder);

    auto* const row = new QHBoxLayout;
    row->setContentsMargins(0, 4, 0, 0);
    row->setSpacing(8);
    row->addWidget(modelsPathLabel_, 1);
    row->addWidget(open);
    return row;
}

void ModelsTab::populateModels(model::ModelManager* modelManager)
{
    modelManager_ = modelManager;
    if (!modelManager_)
        return;
    for (ModelCardWidget* card : std::exchange(modelCards_, {}))
        delete card;
    const std::string recommendedId = modelManager_->recommendedModel().id;
    for (const model::ModelInfo& model : modelManager_->availableModels())
        addCard(model, model.id == recommendedId);
    // The cards come later into the window than what stands below them.
    QWidget* previous = findChild<QScrollArea*>();
    for (QPushButton* button : cardsContainer_->findChildren<QPushButton*>())
        QWidget::setTabOrder(std::exchange(previous, button), button);
    reportFilter_->renew();
    updateDiskUsage();
    modelsFolderPath_ = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/models";
    updateModelsPathLabel();
}

void ModelsTab::addCard(const model::ModelInfo& model, bool recommended)
{
    auto* const card = new ModelCardWidget(
        {model.id, model.name, model.description, model.sizeBytes, model.status, recommended, model.progress},
        cardsContainer_);
    card->setOnDownload([this](const std::string& id) { download(id); });
    card->setOnSetActive([this](const std::string& id) { setActive(id); });
    card->setOnDelete([this](const std::string& id) { deleteModel(id); });
    cardsLayout_->insertWidget(cardsLayout_->count() - 1, card);
    modelCards_.push_back(card);
}

void ModelsTab::updateDiskUsage()
{
    if (modelManager_)
        diskUsageLabel_->setText(
            QString("%1 used / %2 free")
                .arg(ui::formatSize(modelManager_->usedSpace()), ui::formatSize(modelManager_->freeSpace())));
}

void ModelsTab::updateModelsPathLabel()
{
    if (modelsFolderPath_.isEmpty())
        return;
    const int width = modelsPathLabel_->width() < 100 ? 280 : modelsPathLabel_->width();
    modelsPathLabel_->setText(modelsPathLabel_->fontMetrics().elidedText(modelsFolderPath_, Qt::ElideMiddle, width));
    modelsPathLabel_->setToolTip(modelsFolderPath_);
}

void ModelsTab::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    updateModelsPathLabel(); // the page gets its size later than the window, when it is first shown
}

void ModelsTab::setStatus(const std::string& id, ModelStatus status)
{
    for (ModelCardWidget* card : modelCards_)
        if (card->id() == id)
            card->setStatus(status);
}

void ModelsTab::onModelProgress(const std::string& id, ModelStatus status, int percent)
{
    for (ModelCardWidget* card : modelCards_)
        if (card->id() == id)
            card->setProgress(percent);
    if (status == ModelStatus::Error) {
        setStatus(id, ModelStatus::Error);
    } else if (percent >= 100) {
        setStatus(id, ModelStatus::Downloaded);
        updateDiskUsage();
    } else {
        setStatus(id, ModelStatus::Downloading);
    }
}

void ModelsTab::download(const std::string& id)
{
    if (!modelManager_)
        return;
    onModelProgress(id, ModelStatus::Downloading, 0); // at once: the server may be slow to answer
    reportFilter_->renew();
    const auto show =
        lateCalls_.to([this, id](ModelStatus status, int percent) { onModelProgress(id, status, percent); });
    modelManager_->downloadModel(id, [show, filter = reportFilter_](const model::ModelInfo& info, int percent) {
        if (filter->passes(info.id, info.status, percent))
            show(info.status, percent);
    });
}

void ModelsTab::setActive(const std::string& id)
{
    if (!modelManager_ || !modelManager_->setActiveModel(id))
        return;
    // The listing knows nothing of downloads: a card that shows one is put right by the next report.
    for (const model::ModelInfo& model : modelManager_->availableModels())
        setStatus(model.id, model.status);
    reportFilter_->renew();
    if (onActiveModelChanged_)
        onActiveModelChanged_(id);
}

void ModelsTab::deleteModel(const std::string& id)
{
    if (!modelManager_ || !modelManager_->deleteModel(id))
        return;
    setStatus(id, ModelStatus::NotDownloaded);
    updateDiskUsage();
}

void ModelsTab::openFolder() const
{
    if (!modelsFolderPath_.isEmpty())
        QDesktopServices::openUrl(QUrl::fromLocalFile(modelsFolderPath_));
}

} // namespace quillo
