#include "base/file_content.h"

#include "platform/file_in_use.h"

#include <QByteArray>
#include <QFile>
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

} // namespace quillo
