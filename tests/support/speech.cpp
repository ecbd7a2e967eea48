#include "support/speech.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace quillo::test {

namespace {

std::string quoted(const std::string& text)
{
    std::string result = "'";
    for (const char character : text)
        result += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return result + "'";
}

} // namespace

std::vector<float> speak(const std::string& text, const std::string& voice)
{
    const std::string command = "espeak-ng -s 150 -v " + quoted(voice) + " --stdout " + quoted(text)
        + " | sox -q -t wav - -t f32 -r 16000 -c 1 - pad 0.3 0.3";
    std::FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        throw std::runtime_error("cannot start a shell");
    std::vector<float> samples;
    std::array<float, 4096> buffer{};
    while (const std::size_t count = std::fread(buffer.data(), sizeof(float), buffer.size(), pipe))
        samples.insert(samples.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
    if (pclose(pipe) != 0 || samples.empty())
        throw std::runtime_error("espeak-ng and sox made no speech");
    return samples;
}

} // namespace quillo::test
