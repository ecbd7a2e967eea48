#include "fuzz/fuzzing.h"

#include "support/files.h"
#include "support/temporary_folder.h"
#include "transcribe/model_file.h"

namespace {

const quillo::test::TemporaryFolder folder;

bool isSound(const std::string& content)
{
    const std::string path = (folder.path() / "model.bin").string();
    quillo::test::writeFile(path, content);
    quillo::ModelFile file(path);
    const bool sound = file.isSound();
    quillo::fuzz::require(file.isSound() == sound, "looking at a file changes nothing");
    return sound;
}

} // namespace

/// The input is a model file, which whisper.cpp does not get to see.
void quillo::fuzz::tryInput(const std::string& input)
{
    if (isSound(input))
        require(!isSound(input.substr(0, input.size() - 1)), "a file that was cut off is not sound");
}
