#include "platform/windows/hook_loss_detector.h"

#include <gtest/gtest.h>

#include <string>

namespace quillo::platform {
namespace {

using namespace std::chrono_literals;

TEST(HookLossDetector, Judges)
{
    // After the hook's installation: 'c' a call of the hook, 'r' a raw key that leaves the hook trusted, 'L' a raw key
    // at which the hook is taken for gone, each 10 ms after the one before; '.' a second and '_' a minute without any.
    for (const std::string events : {"_crcrcrcrcr", "_rcrcrcrcrc", "_ccccrrrr_rccccrrr", "_cccccc_ccc", "_rL",
             "_crcrcr_rL", "_rcrc_r_rL", "_cr_rcr_rcrcr", "rrrr...rrrr_rL"}) {
        HookLossDetector::Time now{};
        HookLossDetector detector(now);
        std::string judged;
        for (const char event : events) {
            now += event == '.' ? 1s : event == '_' ? 60s : std::chrono::milliseconds(10);
            const bool raw = event == 'r' || event == 'L';
            if (event == 'c')
                detector.onHookCall();
            judged += !raw ? event : detector.onRawKey(now) ? 'L' : 'r';
        }
        EXPECT_EQ(judged, events);
    }
}

} // namespace
} // namespace quillo::platform
