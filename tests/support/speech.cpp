#include "support/speech.h"

#include "support/shell.h"
#include "support/temporary_folder.h"

#include <cstring>
#include <stdexcept>

namespace quillo::test {

std::vector<float> speak(const std::string& text, const std::string& voice)
{
    const std::string command = "espeak-ng -s 150 -v " + voice + " --stdout '" + text
        + "' | sox -q -t wav - -t f32 -r 16000 -c 1 - pad 0.3 0.3";
    const TemporaryFolder folder;
    const std::string bytes = shellOutput(command, folder.path());
    if (bytes.empty())
        throw std::runtime_error("espeak-ng and sox made no speech");
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
}

} // namespace quillo::test
