#pragma once

#include <QDir>
#include <QGuiApplication>
#include <QPixmap>

#include <cstdio>

/// What the parts of quillo_pictures share.
namespace quillo::pictures {

constexpr int margin = 20; ///< between pictures on one sheet

/// The folder of the pictures. Says of each whether it could be written.
class Album {
public:
    explicit Album(const QString& folder)
        : folder_(folder)
    {
        complete_ = QDir().mkpath(folder);
    }

    void add(const QString& name, const QPixmap& picture)
    {
        const QString path = folder_.filePath(name + ".png");
        const bool written = picture.save(path);
        std::printf("%s %s\n", written ? "wrote" : "could not write", qPrintable(path));
        complete_ = complete_ && written;
    }

    bool complete() const { return complete_; }

private:
    QDir folder_;
    bool complete_;
};

/// A transparent picture with as many pixels as the scale asks for.
inline QPixmap blank(const QSize& size)
{
    QPixmap picture(size * qGuiApp->devicePixelRatio());
    picture.setDevicePixelRatio(qGuiApp->devicePixelRatio());
    picture.fill(Qt::transparent);
    return picture;
}

/// The settings window: its pages at two sizes, and the states that they can be brought into.
void addSettings(Album& album);

} // namespace quillo::pictures
