#pragma once

#include <QTest>
#include <QtWidgets>

#include <gmock/gmock.h>

#include <stdexcept>

/// What tests of widgets have in common, with all of the toolkit's widgets.
namespace quillo::test {

/// Runs the event loop until the condition holds; false when it has not within 20 s.
template<typename Condition> bool waitFor(Condition condition)
{
    return QTest::qWaitFor(condition, 20'000);
}

/// The object with this name in a window or page; throws std::out_of_range when there is none.
template<typename Object = QPushButton> Object& find(const QWidget& window, const QString& name)
{
    if (auto* const object = window.findChild<Object*>(name))
        return *object;
    throw std::out_of_range(name.toStdString());
}

inline void click(const QWidget& window, const QString& button)
{
    find(window, button).click();
}

inline QString labelText(const QWidget& window, const QString& label)
{
    return find<QLabel>(window, label).text();
}

/// What a list offers: "text=data" each.
inline QStringList choices(const QComboBox& list)
{
    QStringList choices;
    for (int i = 0; i < list.count(); ++i)
        choices << list.itemText(i) + '=' + list.itemData(i).toString();
    return choices;
}

} // namespace quillo::test
