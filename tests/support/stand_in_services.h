#pragma once

#include "support/shell.h"
#include "support/temporary_folder.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace quillo::test {

/// A server on loopback in the place of the remote services, which ends with this object
/// (tools/desktop/stand_in_services.py, where the answers are described). Needs python3, and openssl for TLS; throws
/// std::runtime_error without them. One thread.
class StandInServices {
public:
    struct Part {
        std::string name;
        std::string fileName;
        std::string type;
        std::string content;
    };
    struct Request {
        std::string method;
        std::string path;
        std::map<std::string, std::string> headers; ///< names in lower case
        std::vector<Part> parts; ///< of a form
    };
    enum class Transport { Plain, SelfSignedTls };

    explicit StandInServices(Transport transport = Transport::Plain);

    std::string url(const std::string& path) const { return root_ + path; }

    /// From now on, requests for the path get this answer, JSON; any other path is answered with 404.
    void answer(const std::string& path, const std::string& json);

    /// Writes a file that the "file" of an answer can name.
    void provide(const std::string& name, const std::string& content);

    /// All requests that have arrived completely, in that order.
    std::vector<Request> requests() const;

private:
    TemporaryFolder folder_;
    std::map<std::string, std::string> answers_;
    std::optional<BackgroundProgram> server_;
    std::string root_;
};

} // namespace quillo::test
