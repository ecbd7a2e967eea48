#include "platform/sound_devices.h"

#include <dlfcn.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string_view>

namespace quillo::platform {

namespace {

void (*receiver)(const char* line) = nullptr;

// A message may have several lines, or none.
void pass(const std::string& library, std::string_view message)
{
    while (!message.empty()) {
        const std::string_view line = message.substr(0, message.find('\n'));
        message.remove_prefix(line.size() == message.size() ? line.size() : line.size() + 1);
        if (!line.empty())
            receiver((library + std::string(line)).c_str());
    }
}

void receiveFromAlsa(
    const char* /*file*/, int /*line*/, const char* /*function*/, int /*error*/, const char* format, ...)
{
    std::array<char, 256> message{};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message.data(), message.size(), format, arguments);
    va_end(arguments);
    pass("ALSA: ", message.data());
}

void receiveFromJack(const char* message)
{
    pass("JACK: ", message);
}

// Which of these libraries there are is PortAudio's choice: their functions are asked for by name, not linked.
template<typename Handler> void install(const char* setter, Handler* handler)
{
    if (void* const found = dlsym(RTLD_DEFAULT, setter))
        reinterpret_cast<void (*)(Handler*)>(found)(handler);
}

} // namespace

// The devices called "default" and "pulse" lead to what is the system's default when they are opened.
std::string soundDevices()
{
    return {};
}

void receiveSoundMessages(void (*receive)(const char* line))
{
    receiver = receive;
    install("snd_lib_error_set_handler", receiveFromAlsa);
    install("jack_set_error_function", receiveFromJack);
    install("jack_set_info_function", receiveFromJack);
}

} // namespace quillo::platform
