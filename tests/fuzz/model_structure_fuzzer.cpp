#include "support/files.h"
#include "support/temporary_folder.h"
#include "transcribe/model_file.h"

#include <cstdlib>

namespace {

const quillo::test::TemporaryFolder folder;

bool isSound(const std::string& content)
{
    const std::string path = (folder.path() / "model.bin").string();
    quillo::test::writeFile(path, content);
    quillo::ModelFile file(path);
    const bool sound = file.isSound();
    if (file.isSound() != sound)
        std::abort(); // looking at a file changes nothing
    return sound;
}

} // namespace

/// libFuzzer's name for it. The input is a model file, which whisper.cpp does not get to see.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const std::string input(data, data + size);
    if (isSound(input) && isSound(input.substr(0, size - 1)))
        std::abort(); // a file that was cut off is not sound
    return 0;
}
