#include "transcribe/model_file.h"

#include "base/utf8_path.h"

#include <stdexcept>

namespace quillo {

namespace {

// whisper.cpp notices the end of a file by reading the next tensor's header in vain, which takes three reads.
constexpr int toleratedReadsAtEnd = 8;

} // namespace

ModelFile::ModelFile(const std::string& path)
    : file_(pathFromUtf8(path), std::ios::binary)
{
}

whisper_model_loader ModelFile::loader()
{
    whisper_model_loader loader{};
    loader.context = this;
    loader.read = [](void* self, void* output, std::size_t size) {
        return static_cast<ModelFile*>(self)->read(output, size);
    };
    loader.eof = [](void* self) { return !static_cast<ModelFile*>(self)->file_; };
    loader.close = [](void* self) { static_cast<ModelFile*>(self)->file_.close(); };
    return loader;
}

std::size_t ModelFile::read(void* output, std::size_t size)
{
    file_.read(static_cast<char*>(output), static_cast<std::streamsize>(size));
    const auto length = static_cast<std::size_t>(file_.gcount());
    if (length == size)
        return length;
    if (length > 0 || ++readsAtEnd_ > toleratedReadsAtEnd)
        throw std::runtime_error("the model file ends too early");
    return 0;
}

} // namespace quillo
