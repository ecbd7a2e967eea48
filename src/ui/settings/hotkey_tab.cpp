#include "ui/settings/hotkey_tab.h"

namespace quillo {

HotkeyTab::HotkeyTab(QWidget* parent)
    : QWidget(parent)
{
    setObjectName("hotkeyTab");
    setAccessibleName("Hotkey");
}

} // namespace quillo
