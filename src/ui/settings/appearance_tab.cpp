#include "ui/settings/appearance_tab.h"

#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QVBoxLayout>

namespace quillo {

AppearanceTab::AppearanceTab()
    : SettingsPage("appearanceTab", "Style")
    , positionCombo_(new QComboBox)
    , opacitySlider_(new QSlider(Qt::Horizontal))
{
    auto* const layout = makeColumn("Appearance", 16);
    layout->addWidget(buildOverlayBox());
    layout->addStretch();
}

QGroupBox* AppearanceTab::buildOverlayBox()
{
    auto* const box = new QGroupBox("Overlay");
    auto* const layout = new QVBoxLayout(box);

    positionCombo_->setObjectName("positionCombo");
    positionCombo_->addItem("Near cursor", "cursor");
    positionCombo_->addItem("Top left", "top-left");
    positionCombo_->addItem("Top right", "top-right");
    positionCombo_->addItem("Bottom center", "bottom-center");
    auto* const form = new QFormLayout;
    form->addRow("Position:", positionCombo_);
    layout->addLayout(form);

    auto* const label = new QLabel("Opacity:");
    label->setBuddy(opacitySlider_);
    opacitySlider_->setObjectName("opacitySlider");
    opacitySlider_->setAccessibleName("Overlay opacity in percent");
    opacitySlider_->setRange(50, 100);
    auto* const value = new QLabel;
    value->setObjectName("opacityValueLabel");
    value->setFixedWidth(40);
    connect(opacitySlider_, &QSlider::valueChanged, value,
        [value](int percent) { value->setText(QString("%1%").arg(percent)); });
    opacitySlider_->setValue(90);
    auto* const row = new QHBoxLayout;
    row->addWidget(label);
    row->addWidget(opacitySlider_, 1);
    row->addWidget(value);
    layout->addLayout(row);
    return box;
}

void AppearanceTab::setSettings(const SettingsData& settings)
{
    selectData(*positionCombo_, settings.overlayPosition);
    showFraction(*opacitySlider_, settings.overlayOpacity);
}

void AppearanceTab::collectSettings(SettingsData& settings) const
{
    settings.overlayPosition = selectedData(*positionCombo_);
    settings.overlayOpacity = shownFraction(*opacitySlider_);
}

} // namespace quillo
