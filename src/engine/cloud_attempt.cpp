#include "engine/cloud_attempt.h"

namespace quillo {

void CloudAttempt::complete(const std::string& text, bool ok)
{
    {
        const std::lock_guard lock(mutex_);
        if (ok && text_.empty())
            text_ = text;
        done_ = true;
    }
    completed_.notify_all();
}

std::string CloudAttempt::waitFor(std::chrono::seconds patience)
{
    std::unique_lock lock(mutex_);
    completed_.wait_for(lock, patience, [this] { return done_; });
    return text_;
}

} // namespace quillo
