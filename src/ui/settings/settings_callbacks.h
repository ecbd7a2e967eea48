#pragma once

#include <functional>
#include <string>

namespace quillo {

/// What the settings window asks of the program. All are called on the user-interface thread; an empty one is skipped.

/// Another model has become the active one.
using ActiveModelCallback = std::function<void(const std::string& modelId)>;

/// Tries a key at "openai" or "mistral". The answer may come at once or later, on any thread.
using CloudTestCallback =
    std::function<void(const std::string& provider, const std::string& key, std::function<void(bool accepted)> done)>;

} // namespace quillo
