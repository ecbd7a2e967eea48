#include "platform/windows/hook_witness.h"

#include <gtest/gtest.h>

#include <string>

namespace quillo::platform {
namespace {

using namespace std::chrono_literals;

struct Course {
    const char* name;
    /// After the hook's installation: 'c' a call of the hook, 'r' a raw key that leaves the hook trusted, 'L' a raw key
    /// at which the hook is taken for gone, each 10 ms after the one before; '.' a second and '_' a minute without any.
    const char* events;
};

class HookWitnessTest : public testing::TestWithParam<Course> { };

TEST_P(HookWitnessTest, Judges)
{
    HookWitness::Time now{};
    HookWitness witness(now);
    std::string judged;
    for (const char event : std::string(GetParam().events)) {
        now += event == '.' ? 1s : event == '_' ? 60s : std::chrono::milliseconds(10);
        const bool raw = event == 'r' || event == 'L';
        if (event == 'c')
            witness.onHookCall();
        judged += !raw ? event : witness.onRawKey(now) ? 'L' : 'r';
    }
    EXPECT_EQ(judged, GetParam().events);
}

INSTANTIATE_TEST_SUITE_P(Courses, HookWitnessTest,
    testing::Values(Course{"callsBeforeRawInput", "_crcrcrcrcr"}, Course{"callsAfterRawInput", "_rcrcrcrcrc"},
        Course{"rawInputThatLags", "_ccccrrrr_rccccrrr"}, Course{"callsAlone", "_cccccc_ccc"},
        Course{"goneFromTheStart", "_rL"}, Course{"goneLater", "_crcrcr_rL"},
        Course{"goneBetweenACallAndItsRawKey", "_rcrc_r_rL"}, Course{"aSingleKeyTheHookDidNotGet", "_cr_rcr_rcrcr"},
        Course{"justInstalled", "rrrr...rrrr_rL"}),
    [](const auto& tested) { return tested.param.name; });

} // namespace
} // namespace quillo::platform
