#include "audio/input_stream.h"

#include "audio/sound_system.h"

#include <mutex>
#include <utility>

namespace quillo {

/// The stream itself, which lives until PortAudio has closed it, and the callback, which may have to go before.
class InputStream::Shared {
public:
    explicit Shared(BlockCallback onBlock)
        : onBlock_(std::move(onBlock))
    {
    }

    // PortAudio's thread.
    bool open(const ChosenDevice& device);
    void close();

    /// The callback is released; it does not run any more when this returns. Any thread.
    void silence();

private:
    bool isSilent();
    void hear(const float* samples, std::size_t count);
    static int receive(const void* input, void* output, unsigned long frames, const PaStreamCallbackTimeInfo* time,
        PaStreamCallbackFlags flags, void* self);

    PaStream* stream_ = nullptr;
    std::mutex mutex_; // guards onBlock_, and is held while it runs
    BlockCallback onBlock_;
};

bool InputStream::Shared::open(const ChosenDevice& device)
{
    // Its owner may have given up before this had its turn, or while the device woke up.
    const auto isWanted = [this] { return !isSilent(); };
    stream_ = SoundSystem::instance().open(device, &receive, this, isWanted);
    if (!stream_)
        silence();
    return stream_;
}

void InputStream::Shared::close()
{
    if (stream_)
        SoundSystem::instance().close(std::exchange(stream_, nullptr));
}

void InputStream::Shared::silence()
{
    BlockCallback released; // without the lock
    const std::lock_guard lock(mutex_);
    released.swap(onBlock_);
}

bool InputStream::Shared::isSilent()
{
    const std::lock_guard lock(mutex_);
    return !onBlock_;
}

void InputStream::Shared::hear(const float* samples, std::size_t count)
{
    const std::lock_guard lock(mutex_);
    if (onBlock_)
        onBlock_(samples, count);
}

int InputStream::Shared::receive(const void* input, void* /*output*/, unsigned long frames,
    const PaStreamCallbackTimeInfo* /*time*/, PaStreamCallbackFlags /*flags*/, void* self)
{
    try {
        if (input)
            static_cast<Shared*>(self)->hear(static_cast<const float*>(input), frames);
    } catch (...) {
        // Must not unwind into PortAudio. A block that memory cannot hold is lost; the recording goes on.
    }
    return paContinue;
}

InputStream::~InputStream()
{
    close();
}

std::future<bool> InputStream::open(ChosenDevice device, BlockCallback onBlock)
{
    close();
    shared_ = std::make_shared<Shared>(std::move(onBlock));
    const auto opened = std::make_shared<std::promise<bool>>();
    SoundSystem::instance().post(
        [shared = shared_, opened, device = std::move(device)] { opened->set_value(shared->open(device)); });
    return opened->get_future();
}

void InputStream::close()
{
    if (!shared_)
        return;
    shared_->silence();
    SoundSystem::instance().post([shared = std::move(shared_)] { shared->close(); });
}

} // namespace quillo
