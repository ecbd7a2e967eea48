#include "ui/settings/model_card_widget.h"

#include "ui/settings/look.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <array>
#include <utility>

namespace quillo::ui {

using model::ModelStatus;

namespace {

QString cardStyle()
{
    return QString("#modelCard {  background-color: %1;  border: 1px solid %2;  border-radius: 8px;}"
                   "#modelCard:hover {  border-color: %3;}")
        .arg(color::card, color::border, color::borderHover);
}

QString nameStyle()
{
    return QString("font-size: 14px; font-weight: bold; color: %1; background: transparent;").arg(color::text);
}

QString recommendedStyle()
{
    return QString("background-color: %1;color: %2;font-size: 9px;font-weight: bold;"
                   "padding: 2px 6px;border-radius: 3px;border: 1px solid %3;")
        .arg(color::warningBackground, color::warning, color::warningBorder);
}

QString progressBarStyle()
{
    return QString("QProgressBar { background-color: %1; border: none; border-radius: 3px;"
                   " min-height: 6px; max-height: 6px; }"
                   "QProgressBar::chunk { background-color: %2; border-radius: 3px; }")
        .arg(color::window, color::accent);
}

QString setActiveStyle()
{
    return QString("QPushButton { background-color: %1; color: %2; border: 1px solid %3; "
                   " border-radius: 6px; padding: 4px 16px; font-size: 12px; font-weight: bold; }"
                   "QPushButton:hover { background-color: %4; border-color: %2; }")
        .arg(color::successBackground, color::success, color::successBorder, color::successHover);
}

QString deleteStyle()
{
    return QString("QPushButton { background-color: transparent; color: %1; border: 1px solid %2; "
                   " border-radius: 6px; padding: 4px 16px; font-size: 12px; }"
                   "QPushButton:hover { background-color: %3; border-color: %1; }"
                   "QPushButton:disabled { color: %4; border-color: %5; }")
        .arg(
            color::error, color::errorBorder, color::errorBackground, color::errorDisabled, color::errorDisabledBorder);
}

/// How a card looks in one state, and which of its parts are there.
struct StateLook {
    const char* badge;
    const char* background;
    const char* color;
    bool framed;
    bool progress;
    bool download;
    bool setActive;
    bool remove;
};

const StateLook& lookOf(ModelStatus status)
{
    static constexpr std::array<StateLook, 5> looks{{
        {"Not Downloaded", color::neutralBackground, color::faintText, false, false, true, false, false},
        {"Downloading...", color::accentBackground, color::accent, false, true, false, false, false},
        {"Downloaded", color::accentBackground, color::information, false, false, false, true, true},
        {"Active", color::successBackground, color::success, true, false, false, false, true},
        {"Error", color::errorBackground, color::error, false, false, true, false, false},
    }};
    return looks.at(static_cast<std::size_t>(status));
}

QLabel* makeCardLabel(const char* objectName, const QString& text, const QString& style, QWidget* parent)
{
    auto* const label = new QLabel(text, parent);
    label->setObjectName(objectName);
    label->setStyleSheet(style);
    return label;
}

} // namespace

QString formatSize(std::uint64_t bytes)
{
    constexpr std::uint64_t kilobyte = 1024;
    constexpr std::uint64_t megabyte = 1024 * kilobyte;
    constexpr std::uint64_t gigabyte = 1024 * megabyte;
    const auto in = [bytes](std::uint64_t unit) { return static_cast<double>(bytes) / static_cast<double>(unit); };
    if (bytes >= gigabyte)
        return QString("%1 GB").arg(in(gigabyte), 0, 'f', 1);
    if (bytes >= megabyte)
        return QString("%1 MB").arg(in(megabyte), 0, 'f', 0);
    if (bytes >= kilobyte)
        return QString("%1 KB").arg(in(kilobyte), 0, 'f', 0);
    return QString("%1 B").arg(bytes);
}

ModelCardWidget::ModelCardWidget(ModelCardData model, QWidget* parent)
    : QFrame(parent)
    , model_(std::move(model))
{
    setObjectName("modelCard");
    setAccessibleName(QString::fromStdString(model_.name));
    setFrameShape(QFrame::StyledPanel);
    setStyleSheet(cardStyle());
    auto* const rows = new QVBoxLayout(this);
    rows->setContentsMargins(16, 12, 16, 12);
    rows->setSpacing(4);
    auto* const description = makeCardLabel(
        "descriptionLabel", QString::fromStdString(model_.description), textStyle(color::faintText), this);
    description->setWordWrap(true);
    rows->addLayout(buildHeader());
    rows->addWidget(description);
    rows->addLayout(buildStatus());
    rows->addWidget(buildProgress());
    rows->addWidget(buildButtons());
    setProgress(model_.progress);
    showStatus();
}

ModelCardWidget::~ModelCardWidget() = default;

QLayout* ModelCardWidget::buildHeader()
{
    auto* const row = new QHBoxLayout;
    row->setSpacing(8);
    row->addWidget(makeCardLabel("nameLabel", QString::fromStdString(model_.name), nameStyle(), this));
    if (model_.recommended) {
        auto* const badge = makeCardLabel("recommendedBadge", "RECOMMENDED", recommendedStyle(), this);
        badge->setFixedHeight(18);
        row->addWidget(badge);
    }
    row->addStretch();
    row->addWidget(makeCardLabel("sizeLabel", formatSize(model_.sizeBytes), textStyle(color::secondaryText, 12), this));
    return row;
}

QLayout* ModelCardWidget::buildStatus()
{
    statusBadge_ = new QLabel(this);
    statusBadge_->setObjectName("statusBadge");
    statusBadge_->setFixedHeight(20);
    auto* const row = new QHBoxLayout;
    row->setContentsMargins(0, 2, 0, 0);
    row->addWidget(statusBadge_);
    row->addStretch();
    return row;
}

QWidget* ModelCardWidget::buildProgress()
{
    progressRow_ = new QWidget(this);
    progressRow_->setObjectName("progressRow");
    progressRow_->setStyleSheet("background: transparent;");
    progressBar_ = new QProgressBar(progressRow_);
    progressBar_->setObjectName("progressBar");
    progressBar_->setAccessibleName(QString("Download of %1").arg(accessibleName()));
    progressBar_->setRange(0, 100);
    progressBar_->setTextVisible(false);
    progressBar_->setFixedHeight(6);
    progressBar_->setStyleSheet(progressBarStyle());
    progressLabel_ = makeCardLabel("progressLabel", {}, textStyle(color::secondaryText), progressRow_);
    progressLabel_->setFixedWidth(40);
    auto* const row = new QHBoxLayout(progressRow_);
    row->setContentsMargins(0, 2, 0, 2);
    row->setSpacing(10);
    row->addWidget(progressBar_, 1);
    row->addWidget(progressLabel_);
    return progressRow_;
}

QWidget* ModelCardWidget::buildButtons()
{
    auto* const buttons = new QWidget(this);
    buttons->setObjectName("buttonRow");
    buttons->setStyleSheet("background: transparent;");
    auto* const row = new QHBoxLayout(buttons);
    row->setContentsMargins(0, 4, 0, 0);
    row->setSpacing(8);
    const auto add = [&](const char* objectName, const QString& text, const QString& style) {
        auto* const button = new QPushButton(text, buttons);
        button->setObjectName(objectName);
        button->setAccessibleName(text + ' ' + accessibleName());
        button->setStyleSheet(style);
        fixHeight(button, 30);
        row->addWidget(button);
        return button;
    };
    downloadButton_ = add("downloadButton", "Download", primaryButtonStyle(4, 12));
    setActiveButton_ = add("setActiveButton", "Set Active", setActiveStyle());
    deleteButton_ = add("deleteButton", "Delete", deleteStyle());
    row->addStretch();
    separateToolTip(deleteButton_);
    connect(
        downloadButton_, &QPushButton::clicked, this, [this] { call(onDownload_); });
    connect(setActiveButton_, &QPushButton::clicked, this, [this] { call(onSetActive_); });
    connect(deleteButton_, &QPushButton::clicked, this, &ModelCardWidget::confirmDelete);
    return buttons;
}

void ModelCardWidget::setProgress(int percent)
{
    model_.progress = percent;
    progressBar_->setValue(percent);
    progressLabel_->setText(QString("%1%").arg(percent));
}

void ModelCardWidget::setStatus(ModelStatus status)
{
    if (std::exchange(model_.status, status) != status) // a new style sheet costs, even when it is the old one
        showStatus();
}

void ModelCardWidget::showStatus()
{
    const StateLook& look = lookOf(model_.status);
    statusBadge_->setText(QString("  %1  ").arg(look.badge));
    statusBadge_->setAccessibleName(look.badge);
    statusBadge_->setStyleSheet(QString("background-color: %1; color: %2; font-size: 10px;font-weight: bold;"
                                        " padding: 1px 8px; border-radius: 3px;")
                                    .arg(look.background, look.color)
        + (look.framed ? QString("border: 1px solid %1;").arg(color::successBorder) : QString()));
    const bool isActive = model_.status == ModelStatus::Active;
    const std::array<std::pair<QWidget*, bool>, 4> parts{{{progressRow_, look.progress},
        {downloadButton_, look.download}, {setActiveButton_, look.setActive}, {deleteButton_, look.remove}}};
    for (const auto& [part, isShown] : parts)
        if (part->hasFocus() && (!isShown || isActive))
            setFocus(); // it would go to the next card, where the same key, still held, would start the same
    for (const auto& [part, isShown] : parts)
        part->setVisible(isShown);
    deleteButton_->setEnabled(!isActive);
    deleteButton_->setToolTip(isActive ? "Cannot delete the active model" : "");
}

// The key that has started something here must not, still held, go on to the window, which it would close.
void ModelCardWidget::keyPressEvent(QKeyEvent* event)
{
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter)
        QFrame::keyPressEvent(event);
}

void ModelCardWidget::setOnDownload(Callback onDownload)
{
    onDownload_ = std::move(onDownload);
}

void ModelCardWidget::setOnSetActive(Callback onSetActive)
{
    onSetActive_ = std::move(onSetActive);
}

void ModelCardWidget::setOnDelete(Callback onDelete)
{
    onDelete_ = std::move(onDelete);
}

void ModelCardWidget::call(const Callback& callback) const
{
    if (callback)
        callback(model_.id);
}

// Without an event loop of its own, so that the card may go while the question is open; the question goes with it.
void ModelCardWidget::confirmDelete()
{
    const QString text =
        QString("Delete %1? This will free %2.").arg(QString::fromStdString(model_.name), formatSize(model_.sizeBytes));
    auto* const question =
        new QMessageBox(QMessageBox::Question, "Delete Model", text, QMessageBox::Yes | QMessageBox::No, this);
    question->setObjectName("deleteQuestion");
    question->setDefaultButton(QMessageBox::No);
    question->setAttribute(Qt::WA_DeleteOnClose);
    connect(question, &QMessageBox::finished, this, [this](int answer) {
        if (answer == QMessageBox::Yes)
            call(onDelete_);
    });
    question->open();
}

} // namespace quillo::ui
