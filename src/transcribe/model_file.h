#pragma once

#include <whisper.h>

#include <cstddef>
#include <fstream>
#include <string>

namespace quillo {

/// A model file as whisper.cpp reads it.
///
/// whisper.cpp can open files itself, but takes the path in the system's own encoding with some compilers, takes
/// whatever lies in memory for the missing part of a file that was cut off, and trusts the numbers in it: wrong ones
/// make it write beyond its memory. This reader takes UTF-8 and refuses such files. One thread.
class ModelFile {
public:
    explicit ModelFile(const std::string& path);

    /// Whether there is such a file whose structure is that of a model. Looks at all of it but the weights themselves;
    /// to be asked before it is read.
    bool isSound();

    /// The functions for whisper.cpp, which refer to this object. Reading beyond the end throws std::runtime_error.
    whisper_model_loader loader();

private:
    std::size_t read(void* output, std::size_t size);

    std::ifstream file_;
    int readsAtEnd_ = 0;
};

} // namespace quillo
