#include "base/log.h"

#include <cstdarg>
#include <cstdio>

namespace quillo {

bool verboseOutput = false;

void logMessage(const char* format, ...)
{
    if (!verboseOutput)
        return;
    std::va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
}

void logError(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
}

} // namespace quillo
