// What has kernels, called from a stack that is aligned to 4 bytes alone, as compilers of old programs keep
// it on i386: every processor class that this one can stand for gives what it gives from an aligned one.
#include "support/calls.h"
#include "support/processors.h"
#include "support/signals.h"
#include <map>
#include <zovek/zovek.h>

namespace {
using namespace test;

struct Results {
    std::map<std::string, Signal32> integers;
    std::map<std::string, std::vector<float>> reals;
};

// Runs what has kernels, through exports and through the code pointers of records.
class Work {
public:
    explicit Work(uint32_t offset) : call{offset} {}

    Results all()
    {
        filters();
        decoders();
        receivers();
        spectra();
        return std::move(results);
    }

private:
    static constexpr int32_t count = 3000;
    const ForeignCall call;
    const Signal x = noise(count, 1), weak = tone(count, 1200, 22050, 9000);
    const Signal32 x32 = noise<int32_t>(count, 2);
    Results results;

    template <class Sample>
    static void append(Signal32& to, const std::vector<Sample>& from)
    {
        to.insert(to.end(), from.begin(), from.end());
    }
    void set_up(ZVFIR& fir, ZVFIR* (*construct)(ZVFIR*))
    {
        call(construct, &fir);
        call(ZVFIR_TapsNum, &fir, 63);
        call(ZVFIR_FIRType, &fir, ZVFIRType_BandPass);
        call(ZVFIR_CutOffHigh, &fir, 2222.f);
    }
    // A block that a client writes into the history by itself.
    template <class Sample, class Result>
    std::vector<Result> direct(ZVFIR& fir, const std::vector<Sample>& in, int32_t decimation)
    {
        std::copy_n(in.begin(), 1000, static_cast<Sample*>(fir.history_write));
        std::vector<Result> out(size_t(1000 / decimation));
        call(fir.kernel, &fir, out.data(), 1000, decimation);
        return out;
    }

    void filters()
    {
        ZVFIR fir;
        Signal out(count);
        Signal32 wide(count);
        set_up(fir, ZVFIR1616_Construct);
        call(ZVFIR1616_Process_16_16, &fir, out.data(), x.data(), count, 1, 1);
        append(results.integers["fir1616"], out);
        for (const int32_t decimation : {1, 2, 7})
            append(results.integers["fir1616"], direct<int16_t, int16_t>(fir, x, decimation));
        call(ZVFIR_Destruct, &fir, 0);

        set_up(fir, ZVFIR1632_Construct);
        call(ZVFIR1632_Process_32_32, &fir, wide.data(), x32.data(), count, 1, 1);
        append(results.integers["fir1632"], wide);
        append(results.integers["fir1632"], direct<int16_t, int32_t>(fir, x, 3));
        call(ZVFIR_Destruct, &fir, 0);

        set_up(fir, ZVFIR3232_Construct);
        call(ZVFIR3232_Process_32_32, &fir, wide.data(), x32.data(), count, 1, 1);
        append(results.integers["fir3232"], wide);
        append(results.integers["fir3232"], direct<int32_t, int32_t>(fir, x32, 3));
        std::copy_n(x32.begin(), 1000, static_cast<int32_t*>(fir.history_write));
        call(ZVFIR3232_Process2, &fir, wide.data(), 1000, 1);
        append(results.integers["fir3232"], wide);
        call(ZVFIR_Destruct, &fir, 0);

        ZVLMS1616 lms;
        call(ZVLMS1616_Construct, &lms);
        call(ZVLMS1616_Process_16_16, &lms, out.data(), weak.data(), count, 1);
        append(results.integers["lms"], out);
        call(ZVLMS_Destruct, &lms, 0);

        ZVResampler32 resampler;
        for (const auto& [over, under] : {std::pair{3, 2}, {2, 7}, {160, 147}}) {
            call(ZVResampler32_Construct, &resampler);
            call(ZVResampler32_Over, &resampler, over);
            call(ZVResampler32_Under, &resampler, under);
            Signal narrow(2 * count);
            Signal32 made(2 * count);
            call(ZVResampler32_ProcessIn_16_16, &resampler, narrow.data(), x.data(), count, 1);
            call(ZVResampler32_Restart, &resampler);
            call(ZVResampler32_ProcessIn_32_32, &resampler, made.data(), x32.data(), count, 1);
            append(results.integers["resampler"], narrow);
            append(results.integers["resampler"], made);
            call(ZVResampler32_Destruct, &resampler, 0);
        }
    }

    void decoders()
    {
        Signal out(count);
        ZVFSKCorrDemod fsk;
        call(ZVFSKCorrDemod16_Construct, &fsk);
        for (const Signal& in : {x, weak}) {
            call(ZVFSKCorrDemod16_Process_16_16, &fsk, in.data(), out.data(), count, 1);
            append(results.integers["fsk"], out);
        }
        std::copy_n(x.begin(), 500, fsk.buffer);
        call(fsk.kernel, &fsk, out.data(), 500);
        append(results.integers["fsk"], out);
        call(ZVFSKCorrDemod_Destruct, &fsk, 0);

        ZVToneDetectorCorr detector;
        call(ZVToneDetectorCorr16_Construct, &detector);
        call(ZVToneDetectorCorr_ToneLength, &detector, 0.004f);
        call(ZVToneDetectorCorr16_Process_16_16, &detector, x.data(), out.data(), count, 1);
        append(results.integers["tone"], out);
        std::copy_n(x.begin(), 500, detector.input_write);
        call(detector.kernel, &detector, out.data(), 500);
        append(results.integers["tone"], out);
        call(ZVToneDetectorCorr_Destruct, &detector, 0);

        std::vector<float> in(count), real(count);
        std::copy(weak.begin(), weak.end(), in.begin());
        call(ExtractAmplitude_16_Float, x.data(), real.data(), count / 2);
        results.reals["amplitude"] = real;
        call(ExtractFrequency_16_Float, x.data(), real.data(), count / 2, 22050.f);
        results.reals["frequency"] = real;
        call(Correlate_Float_Float, in.data(), real.data(), count, 200);
        results.reals["correlation"] = real;
    }

    void receivers()
    {
        ZVDemodulator demodulator;
        for (uint8_t mode = 0; mode <= 4; ++mode) {
            call(ZVDemodulator16_Construct, &demodulator);
            call(ZVDemodulator_Mode, &demodulator, mode);
            for (int32_t from = 0; from + 1000 <= count; from += 1000) {
                Signal out(2 * 1000);
                call(ZVDemodulator16_Process_StereoOut_16_16, &demodulator, x.data() + from, out.data(), 1000,
                     1);
                append(results.integers["demodulator"], out);
            }
            call(ZVDemodulator_Destruct, &demodulator, 0);
        }
        ZVPitchShift shift;
        Signal out(count);
        call(ZVPitchShift1616_Construct, &shift);
        call(ZVPitchShift1616_Process_16_16, &shift, out.data(), x.data(), count, 1);
        append(results.integers["pitch shift"], out);
        call(ZVPitchShift_Destruct, &shift, 0);
    }

    template <class Real>
    void keep(const char* name, const ZVFFT& fft)
    {
        const auto* module = static_cast<const Real*>(fft.module);
        auto& to = results.reals[name];
        to.insert(to.end(), module, module + fft.half_size);
    }
    void spectra()
    {
        ZVFFT fft;
        call(ZVFFT_Construct, &fft);
        call(ZVFFT_Compute_16, &fft, x.data(), 512);
        keep<double>("spectrum in double", fft);
        call(ZVFFT_ComputeComplex_IQ_16, &fft, x.data(), weak.data(), 256);
        keep<double>("spectrum in double", fft);
        call(ZVFFT_Destruct, &fft, 0);

        call(ZVFFT2Float_Construct, &fft);
        call(fft.compute_32, &fft, x32.data(), 512);
        keep<float>("spectrum in float", fft);
        call(fft.compute_band_16, &fft, x.data(), 512, 10, 20);
        keep<float>("spectrum in float", fft);
        call(ZVFFT2Float_ComputeComplex_IQ_16, &fft, x.data(), weak.data(), 256);
        keep<float>("spectrum in float", fft);
        call(ZVFFT_Destruct, &fft, 0);
    }
};

struct Named {
    const char* name;
    uint32_t classification, features, sets = 0;
};
constexpr uint32_t mmx = ZV_CPU_MMX, sse2 = ZV_CPU_SSE2, sse = ZV_CPU_SSE;
constexpr Named processors[] = {
    {"plain", 0, 0},
    {"amd_k5", zv::amd_k5, 0},
    {"amd_k6", zv::amd_f5m6, mmx},
    {"cyrix_gxm", zv::cyrix_gxm, mmx},
    {"pentium_ii", 0x10006001, mmx},
    {"pentium_iii", 0x10006003, mmx | sse},
    {"sse2", 0x10006005, mmx | sse | sse2},
    {"avx2", 0x10000000, mmx | sse | sse2, zv::avx2},
    {"avx512", 0x10000000, mmx | sse | sse2, zv::avx2 | zv::avx512},
    {"vnni", 0x10000000, mmx | sse | sse2, zv::avx2 | zv::avx512 | zv::avx512vnni},
};

class Processors : public testing::TestWithParam<Named> {
protected:
    void SetUp() override
    {
        if (!here) GTEST_SKIP() << "does not run here";
    }
    const bool here = runs_here(GetParam().features, GetParam().sets); // asked before the record is another's
    const OnProcessor as{GetParam().classification, GetParam().features, GetParam().sets};
};

TEST_P(Processors, TakeAStackAlignedTo4Bytes)
{
    const Results wanted = Work(0).all();
    for (const uint32_t offset : {4, 8}) {
        const Results got = Work(offset).all();
        EXPECT_EQ(got.integers, wanted.integers) << offset;
        EXPECT_EQ(got.reals, wanted.reals) << offset;
    }
}

INSTANTIATE_TEST_SUITE_P(All, Processors, testing::ValuesIn(processors),
                         [](const auto& info) { return std::string(info.param.name); });
} // namespace
