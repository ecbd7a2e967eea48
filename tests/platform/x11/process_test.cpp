#include "platform/data_root.h"
#include "platform/instance_guard.h"
#include "platform/termination.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <QGuiApplication>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include <X11/ICE/ICElib.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quillo::platform {
namespace {

namespace fs = std::filesystem;
using test::TemporaryFolder;

void setEnvironment(const char* name, const char* value) // null: take it away
{
    value ? setenv(name, value, 1) : unsetenv(name);
}

// Another process that takes the guard, as far as it can, and holds it until it is killed.
class OtherProcess {
public:
    explicit OtherProcess(const std::string& guard)
    {
        std::array<int, 2> answer{};
        EXPECT_EQ(pipe(answer.data()), 0);
        child_ = fork();
        if (child_ == 0) {
            const char taken = takeInstanceGuard(guard) ? 'y' : 'n';
            if (write(answer[1], &taken, 1) == 1)
                pause();
            _exit(1);
        }
        char taken = '?';
        EXPECT_EQ(read(answer[0], &taken, 1), 1);
        took = taken == 'y';
        close(answer[0]);
        close(answer[1]);
    }
    ~OtherProcess()
    {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }

    bool took = false;

private:
    pid_t child_ = -1;
};

TEST(X11InstanceGuard, OneProcessOfTheUserHoldsIt)
{
    const TemporaryFolder runtime;
    const TemporaryFolder temporary;
    const std::string missing = runtime.path() / "missing";
    const std::string shared = runtime.path() / "shared";
    fs::create_directory(shared);
    fs::permissions(shared, fs::perms::all);
    int number = 0;
    for (const char* folder : {runtime.path().c_str(), missing.c_str(), shared.c_str(), "relative", ""}) {
        SCOPED_TRACE(folder);
        setEnvironment("XDG_RUNTIME_DIR", folder);
        setEnvironment("TMPDIR", temporary.path().c_str());
        const std::string name = "Guard" + std::to_string(number++);
        auto first = std::make_unique<OtherProcess>(name);
        EXPECT_TRUE(first->took);
        EXPECT_FALSE(OtherProcess(name).took);
        EXPECT_FALSE(takeInstanceGuard(name));
        EXPECT_TRUE(OtherProcess(name + "Other").took);
        first.reset(); // it crashes
        EXPECT_TRUE(takeInstanceGuard(name));
        EXPECT_FALSE(OtherProcess(name).took);
        EXPECT_EQ(fs::exists(runtime.path() / (name + ".lock")), folder == runtime.path());
    }
    EXPECT_TRUE(fs::is_empty(shared));
    setEnvironment("TMPDIR", nullptr);
}

TEST(X11InstanceGuard, NeverKeepsTheProgramFromStarting)
{
    const TemporaryFolder temporary;
    const TemporaryFolder elsewhere;
    setEnvironment("XDG_RUNTIME_DIR", nullptr);
    setEnvironment("TMPDIR", temporary.path().c_str());
    // Someone has put a link where the folder would be: it is not followed.
    fs::create_directory_symlink(elsewhere.path(), temporary.path() / ("Guard-" + std::to_string(getuid())));
    EXPECT_TRUE(takeInstanceGuard("Guard"));
    EXPECT_TRUE(fs::is_empty(elsewhere.path()));
    setEnvironment("TMPDIR", "/nonexistent");
    EXPECT_TRUE(takeInstanceGuard("Guard"));
    setEnvironment("TMPDIR", nullptr);
}

TEST(X11DataRoot, FollowsTheEnvironment)
{
    const std::string account = getpwuid(getuid())->pw_dir;
    const struct {
        const char* dataHome;
        const char* home;
        std::string root;
    } cases[] = {
        {"/data/größe//", "/home/one", "/data/größe"},
        {"", "/home/one/", "/home/one/.local/share"},
        {"relative", "/home/one", "/home/one/.local/share"},
        {nullptr, nullptr, account + "/.local/share"},
    };
    for (const auto& c : cases) {
        setEnvironment("XDG_DATA_HOME", c.dataHome);
        setEnvironment("HOME", c.home);
        EXPECT_EQ(dataRoot(), c.root);
    }
}

TEST(X11Termination, RequestsArriveInTheEventLoop)
{
    setEnvironment("QT_QPA_PLATFORM", "offscreen");
    int argc = 0;
    QGuiApplication application(argc, nullptr);
    const auto saveSession = [&] {
        // What the toolkit passes on is nobody's business here.
        emit application.commitDataRequest(reinterpret_cast<QSessionManager&>(application));
    };
    const auto loseSessionManager = [] {
        const IceIOErrorHandler handler = IceSetIOErrorHandler(nullptr);
        IceSetIOErrorHandler(handler);
        handler(nullptr);
    };
    const struct {
        const char* name;
        std::function<void()> request;
        std::string calls;
    } cases[] = {
        {"a program started by nohup loses its terminal", [] { raise(SIGHUP); }, ""},
        {"terminal lost", [] { raise(SIGHUP); }, "end "},
        {"terminated", [] { raise(SIGTERM); }, "end "},
        {"interrupted", [] { raise(SIGINT); }, "end "},
        {"session saved", saveSession, "finish "},
        {"session manager lost", loseSessionManager, "end "},
    };
    for (const auto& c : cases) {
        std::signal(SIGHUP, &c == cases ? SIG_IGN : SIG_DFL);
        std::string calls;
        {
            const TerminationRequests requests({[&] { calls += "finish "; }, [&] { calls += "end "; }});
            c.request();
            QCoreApplication::processEvents();
        }
        EXPECT_EQ(calls, c.calls) << c.name;
        c.request(); // once more while the program ends: it survives
    }
}

} // namespace
} // namespace quillo::platform
