#include "base/private_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace quillo {

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
