// Presses keys of the private desktop: `desktop_keys`, commands on standard input, one a line:
//
//   down KEYSYM, up KEYSYM         through XTest, as any program can
//   hw down KEYSYM, hw up KEYSYM   on the server's hardware keyboard, as a person does
//
// Each command is answered by one line: "ok" and the monotonic time in nanoseconds just before the server was asked,
// or "error" and the reason.

#include "desktop/typist.h"

#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

using quillo::desktop::Typist;

namespace {

/// Carries out one command; returns the reason of a failure, empty on success.
std::string carryOut(const Typist& typist, const std::string& line)
{
    std::istringstream words(line);
    std::string verb;
    std::string key;
    words >> verb;
    const auto keyboard = verb == "hw" ? Typist::Keyboard::Hardware : Typist::Keyboard::XTest;
    if (keyboard == Typist::Keyboard::Hardware)
        words >> verb;
    words >> key;
    if (verb != "down" && verb != "up")
        return "no such command: " + line;
    const unsigned keycode = typist.keycode(key);
    if (keycode == 0)
        return "no such key: " + key;
    typist.send(keyboard, keycode, verb == "down");
    return {};
}

} // namespace

int main()
{
    const std::unique_ptr<Display, decltype(&XCloseDisplay)> display(XOpenDisplay(nullptr), XCloseDisplay);
    if (!display) {
        std::fprintf(stderr, "no X display\n");
        return 1;
    }
    const Typist typist(display.get());
    if (!typist.hasHardware()) {
        std::fprintf(stderr, "the X display has no hardware keyboard\n");
        return 1;
    }
    for (std::string line; std::getline(std::cin, line);) {
        const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
        const std::string failure = carryOut(typist, line);
        if (failure.empty())
            std::printf("ok %lld\n", static_cast<long long>(now.count()));
        else
            std::printf("error %s\n", failure.c_str());
        std::fflush(stdout);
    }
    return 0;
}
