#include "app/theme.h"

#include <QApplication>
#include <QFile>
#include <QProxyStyle>

// A resource in a static library is linked only when it is asked for, and that has to happen outside any namespace.
static void initialiseResources()
{
    Q_INIT_RESOURCE(theme);
}

namespace quillo {
namespace {

// The system's own style, where a style sheet cannot reach without a rule for it.
class BaseStyle : public QProxyStyle {
public:
    int styleHint(
        StyleHint hint, const QStyleOption* option, const QWidget* widget, QStyleHintReturn* returnData) const override
    {
        switch (hint) {
        case SH_ComboBox_Popup: // as a menu it would not show the theme's selection
        case SH_DialogButtonBox_ButtonsHaveIcons:
            return 0;
        default:
            return QProxyStyle::styleHint(hint, option, widget, returnData);
        }
    }

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override
    {
        constexpr int sliderHandleHeight = 20;
        if (metric == PM_SliderThickness)
            return sliderHandleHeight; // the handle of the theme is taller than those of the systems
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
};

} // namespace

void applyTheme(QApplication& application)
{
    QApplication::setStyle(new BaseStyle);
    initialiseResources();
    if (QFile sheet(":/quillo/theme.qss"); sheet.open(QIODevice::ReadOnly))
        application.setStyleSheet(QString::fromUtf8(sheet.readAll()));
}

} // namespace quillo
