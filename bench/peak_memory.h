#pragma once

#include <fstream>
#include <string>

namespace quillo::bench {

/// By how much the resident set of this process has grown at its highest, from the object's birth. One at a time.
class PeakMemory {
public:
    PeakMemory()
    {
        std::ofstream("/proc/self/clear_refs") << 5; // the highest value starts anew
        before_ = kib("VmRSS:");
    }

    long growthKib() const { return kib("VmHWM:") - before_; }

private:
    static long kib(const std::string& name)
    {
        std::ifstream status("/proc/self/status");
        for (std::string word; status >> word;)
            if (word == name) {
                long value = 0;
                status >> value;
                return value;
            }
        return 0;
    }

    long before_ = 0;
};

} // namespace quillo::bench
