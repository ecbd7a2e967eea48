#include "fuzz/fuzzing.h"

#include "support/temporary_folder.h"
#include "transcribe/model_file.h"

namespace {

const quillo::test::TemporaryFolder folder;

bool isSound(const std::string& content)
{
    const std::string path = (folder.path() / "model.bin").string();
    quillo::fuzz::writeFile(path, content);
    quillo::ModelFile file(path);
    const bool sound = file.isSound();
    quillo::fuzz::require(file.isSound() == sound, "looking at a file changes nothing");
    return sound;
}

} // namespace

/// The input is a model file, which whisper.cpp does not get to see.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string content = quillo::fuzz::textOf(data, size);
    if (isSound(content)) {
        content.pop_back();
        quillo::fuzz::require(!isSound(content), "a file that was cut off is not sound");
    }
    return 0;
}
