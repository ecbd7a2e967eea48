#pragma once

#include "settings/settings_data.h"

#include <QWidget>

#include <string>

class QComboBox;
class QSlider;
class QVBoxLayout;

namespace quillo {

/// A page of the settings window, with its part of the settings, if it has one. User-interface thread.
class SettingsPage : public QWidget {
public:
    QString title() const { return accessibleName(); }

    /// Shows the settings as far as the page can: what is out of a widget's range becomes the nearest bound, and a
    /// choice that a list does not offer leaves its selection as it is.
    virtual void setSettings(const SettingsData& /*settings*/) { }

    /// Overwrites the page's own fields with what it shows.
    virtual void collectSettings(SettingsData& /*settings*/) const { }

protected:
    SettingsPage(const char* objectName, const QString& title);

    /// The page's layout, which begins with its heading, at the right of which there may be a note.
    QVBoxLayout* makeColumn(const char* heading, int spacing, int bottomMargin = 16, QWidget* note = nullptr);
};

/// Selects the item with exactly this data (UTF-8). When there is none, the selection stays as it is.
void selectData(QComboBox& list, const std::string& data);

/// The data of the selected item, UTF-8.
std::string selectedData(const QComboBox& list);

/// A fraction as a slider shows it: whole percents, cut off in single precision. What is no number becomes 0.
void showFraction(QSlider& slider, float fraction);
float shownFraction(const QSlider& slider);

} // namespace quillo
