#include "support/stand_in_services.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace quillo::test {

namespace {

std::string content(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

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
            {text(part["name"]), text(part["fileName"]), text(part["type"]), content(folder / text(part["file"]))});
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
    server_.emplace("python3 '" QUILLO_STAND_IN_SERVICES "' . --until-stdin-closes > log 2>&1"
            + std::string(isTls ? " --cert cert.pem --key key.pem" : ""),
        folder_.path());
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!std::filesystem::exists(folder_.path() / "port")) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("the stand-in services do not start: " + content(folder_.path() / "log"));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    root_ = (isTls ? "https://127.0.0.1:" : "http://127.0.0.1:") + content(folder_.path() / "port");
}

void StandInServices::answer(const std::string& path, const std::string& json)
{
    answers_[path] = json;
    const auto file = folder_.path() / "answers.json";
    const auto temporary = folder_.path() / "answers.new";
    std::ofstream output(temporary, std::ios::binary);
    const char* separator = "{";
    for (const auto& [key, value] : answers_) {
        output << separator << '"' << key << "\": " << value;
        separator = ",\n";
    }
    output << "}\n";
    output.close();
    std::filesystem::rename(temporary, file);
}

std::vector<StandInServices::Request> StandInServices::requests() const
{
    std::vector<Request> requests;
    std::istringstream lines(content(folder_.path() / "requests.jsonl"));
    for (std::string line; std::getline(lines, line);)
        if (!lines.eof()) // the last line may still be under way
            requests.push_back(parseRequest(line, folder_.path()));
    return requests;
}

} // namespace quillo::test
