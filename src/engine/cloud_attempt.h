#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

namespace quillo {

/// The meeting point of one attempt at cloud recognition and its completions, which share it: a completion may come
/// when the attempt has long given up, and then changes nothing. Any thread.
class CloudAttempt {
public:
    void complete(const std::string& text, bool ok);

    /// Waits for the first completion, whether success or failure. Its text, or an empty one when it failed, said
    /// nothing or did not come in time.
    std::string waitFor(std::chrono::seconds patience);

private:
    std::mutex mutex_; // guards what follows
    std::condition_variable completed_;
    bool done_ = false;
    std::string text_;
};

} // namespace quillo
