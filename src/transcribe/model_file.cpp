#include "transcribe/model_file.h"

#include "base/utf8_path.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <istream>
#include <stdexcept>

namespace quillo {

namespace {

// whisper.cpp notices the end of a file by reading the next tensor's header in vain, which takes three reads.
constexpr int toleratedReadsAtEnd = 8;

/// One walk through a model file, which ends where it is not as whisper.cpp believes it to be.
class Inspection {
public:
    explicit Inspection(std::istream& file)
        : file_(file)
    {
        file_.seekg(0, std::ios::end);
        size_ = file_.tellg();
        file_.seekg(0);
    }

    bool passes() { return file_ && parametersPass() && vocabularyPasses() && tensorsPass(); }

private:
    bool parametersPass()
    {
        enum {
            Vocabulary,
            AudioContext,
            State,
            Heads,
            Layers,
            TextContext,
            TextState,
            TextHeads,
            TextLayers,
            Mels,
            Type
        };
        std::array<std::int64_t, Type + 1> p{};
        number(); // whisper.cpp looks at the magic number itself
        for (std::int64_t& parameter : p)
            parameter = number();
        if (!file_ || std::any_of(p.begin(), p.end() - 1, [](std::int64_t n) { return n < 1 || n > 1'000'000; }))
            return false;
        const std::int64_t format = p[Type] % GGML_QNT_VERSION_FACTOR; // whisper.cpp ends the process at an unknown one
        const bool formatKnown = (format >= GGML_FTYPE_ALL_F32 && format <= GGML_FTYPE_MOSTLY_Q4_1)
            || (format >= GGML_FTYPE_MOSTLY_Q8_0 && format <= GGML_FTYPE_MOSTLY_BF16);
        if (!formatKnown || p[State] != p[TextState] || p[State] % p[Heads] != 0 || p[State] % p[TextHeads] != 0)
            return false;
        // Memory for the weights is asked for before any is read. In the most compact format four of them take a byte.
        const std::int64_t rows = p[Vocabulary] + p[AudioContext] + p[TextContext];
        const std::int64_t squares = 12 * p[Layers] + 16 * p[TextLayers];
        if (p[State] > size_ || p[State] * rows > 4 * size_ || p[State] * p[State] > 4 * size_ / squares)
            return false;
        const bool filtersFit = number() == p[Mels] && number() == 1 + WHISPER_N_FFT / 2;
        return filtersFit && skip(p[Mels] * (1 + WHISPER_N_FFT / 2) * static_cast<std::int64_t>(sizeof(float)));
    }

    bool vocabularyPasses()
    {
        std::int64_t words = number();
        while (words > 0 && skip(number()))
            --words;
        return words == 0;
    }

    bool tensorsPass()
    {
        if (file_.tellg() == size_)
            return false;
        while (file_ && file_.tellg() < size_)
            if (!tensorPasses())
                return false;
        return static_cast<bool>(file_);
    }

    bool tensorPasses()
    {
        const std::int64_t dimensions = number();
        const std::int64_t nameLength = number();
        const std::int64_t type = number();
        if (dimensions < 1 || dimensions > GGML_MAX_DIMS || nameLength < 1 || type < 0 || type >= GGML_TYPE_COUNT)
            return false;
        std::int64_t elements = 1;
        for (std::int64_t i = 0; i < dimensions; ++i) {
            const std::int64_t length = number();
            if (length < 1 || length > 4 * size_ / elements)
                return false;
            elements *= length;
        }
        const auto elementsPerBlock = ggml_blck_size(static_cast<ggml_type>(type)); // 0 for types of the past
        const auto blockSize = static_cast<std::int64_t>(ggml_type_size(static_cast<ggml_type>(type)));
        return elementsPerBlock > 0 && skip(nameLength) && skip(elements / elementsPerBlock * blockSize);
    }

    /// The next number; -1 behind the end of the file.
    std::int64_t number()
    {
        std::int32_t value = -1;
        file_.read(reinterpret_cast<char*>(&value), sizeof value);
        return file_ ? value : -1;
    }

    /// Goes on behind the next bytes. False when there are not as many.
    bool skip(std::int64_t count)
    {
        if (!file_ || count < 0 || count > size_ - file_.tellg())
            return false;
        constexpr std::int64_t oftenBuffered = 256; // going elsewhere drops what has been read ahead
        count < oftenBuffered ? file_.ignore(count) : file_.seekg(count, std::ios::cur);
        return static_cast<bool>(file_);
    }

    std::istream& file_;
    std::int64_t size_ = 0;
};

} // namespace

ModelFile::ModelFile(const std::string& path)
    : file_(pathFromUtf8(path), std::ios::binary)
{
}

bool ModelFile::isSound()
{
    const bool sound = Inspection(file_).passes();
    file_.clear();
    file_.seekg(0);
    return sound;
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
