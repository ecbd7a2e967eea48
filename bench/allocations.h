#pragma once

#include <cstddef>

namespace quillo::bench {

/// How often the calling thread has used operator new so far. Counts in every program that links allocations.cpp.
std::size_t allocationsOfThisThread();

} // namespace quillo::bench
