// Renders what Quillo shows into PNG files, for looking at it without using it:   quillo_pictures OUT_DIR
#include "pictures.h"

#include "app/icon.h"
#include "app/theme.h"
#include "app/tray_controller.h"
#include "ui/overlay/overlay_widget.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QSlider>
#include <QSpinBox>
#include <QStyle>
#include <QStyleOption>
#include <QTabWidget>
#include <QTest>
#include <QToolTip>
#include <QVBoxLayout>

#include <cstdio>
#include <memory>

namespace {

using namespace quillo;
using namespace quillo::pictures;

// A background on which transparency is seen.
void paintCheckers(QPainter& painter, const QRect& area)
{
    painter.fillRect(area, QColor("#ffffff"));
    painter.fillRect(area, QBrush(QColor("#b8b8b8"), Qt::Dense4Pattern));
}

QPixmap renderTransparent(QWidget& widget)
{
    QPixmap pixmap = blank(widget.size());
    widget.render(&pixmap, {}, {}, QWidget::DrawChildren);
    return pixmap;
}

QPixmap iconSheet()
{
    const QIcon icon = programIcon();
    int width = margin;
    for (const QSize& size : icon.availableSizes())
        width += size.width() + margin;
    QPixmap sheet = blank({width, 256 + 2 * margin});
    QPainter painter(&sheet);
    paintCheckers(painter, painter.viewport());
    int x = margin;
    for (const QSize& size : icon.availableSizes()) {
        painter.drawPixmap(x, margin, icon.pixmap(size));
        x += size.width() + margin;
    }
    return sheet;
}

struct OverlayView {
    QString text;
    OverlayState state;
    int level = 0;
    double opacity = 1;
};

QPixmap overlaySheet()
{
    const OverlayView views[] = {
        {"Idle", OverlayState::Idle},
        {"Listening...", OverlayState::Listening, 0},
        {"Listening...", OverlayState::Listening, 40},
        {"Listening...", OverlayState::Listening, 100},
        {"Processing...", OverlayState::Processing},
        {"✓ Pasted", OverlayState::Pasted},
        {"No audio captured", OverlayState::Error},
        {"Could not transcribe", OverlayState::Error},
        {"An error text so long that it does not fit on a single line of the pill by any means", OverlayState::Error},
        {"Half opaque", OverlayState::Listening, 40, 0.5},
    };
    constexpr int columns = 2;
    constexpr int cellWidth = 440;
    constexpr int cellHeight = 56 + margin;
    const int rows = (static_cast<int>(std::size(views)) + columns - 1) / columns;
    QPixmap sheet = blank({columns * cellWidth + margin, rows * cellHeight + margin});
    QPainter painter(&sheet);
    paintCheckers(painter, painter.viewport());
    for (int i = 0; i < static_cast<int>(std::size(views)); ++i) {
        const OverlayView& view = views[i];
        ui::OverlayWidget overlay;
        overlay.setState(view.state);
        overlay.setText(view.text);
        overlay.setLevel(view.level);
        painter.setOpacity(view.opacity);
        painter.drawPixmap(
            margin + i % columns * cellWidth, margin + i / columns * cellHeight, renderTransparent(overlay));
    }
    return sheet;
}

QLabel* makeLabel(const QString& text, const char* variant = nullptr)
{
    auto* const label = new QLabel(text);
    if (variant)
        label->setProperty("class", variant);
    return label;
}

template<class Widget> Widget* disabled(Widget* widget)
{
    widget->setEnabled(false);
    return widget;
}

// As if the mouse were on it, or down on it.
class Posed : public QPushButton {
public:
    Posed(const QString& text, QStyle::State state)
        : QPushButton(text)
        , state_(state)
    {
    }

protected:
    void initStyleOption(QStyleOptionButton* option) const override
    {
        QPushButton::initStyleOption(option);
        option->state |= state_;
        option->state.setFlag(QStyle::State_Raised, !state_.testFlag(QStyle::State_Sunken));
    }

private:
    QStyle::State state_;
};

QWidget* makeButtons()
{
    auto* const box = new QGroupBox("Buttons");
    auto* const grid = new QGridLayout(box);
    int row = 0;
    for (const char* variant : {"", "primary", "danger", "success"}) {
        auto* const standard = new QPushButton("Default");
        standard->setDefault(true);
        QPushButton* const buttons[] = {
            new QPushButton("Normal"),
            new Posed("Hover", QStyle::State_MouseOver),
            new Posed("Pressed", QStyle::State_Sunken | QStyle::State_MouseOver),
            disabled(new QPushButton("Disabled")),
            standard,
        };
        int column = 0;
        grid->addWidget(makeLabel(*variant ? variant : "(none)", "secondary"), row, column);
        for (QPushButton* button : buttons) {
            button->setProperty("class", variant);
            grid->addWidget(button, row, ++column);
        }
        ++row;
    }
    return box;
}

QWidget* makeFields()
{
    auto* const box = new QGroupBox("Fields");
    auto* const form = new QFormLayout(box);
    auto* const readOnly = new QLineEdit("Ctrl+Shift+Space");
    readOnly->setReadOnly(true);
    auto* const hint = new QLineEdit;
    hint->setPlaceholderText("Placeholder");
    auto* const selected = new QLineEdit("Selected text");
    selected->setSelection(0, 8);
    auto* const combo = new QComboBox;
    combo->addItems({"System default", "Microphone (USB audio)", "Line in"});
    auto* const spin = new QSpinBox;
    spin->setRange(1, 60);
    spin->setValue(5);
    form->addRow("Line edit", new QLineEdit("Some text"));
    form->addRow("Placeholder", hint);
    form->addRow("Selection", selected);
    form->addRow("Read-only", readOnly);
    form->addRow("Disabled", disabled(new QLineEdit("Disabled text")));
    form->addRow("Combo box", combo);
    form->addRow("Spin box", spin);
    return box;
}

QWidget* makeChoices()
{
    auto* const box = new QGroupBox("Choices");
    auto* const layout = new QGridLayout(box);
    auto* const checked = new QCheckBox("Checked");
    checked->setChecked(true);
    auto* const chosen = new QRadioButton("Chosen");
    chosen->setChecked(true);
    layout->addWidget(new QCheckBox("Unchecked"), 0, 0);
    layout->addWidget(checked, 0, 1);
    layout->addWidget(disabled(new QCheckBox("Disabled")), 0, 2);
    layout->addWidget(new QRadioButton("Other"), 1, 0);
    layout->addWidget(chosen, 1, 1);
    layout->addWidget(disabled(new QRadioButton("Disabled")), 1, 2);
    return box;
}

QWidget* makeMeters()
{
    auto* const box = new QGroupBox("Meters");
    auto* const layout = new QVBoxLayout(box);
    auto* const progress = new QProgressBar;
    progress->setValue(45);
    layout->addWidget(progress);
    for (const int level : {30, 70, 100}) {
        auto* const meter = new QProgressBar;
        meter->setProperty("class", "vu-meter");
        meter->setTextVisible(false);
        meter->setValue(level);
        layout->addWidget(meter);
    }
    auto* const slider = new QSlider(Qt::Horizontal);
    slider->setValue(40);
    layout->addWidget(slider);
    return box;
}

QWidget* makeTexts()
{
    auto* const page = new QWidget;
    auto* const layout = new QVBoxLayout(page);
    layout->addWidget(makeLabel("Heading", "heading"));
    layout->addWidget(makeLabel("Section title", "section-title"));
    layout->addWidget(makeLabel("Ordinary label"));
    layout->addWidget(makeLabel("Secondary label: an explanation", "secondary"));
    auto* const line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    layout->addWidget(line);
    auto* const list = new QListWidget;
    for (int i = 1; i <= 12; ++i)
        list->addItem(QString("2026-01-%1 10:00  A past transcription").arg(i, 2, 10, QChar('0')));
    list->setCurrentRow(1);
    list->setFixedHeight(100);
    layout->addWidget(list);
    auto* const area = new QScrollArea;
    auto* const content = makeLabel("A scroll area whose content is larger than itself, both ways. ");
    content->setMinimumSize(900, 300);
    content->setAlignment(Qt::AlignTop);
    area->setWidget(content);
    area->setFixedHeight(90);
    layout->addWidget(area);
    return page;
}

std::unique_ptr<QWidget> makeWindow()
{
    auto window = std::make_unique<QWidget>();
    auto* const columns = new QHBoxLayout;
    auto* const left = new QVBoxLayout;
    left->addWidget(makeButtons());
    left->addWidget(makeChoices());
    left->addWidget(makeMeters());
    left->addStretch();
    auto* const tabs = new QTabWidget;
    tabs->addTab(makeTexts(), " Texts ");
    tabs->addTab(new QWidget, " Models ");
    tabs->addTab(new QWidget, " Hotkey ");
    auto* const right = new QVBoxLayout;
    right->addWidget(tabs);
    right->addWidget(makeFields());
    columns->addLayout(left);
    columns->addLayout(right);
    auto* const layout = new QVBoxLayout(window.get());
    layout->addLayout(columns);
    layout->addWidget(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Apply));
    return window;
}

QPixmap popupOf(QComboBox& combo)
{
    combo.showPopup();
    QTest::qWait(300); // it unrolls
    combo.view()->setCurrentIndex(combo.model()->index(1, 0));
    QPixmap picture = combo.view()->window()->grab();
    combo.hidePopup();
    return picture;
}

QPixmap menuPicture()
{
    TrayController tray;
    tray.show();
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* const menu = qobject_cast<QMenu*>(widget)) {
            menu->popup({0, 0});
            menu->setActiveAction(menu->actions().value(2));
            return menu->grab();
        }
    }
    return {};
}

QPixmap toolTipPicture(QWidget& owner)
{
    QToolTip::showText({100, 100}, "A tool tip", &owner);
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (widget->inherits("QTipLabel"))
            return widget->grab();
    return {};
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: quillo_pictures OUT_DIR\n");
        return 2;
    }
    QApplication::setApplicationName("Quillo"); // as the program does: it names a folder
    QFont font("Segoe UI");
    font.setPointSize(10);
    QApplication::setFont(font);
    applyTheme(application);

    Album album(argv[1]);
    album.add("icon", iconSheet());
    album.add("overlay", overlaySheet());
    const std::unique_ptr<QWidget> window = makeWindow();
    window->show();
    album.add("widgets", window->grab());
    album.add("combo-popup", popupOf(*window->findChild<QComboBox*>()));
    album.add("menu", menuPicture());
    album.add("tooltip", toolTipPicture(*window));
    addSettings(album);
    return album.complete() ? 0 : 1;
}
