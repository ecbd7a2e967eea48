#pragma once

#include <QComboBox>
#include <QString>

#include <cmath>
#include <string>

namespace quillo {

/// A fraction as a slider shows it: whole percents, cut off in single precision, 0 to 100. What is no number becomes 0.
inline int percentOf(float fraction)
{
    return static_cast<int>(std::fmin(std::fmax(fraction * 100, 0.0F), 100.0F));
}

/// Selects the item with exactly this data (UTF-8). When there is none, the selection stays as it is.
inline void selectData(QComboBox& list, const std::string& data)
{
    if (const int index = list.findData(QString::fromStdString(data)); index >= 0)
        list.setCurrentIndex(index);
}

/// The data of the selected item, UTF-8.
inline std::string selectedData(const QComboBox& list)
{
    return list.currentData().toString().toStdString();
}

} // namespace quillo
