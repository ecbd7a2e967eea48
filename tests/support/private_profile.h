#pragma once

#include "support/temporary_folder.h"

#include <QByteArray>
#include <QCoreApplication>

#include <filesystem>

namespace quillo::test {

/// Gives the process an empty home of its own. To be made before main(), that is before the toolkit has asked for a
/// folder.
class PrivateProfile {
public:
    PrivateProfile()
    {
        const auto redirect = [](const char* variable, const std::filesystem::path& folder) {
            qputenv(variable, QByteArray::fromStdString(folder.string()));
        };
        redirect("HOME", folder_.path());
        redirect("XDG_CONFIG_HOME", configRoot());
        redirect("XDG_DATA_HOME", dataRoot());
        redirect("XDG_CONFIG_DIRS", folder_.path() / "etc");
        QCoreApplication::setApplicationName("Quillo"); // as the program does: it names the data folder
    }

    std::filesystem::path configRoot() const { return folder_.path() / "config"; }
    std::filesystem::path dataRoot() const { return folder_.path() / "data"; }

    void empty() const
    {
        std::filesystem::remove_all(configRoot());
        std::filesystem::remove_all(dataRoot());
    }

private:
    TemporaryFolder folder_;
};

} // namespace quillo::test
