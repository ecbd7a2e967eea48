#pragma once

#include <QWidget>

namespace quillo {

/// The page of the hotkey: combination, mode and longest recording. User-interface thread.
class HotkeyTab final : public QWidget {
public:
    explicit HotkeyTab(QWidget* parent = nullptr);
};

} // namespace quillo
