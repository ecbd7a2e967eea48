#include "support/stand_in_services.h"

#include "stand_ins/eventually.h"
#include "support/files.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sstream>
#include <stdexcept>

namespace quillo::test {

namespace {

std::string text(const QJsonValue& value)
{
    return value.toString().toStdString();
}

StandInServices::Request parseRequest(const std::string& line, const std::filesystem::path& folder)
{
    const QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
    StandInServices::Request request{text(object["method"]), text(object["path"]), {}, {}};
    const QJsonObject headers = object["headers"].toObject();
    for (auto header = headers.begin(); header != headers.end(); ++header)
        request.headers[header.key().toStdString()] = text(header.value());
    for (const QJsonValue part : object["parts"].toArray())
        request.parts.push_back(
            {text(part["name"]), text(part["fileName"]), text(part["type"]), contentOf(folder / text(part["file"]))});
    return request;
}

} // namespace

StandInServices::StandInServices(Transport transport)
{
    qputenv("no_proxy", "*"); // loopback is not to be reached through a proxy that the environment may name
    const bool isTls = transport == Transport::SelfSignedTls;
    if (isTls)
        shellOutput("openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 -subj /CN=stand-in"
                    " -addext subjectAltName=IP:127.0.0.1 2> openssl.log",
            folder_.path());
    server_.emplace("python3 '" QUILLO_STAND_IN_SERVICES "' . > log 2>&1"
            + std::string(isTls ? " --cert cert.pem --key key.pem" : ""),
        folder_.path());
    if (!eventually([this] { return std::filesystem::exists(folder_.path() / "port"); }))
        throw std::runtime_error("the stand-in services do not start: " + contentOf(folder_.path() / "log"));
    root_ = (isTls ? "https://127.0.0.1:" : "http://127.0.0.1:") + contentOf(folder_.path() / "port");
}

void StandInServices::answer(const std::string& path, const std::string& json)
{
    answers_[path] = json;
    std::string members;
    for (const auto& [key, value] : answers_)
        members.append(members.empty() ? "\"" : ",\n\"").append(key).append("\": ").append(value);
    const auto temporary = folder_.path() / "answers.new";
    writeFile(temporary, "{" + members + "}\n");
    std::filesystem::rename(temporary, folder_.path() / "answers.json");
}

void StandInServices::provide(const std::string& name, const std::string& content)
{
    writeFile(folder_.path() / name, content);
}

std::vector<StandInServices::Request> StandInServices::requests() const
{
    std::vector<Request> requests;
    std::istringstream lines(contentOf(folder_.path() / "requests.jsonl"));
    for (std::string line; std::getline(lines, line);)
        if (!lines.eof()) // the last line may still be under way
            requests.push_back(parseRequest(line, folder_.path()));
    return requests;
}

} // namespace quillo::test
