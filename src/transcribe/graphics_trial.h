#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>

#include <functional>
#include <memory>
#include <string>

namespace quillo {

/// Finds out whether the graphics processor can be trusted with a model: drivers crash and hang, and take the process
/// with them. So a process of its own loads the model there and recognises something, once for each model, set of
/// drivers and version of Quillo. What has not passed counts as failed, also when the machine has gone down with it.
/// User-interface thread.
class GraphicsTrial {
public:
    /// The argument, followed by the name of a file in the models' folder, with which the program starts as that
    /// process.
    static constexpr auto argument = "--try-graphics";

    /// What that process does: its exit code, 0 when the model was loaded and used on a graphics processor.
    static int run(const std::string& modelPath);

    /// @param program the file of the program that is started, whose main routine knows the argument; without one
    /// nothing
    ///        is tried, and nothing has passed
    /// @param record the file in which the outcomes are kept; its folder need not be there
    GraphicsTrial(const std::string& program, const std::string& record);
    ~GraphicsTrial(); ///< takes a trial that still runs back
    GraphicsTrial(const GraphicsTrial&) = delete;
    GraphicsTrial& operator=(const GraphicsTrial&) = delete;

    bool hasPassed(const std::string& modelPath) const;

    /// Tries a model that has not been tried yet, in place of one whose trial still runs, and calls onPassed when it
    /// passes. Nothing happens without a back-end for graphics processors beside the program.
    void start(const std::string& modelPath, std::function<void()> onPassed);

private:
    QByteArray outcomeOf(const std::string& modelPath) const;
    void keep(const std::string& modelPath, const QByteArray& outcome);
    void conclude(bool hasPassed);
    void takeBack();

    const QString program_;
    const QString record_;
    std::string model_; // under trial
    std::function<void()> onPassed_;
    std::unique_ptr<QProcess> process_; // null while there is no trial
};

} // namespace quillo
