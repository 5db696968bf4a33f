// The rules that all objects share, over one table of all constructors.
#include "core/heap.h"
#include "support/families.h"
#include "support/platform.h"
#include <cstring>
#include <gtest/gtest.h>
#include <vector>
#include <zovek/zovek.h>

namespace {
using test::Family;

const std::vector<Family> families = {
    FAMILY(ZVFIR1616_Construct, ZVFIR_Destruct),
    FAMILY(ZVFIR1632_Construct, ZVFIR_Destruct),
    FAMILY(ZVFIR3232_Construct, ZVFIR_Destruct),
    FAMILY(ZVDelayLine16_Construct, ZVDelayLine_Destruct),
    FAMILY(ZVDelayLine32_Construct, ZVDelayLine_Destruct),
    FAMILY(ZVNotchFilter2_Construct, ZVNotchFilter2_Destruct),
    FAMILY(ZVLMS1616_Construct, ZVLMS_Destruct),
    FAMILY(ZVFFT_Construct, ZVFFT_Destruct),
    FAMILY(ZVFFT2Float_Construct, ZVFFT_Destruct),
    FAMILY(ZVAGC_Construct, ZVAGC_Destruct),
    FAMILY(ZVDemodulator16_Construct, ZVDemodulator_Destruct),
    FAMILY(ZVDynamicPixMap_Construct, ZVDynamicPixMap_Destruct),
    FAMILY(ZVResampler32_Construct, ZVResampler32_Destruct),
    FAMILY(ZVPitchShift1616_Construct, ZVPitchShift_Destruct),
    FAMILY(ZVThreadExclusion_Construct, ZVThreadExclusion_Destruct),
    FAMILY(ZVFSKCorrDemod16_Construct, ZVFSKCorrDemod_Destruct),
    FAMILY(ZVFSKDelayDemod16_Construct, ZVFSKDelayDemod_Destruct),
    FAMILY(ZVDataFormatter2_Construct, ZVDataFormatter2_Destruct),
    FAMILY(ZVToneDetector_Construct, ZVToneDetector_Destruct),
    FAMILY(ZVToneDetectorCorr16_Construct, ZVToneDetectorCorr_Destruct),
    FAMILY(ZVString_Construct, ZVString_Destruct),
    FAMILY(ZVStringList_Construct, ZVStringList_Destruct),
};

class Conventions : public testing::TestWithParam<Family> {
protected:
    void TearDown() override { EXPECT_EQ(zv::heap::newest_pool(), nullptr) << "a block is left behind"; }
};

TEST_P(Conventions, NullIsNoFaultAndOtherFlagsAreIgnored)
{
    GetParam().destruct(nullptr, 1);
    GetParam().destruct(GetParam().construct(nullptr), 0xFFFFFFFF);
}

TEST_P(Conventions, InPlaceNothingBehindTheRecordIsTouchedAndTheMemoryStaysTheClients)
{
    std::vector<unsigned char> room(GetParam().record_bytes + 64, 0x5A);
    ASSERT_EQ(GetParam().construct(room.data()), room.data());
    GetParam().destruct(room.data(), 0xFFFFFFFE);
    for (size_t k = GetParam().record_bytes; k < room.size(); ++k) ASSERT_EQ(room[k], 0x5A) << k;
}

// Refuses the first, the second, ... request for memory until the construction succeeds.
TEST_P(Conventions, ARefusalAtAnyPointGivesNullAndEverythingBack)
{
    std::vector<unsigned char> room(GetParam().record_bytes);
    for (void* self : {static_cast<void*>(nullptr), static_cast<void*>(room.data())}) {
        void* built = nullptr;
        for (int granted = 0;; ++granted) {
            ASSERT_LT(granted, 200);
            const test::Refusing refusing(granted);
            built = GetParam().construct(self);
            if (built) break;
            ASSERT_EQ(zv::heap::newest_pool(), nullptr) << "after " << granted;
        }
        GetParam().destruct(built, self ? 0 : 1);
    }
}

INSTANTIATE_TEST_SUITE_P(All, Conventions, testing::ValuesIn(families),
                         [](const auto& info) { return info.param.name; });
} // namespace
