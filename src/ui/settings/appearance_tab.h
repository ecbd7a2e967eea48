#pragma once

#include <QWidget>

namespace quillo {

/// The page of the overlay's place and opacity. User-interface thread.
class AppearanceTab final : public QWidget {
public:
    explicit AppearanceTab(QWidget* parent = nullptr);
};

} // namespace quillo
