#pragma once

#include <QApplication>
#include <QWidget>

namespace quillo::test {

/// The program's windows and menus of this class.
template<typename Widget> QList<Widget*> topLevel()
{
    QList<Widget*> found;
    for (QWidget* window : QApplication::topLevelWidgets())
        if (auto* const widget = dynamic_cast<Widget*>(window))
            found.append(widget);
    return found;
}

} // namespace quillo::test
