#pragma once

#include "support/temporary_folder.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QSettings>
#include <QStandardPaths>

#include <filesystem>

namespace quillo::test {

/// Gives the process an empty home of its own. To be made before main(), that is before the toolkit has asked for a
/// folder. On Windows, which knows no other place for them, the data lie in a folder that all tests share: no two
/// programs at once.
class PrivateProfile {
public:
    PrivateProfile()
    {
        const auto redirect = [](const char* variable, const std::filesystem::path& folder) {
            qputenv(variable, QByteArray::fromStdString(folder.string()));
        };
        redirect("HOME", folder_.path());
        redirect("XDG_CONFIG_HOME", configRoot());
        redirect("XDG_CONFIG_DIRS", folder_.path() / "etc");
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, QString::fromStdString(configRoot().string()));
        QCoreApplication::setApplicationName("Quillo"); // as the program does: it names the data folder
        QStandardPaths::setTestModeEnabled(true);
    }

    std::filesystem::path configRoot() const { return folder_.path() / "config"; }
    std::filesystem::path dataRoot() const
    {
        const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
        return std::filesystem::path(folder.toStdU16String()).parent_path().make_preferred();
    }

    void empty() const
    {
        std::filesystem::remove_all(configRoot());
        std::filesystem::remove_all(dataRoot());
    }

private:
    TemporaryFolder folder_;
};

} // namespace quillo::test
