// The client's self-test: equal without CPUID and with every set of kernels that this machine has the
// instructions for, and different as soon as a kernel gives another bit.
#include "core/cpu.h"
#include "filter/lms_kernels.h"
#include "selftest/kernels.h"
#include "selftest/selftest.h"
#include "support/processors.h"
#include <algorithm>
#include <gtest/gtest.h>

namespace {
using namespace client::selftest;

// The parts that are not as they must be, by name.
std::string differing(const std::vector<Outcome>& outcomes)
{
    std::string names;
    for (const Outcome& part : outcomes)
        if (!part.equal) names += part.name + "; ";
    return names;
}

// First, so that the kernels that are chosen once are those of a processor without CPUID.
TEST(SelfTest, IsEqualWithoutCpuid)
{
    ZVCPUInfo record = {};
    zv::decide({}, record);
    const test::OnProcessor as(record.classification, record.features, zv::decide_wider_sets({}));
    EXPECT_EQ(differing(run()), "");
    const uint64_t before = ZVCPUInfo_GetTimer(&record);
    EXPECT_LE(before, ZVCPUInfo_GetTimer(&record)) << "the system's counter";
}

TEST(SelfTest, IsEqualWithEveryKernelThatRunsHere)
{
    const struct {
        uint32_t classification, features, sets;
    } rows[] = {
        {0, 0, 0},
        {zv::amd_k5, 0, 0},
        {zv::amd_f5m6, zv::mmx, 0},
        {0, zv::mmx, 0},
        {0, zv::mmx | zv::sse2, 0},
        {0, zv::mmx | zv::sse2, zv::avx2},
        {0, zv::mmx | zv::sse2, zv::avx2 | zv::avx512},
        {0, zv::mmx | zv::sse2, zv::avx2 | zv::avx512 | zv::avx512vnni},
    };
    for (const auto& row : rows) {
        if (!test::runs_here(row.features, row.sets)) continue;
        SCOPED_TRACE(testing::Message()
                     << std::hex << row.classification << ' ' << row.features << ' ' << row.sets);
        const test::OnProcessor as(row.classification, row.features, row.sets);
        zv::lms::lms_kernel = zv::lms::choose;
        EXPECT_EQ(differing(run()), "");
    }
    zv::lms::lms_kernel = zv::lms::choose;
}

TEST(SelfTest, PartsNameFamiliesThatHaveKernels)
{
    const auto is_listed = [](const auto& part) {
        const auto all = client::kernels();
        return !part.kernels || std::any_of(all.begin(), all.end(), [&](const auto& kernel) {
            return std::string(kernel.family) == part.kernels;
        });
    };
    for (const IntegerPart& part : integer_parts) EXPECT_TRUE(is_listed(part)) << part.name;
    for (const RealPart& part : real_parts) EXPECT_TRUE(is_listed(part)) << part.name;
}

TEST(SelfTest, FindsOneWrongBitAndSaysWhere)
{
    zv::lms::lms_kernel = [](ZVLMS1616* self, int16_t* out, uint32_t count) {
        zv::lms::lms_any(self, out, count);
        if (self->taps_count == 64) out[count / 2] ^= 1;
    };
    const auto outcomes = run();
    zv::lms::lms_kernel = zv::lms::choose;
    EXPECT_EQ(differing(outcomes), "lms; ");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(report(outcomes, false), 1);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("DIFFERS, expected efef448a33a2504d"),
              std::string::npos);
    EXPECT_NE(testing::internal::GetCapturedStderr().find(" differ: lms;"), std::string::npos);
}
} // namespace
