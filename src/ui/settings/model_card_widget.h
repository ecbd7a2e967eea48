#pragma once

#include "model/catalogue.h"

#include <QFrame>

#include <cstdint>
#include <functional>
#include <string>

class QLabel;
class QProgressBar;
class QPushButton;

namespace quillo::ui {

/// What a card shows of its model. Texts are UTF-8.
struct ModelCardData {
    std::string id;
    std::string name;
    std::string description;
    std::uint64_t sizeBytes = 0;
    model::ModelStatus status = model::ModelStatus::NotDownloaded;
    bool recommended = false;
    std::int32_t progress = 0; ///< of a download, in percent
};

/// A number of bytes in the largest unit, B to GB, of which there is at least one: "75 MB", "1.5 GB".
QString formatSize(std::uint64_t bytes);

/// One speech model: its name, size and state, and a button for everything that can be done with it in that state.
///
/// Shows and asks, but does nothing itself: each button calls its callback with the id of the model, and an empty one
/// is skipped. Delete calls only after the user has confirmed. User-interface thread.
class ModelCardWidget final : public QFrame {
    Q_OBJECT

public:
    using Callback = std::function<void(const std::string& id)>;

    explicit ModelCardWidget(ModelCardData model, QWidget* parent = nullptr);
    ~ModelCardWidget() override;

    const std::string& id() const { return model_.id; }

    /// Of a download. Seen only while the status is Downloading.
    void setProgress(int percent);
    void setStatus(model::ModelStatus status);

    void setOnDownload(Callback onDownload);
    void setOnSetActive(Callback onSetActive);
    void setOnDelete(Callback onDelete);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    QLayout* buildHeader();
    QLayout* buildStatus();
    QWidget* buildProgress();
    QWidget* buildButtons();
    void showStatus();
    void call(const Callback& callback) const;
    void confirmDelete();

    ModelCardData model_;
    QLabel* statusBadge_ = nullptr; // the widgets belong to their parents
    QWidget* progressRow_ = nullptr;
    QProgressBar* progressBar_ = nullptr;
    QLabel* progressLabel_ = nullptr;
    QPushButton* downloadButton_ = nullptr;
    QPushButton* setActiveButton_ = nullptr;
    QPushButton* deleteButton_ = nullptr;
    Callback onDownload_;
    Callback onSetActive_;
    Callback onDelete_;
};

} // namespace quillo::ui
