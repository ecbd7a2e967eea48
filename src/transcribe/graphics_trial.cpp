#include "transcribe/graphics_trial.h"

#include "base/files.h"
#include "base/log.h"
#include "platform/graphics_drivers.h"
#include "platform/program_folder.h"
#include "transcribe/whisper_transcriber.h"

#include <QByteArray>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTimer>

#include <chrono>
#include <utility>

namespace quillo {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 5min; // for all the shaders to be compiled, on a slow machine that does other things too
constexpr auto endPatience = 1000ms;
constexpr auto passed = "passed";
constexpr auto failed = "failed";

bool hasBackend()
{
    const QDir folder(QString::fromStdString(platform::programFolder() + "/gpu"));
    return folder.exists() && !folder.isEmpty();
}

/// What the outcomes hold for: the record's first line.
QByteArray circumstances()
{
    return QByteArray(QUILLO_VERSION " ") + QByteArray::fromStdString(platform::graphicsDrivers());
}

QByteArray keyOf(const std::string& modelPath)
{
    const QFileInfo file(QString::fromStdString(modelPath));
    return file.fileName().toUtf8() + ' ' + QByteArray::number(file.size()) + ' ';
}

void reportFailure()
{
    logMessage(
        "[Quillo] Recognition stays on the CPU: no graphics processor with these drivers has passed its trial\n");
}

} // namespace

int GraphicsTrial::run(const std::string& modelPath)
{
    WhisperTranscriber transcriber;
    if (!transcriber.loadModel(modelPath, WhisperTranscriber::Processor::Graphics) || !transcriber.usesGraphics())
        return 1;
    const float silence = 0;
    transcriber.addSamples(&silence, 1);
    transcriber.transcribe();
    return transcriber.usesGraphics() ? 0 : 1;
}

GraphicsTrial::GraphicsTrial(const std::string& program, const std::string& record)
    : program_(QString::fromStdString(program))
    , record_(QString::fromStdString(record))
{
}

GraphicsTrial::~GraphicsTrial()
{
    takeBack();
}

void GraphicsTrial::takeBack()
{
    if (!process_)
        return;
    process_->disconnect();
    process_->kill();
    if (!process_->waitForFinished(static_cast<int>(endPatience.count())))
        static_cast<void>(process_.release()); // caught in its driver: whoever deleted it would wait much longer
    process_.reset();
    keep(model_, {});
}

// The rest of the model's line; empty when it has not been tried.
QByteArray GraphicsTrial::outcomeOf(const std::string& modelPath) const
{
    const QList<QByteArray> lines = readContent(record_).split('\n');
    if (lines.front() == circumstances())
        for (const QByteArray& line : lines)
            if (const QByteArray key = keyOf(modelPath); line.startsWith(key))
                return line.mid(key.size());
    return {};
}

void GraphicsTrial::keep(const std::string& modelPath, const QByteArray& outcome)
{
    const QByteArray key = keyOf(modelPath);
    QByteArray content = circumstances() + '\n';
    QList<QByteArray> lines = readContent(record_).split('\n');
    if (lines.takeFirst() + '\n' == content)
        for (const QByteArray& line : lines)
            if (!line.isEmpty() && !line.startsWith(key))
                content += line + '\n';
    if (!outcome.isEmpty())
        content += key + outcome + '\n';
    QDir().mkpath(QFileInfo(record_).path());
    replaceContent(record_, content);
}

bool GraphicsTrial::hasPassed(const std::string& modelPath) const
{
    return !program_.isEmpty() && outcomeOf(modelPath) == passed;
}

void GraphicsTrial::start(const std::string& modelPath, std::function<void()> onPassed)
{
    takeBack();
    if (program_.isEmpty() || !hasBackend())
        return;
    if (!outcomeOf(modelPath).isEmpty()) {
        reportFailure();
        return;
    }
    keep(modelPath, failed); // until it has passed, whatever becomes of this process and of the machine
    model_ = modelPath;
    onPassed_ = std::move(onPassed);
    process_ = std::make_unique<QProcess>();
    process_->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QObject::connect(
        process_.get(), &QProcess::errorOccurred, process_.get(),
        [this](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart)
                conclude(false);
        });
    QObject::connect(process_.get(), &QProcess::finished, process_.get(),
        [this](int code, QProcess::ExitStatus status) { conclude(status == QProcess::NormalExit && code == 0); });
    QTimer::singleShot(patience, process_.get(), &QProcess::kill);
    QStringList arguments{argument, QFileInfo(QString::fromStdString(modelPath)).fileName()};
    if (verboseOutput)
        arguments += "--verbose";
    process_->start(program_, arguments);
}

void GraphicsTrial::conclude(bool hasPassed)
{
    process_.release()->deleteLater(); // it is speaking
    if (!hasPassed) {
        reportFailure();
        return;
    }
    keep(model_, passed);
    logMessage("[Quillo] The graphics processor has passed its trial\n");
    onPassed_();
}

} // namespace quillo
