#pragma once

#include <functional>
#include <string>

namespace quillo {

class AudioCapture;

namespace model {
class ModelManager;
}

/// Another model has become the active one.
using ActiveModelCallback = std::function<void(const std::string& modelId)>;

/// Tries a key at "openai" or "mistral". The answer may come at once or later, on any thread.
using CloudTestCallback =
    std::function<void(const std::string& provider, const std::string& key, std::function<void(bool accepted)> done)>;

/// What the settings window uses of the program. What is pointed to is not owned, may be null, and must outlive the
/// window. The functions are called on the user-interface thread; an empty one is skipped.
struct SettingsServices {
    model::ModelManager* modelManager = nullptr;
    AudioCapture* audioCapture = nullptr;
    ActiveModelCallback onActiveModelChanged;
    CloudTestCallback onCloudTest;
};

} // namespace quillo
