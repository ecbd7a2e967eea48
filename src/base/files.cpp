#include "base/files.h"

#include "platform/file_in_use.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QString>

namespace quillo {

QByteArray readContent(const QString& path)
{
    QByteArray content;
    const auto read = [&] {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return !file.exists();
        content = file.readAll();
        return true;
    };
    platform::retryWhileInUse(read);
    return content;
}

void replaceContent(const QString& path, const QByteArray& content)
{
    const auto replace = [&] {
        QSaveFile file(path);
        // The toolkit takes a write that a full disk cuts short for a success, and would put the stump in place.
        const bool isWhole = file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush();
        return !isWhole || file.commit();
    };
    platform::retryWhileInUse(replace);
}

void makePrivate(const QString& path)
{
    constexpr QFileDevice::Permissions ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    constexpr QFileDevice::Permissions others = QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup
        | QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;

    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::ReadWrite | QIODevice::NewOnly, ownerOnly))
        return;
    if (const QFileDevice::Permissions present = file.permissions(); present & others)
        file.setPermissions(present & ~others);
}

} // namespace quillo
