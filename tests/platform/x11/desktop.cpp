#include "platform/x11/desktop.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <utility>

#include <X11/XKBlib.h>

namespace quillo::platform {
namespace {

// The server goes on to repeat a key whose key-up waits behind an event that the hook has not answered yet; a repeat
// that follows the key-up then leaves the key down. So the hook gets more time than a loaded machine takes.
constexpr unsigned repeatDelay = 100; // milliseconds
constexpr unsigned repeatInterval = 50;
constexpr std::chrono::milliseconds severalRepeats{220};

// It ends with its last client, which is this process.
class PrivateServer : public testing::Environment {
public:
    void SetUp() override
    {
        output_ = popen("exec Xvfb -displayfd 1 -terminate -screen 0 320x240x24 -nolisten tcp", "re");
        int number = 0;
        if (!output_ || std::fscanf(output_, "%d", &number) != 1) {
            std::cerr << "Xvfb did not start\n";
            std::_Exit(EXIT_FAILURE); // a failed set-up would only skip the tests
        }
        setenv("DISPLAY", (":" + std::to_string(number)).c_str(), 1);
        client_ = connect();
        XkbSetAutoRepeatRate(client_.get(), XkbUseCoreKbd, repeatDelay, repeatInterval);
        XSync(client_.get(), False);
    }

    void TearDown() override
    {
        client_.reset();
        pclose(output_);
    }

private:
    std::FILE* output_ = nullptr;
    Connection client_{nullptr, XCloseDisplay};
};

[[maybe_unused]] auto* const privateServer = testing::AddGlobalTestEnvironment(new PrivateServer);

} // namespace

Connection connect()
{
    return {XOpenDisplay(nullptr), XCloseDisplay};
}

User::~User()
{
    // Not what the server holds for pressed: another program may have released a key that is held down here.
    for (unsigned key = 0; key < down_.size(); ++key)
        if (down_[key])
            send(key, false);
}

void User::type(const std::string& script)
{
    std::istringstream words(script);
    for (std::string word; words >> word;)
        if (word == "*")
            std::this_thread::sleep_for(severalRepeats); // of keys that nobody is to see
        else
            send(keycode(word.substr(1)), word.front() == '+');
}

void User::send(unsigned keycode, bool down)
{
    down_[keycode] = down;
    typist_.send(keyboard_, keycode, down);
}

Application::Application()
    : display_(connect())
    , window_(XCreateSimpleWindow(display_.get(), DefaultRootWindow(display_.get()), 0, 0, 100, 100, 0, 0, 0))
{
    XkbSetDetectableAutoRepeat(display_.get(), True, nullptr);
    XSelectInput(display_.get(), window_, KeyPressMask | KeyReleaseMask | ExposureMask);
    XMapWindow(display_.get(), window_);
    XEvent event;
    XWindowEvent(display_.get(), window_, ExposureMask, &event); // only a visible window can have the focus
    XSetInputFocus(display_.get(), window_, RevertToParent, CurrentTime);
    XSync(display_.get(), False);
}

const std::string& Application::keys()
{
    while (XPending(display_.get()) > 0) {
        XEvent event;
        XNextEvent(display_.get(), &event);
        if (event.type == MappingNotify)
            XRefreshKeyboardMapping(&event.xmapping);
        else if (event.type == KeyPress || event.type == KeyRelease)
            note(event.xkey);
    }
    return keys_;
}

std::string Application::takeKeysUntil(const std::string& end)
{
    EXPECT_TRUE(eventually([&] { return keys().ends_with(end); })) << "keys seen: " << keys_;
    return std::exchange(keys_, {});
}

void Application::note(const XKeyEvent& event)
{
    const bool down = event.type == KeyPress;
    if (down && down_[event.keycode])
        return; // a repeat
    down_[event.keycode] = down;
    const char* const name =
        XKeysymToString(XkbKeycodeToKeysym(display_.get(), static_cast<KeyCode>(event.keycode), 0, 0));
    keys_ += std::string(keys_.empty() ? "" : " ") + (down ? '+' : '-') + (name ? name : "?");
}

} // namespace quillo::platform
