#pragma once

#include <chrono>
#include <thread>

namespace quillo::test {

/// Polls until the condition holds; false when it has not within 20 s.
template<typename Condition> bool eventually(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace quillo::test
