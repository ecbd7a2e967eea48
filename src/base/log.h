#pragma once

namespace quillo {

/// Whether diagnostic lines are written. Set once by the main routine before any other thread exists, only read
/// afterwards.
extern bool verboseOutput;

/// Writes one diagnostic line to the standard error stream when verboseOutput is set. printf-style; the format carries
/// its own "[Quillo] " prefix and line end. Any thread.
[[gnu::format(gnu_printf, 1, 2)]] void logMessage(const char* format, ...);

/// As logMessage, whether or not verboseOutput is set; for lines that begin "[Quillo] ERROR: " and for fatal ones.
[[gnu::format(gnu_printf, 1, 2)]] void logError(const char* format, ...);

} // namespace quillo
