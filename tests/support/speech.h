#pragma once

#include <string>
#include <vector>

namespace quillo::test {

/// A person saying the text: synthetic English speech by espeak-ng as Quillo's samples, mono, 16,000 a second, with
/// 0.3 s of silence on both sides. Needs the programs espeak-ng and sox; throws std::runtime_error without them.
std::vector<float> speak(const std::string& text, const std::string& voice = "en-us");

} // namespace quillo::test
