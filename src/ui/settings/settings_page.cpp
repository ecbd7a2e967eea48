#include "ui/settings/settings_page.h"

#include "ui/settings/look.h"

#include <QComboBox>
#include <QLabel>
#include <QSlider>
#include <QVBoxLayout>

#include <cmath>

namespace quillo {

SettingsPage::SettingsPage(const char* objectName, const QString& title)
{
    setObjectName(objectName);
    setAccessibleName(title);
}

QVBoxLayout* SettingsPage::makeColumn(const char* heading, int spacing, int bottomMargin, QWidget* note)
{
    auto* const header = new QHBoxLayout;
    header->addWidget(makeLabel("heading", heading));
    if (note) {
        header->addStretch();
        header->addWidget(note);
    }
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(16, 16, 16, bottomMargin);
    column->setSpacing(spacing);
    column->addLayout(header);
    return column;
}

void selectData(QComboBox& list, const std::string& data)
{
    if (const int index = list.findData(QString::fromStdString(data)); index >= 0)
        list.setCurrentIndex(index);
}

std::string selectedData(const QComboBox& list)
{
    return list.currentData().toString().toStdString();
}

void showFraction(QSlider& slider, float fraction)
{
    slider.setValue(static_cast<int>(std::fmin(std::fmax(fraction * 100, 0.0F), 100.0F)));
}

float shownFraction(const QSlider& slider)
{
    return static_cast<float>(slider.value()) / 100;
}

} // namespace quillo
