// Autocorrelation, envelope and frequency: every form that runs here against the plain loops. On a processor
// with 3DNow! (or an emulated one: qemu-x86_64 -cpu phenom) its forms too.
#include "decode/extract_kernels.h"
#include "reference/extract.h"
#include "support/guarded.h"
#include "support/processors.h"
#include "support/signals.h"
#include <bit>
#include <cstdlib>
#include <memory>
#include <zovek/extract.h>

namespace {
using namespace test;
using namespace zv::extract;
using reference::Floats;
constexpr uint32_t sse2 = ZV_CPU_SSE2;

bool has_3dnow() { return (_CPU()->extended_features >> 31) != 0; }

// The library has chosen the 3DNow! forms: approximate, and lags from 1 in place of 0.
bool runs_3dnow() { return select(amplitude_rows).kernel == amplitude_3dnow; }

// All values within so many units in the last place of a float.
testing::AssertionResult near(const float* got, const Floats& wanted, int ulps)
{
    const auto place = [](float v) {
        const auto bits = std::bit_cast<int32_t>(v);
        return int64_t(bits < 0 ? INT32_MIN - int64_t(bits) : bits);
    };
    for (size_t k = 0; k < wanted.size(); ++k)
        if (std::isnan(got[k]) || std::llabs(place(got[k]) - place(wanted[k])) > ulps)
            return testing::AssertionFailure()
                   << "at " << k << ": " << got[k] << ", " << wanted[k] << " wanted";
    return testing::AssertionSuccess();
}

struct Form {
    const char* name;
    Correlate correlate;
    Amplitude amplitude;
    Frequencies frequencies;
    uint32_t sets;
};
constexpr Form forms[] = {{"portable", correlate_portable, amplitude_portable, frequencies_portable, 0},
                          {"avx2", correlate_avx2, amplitude_avx2, frequencies_avx2, zv::avx2},
                          {"avx512", correlate_avx512, amplitude_avx512, frequencies_avx512, zv::avx512}};

const Signal signals[] = {
    noise(3), noise(37), noise(1024, 3), tone(2000, 50, 8000, 30000), Signal(999, -32768), Signal(60)};

// Input and output end at unmapped pages.
TEST(Correlate, EqualsThePlainSums)
{
    for (const Signal& signal : signals)
        for (const size_t lags :
             {size_t(1), size_t(2), size_t(17), size_t(160), signal.size() / 2, signal.size() - 1}) {
            if (lags >= signal.size()) continue;
            SCOPED_TRACE(testing::Message() << signal.size() << " values, " << lags << " lags");
            Guarded<float> in(signal.size());
            for (size_t k = 0; k < signal.size(); ++k) in[k] = float(signal[k]) * 0x1.234567p-9f;
            const Floats values(in.data(), in.data() + signal.size());
            const auto run = [&](Correlate correlate) {
                auto out = std::make_unique<Guarded<float>>(lags);
                correlate(in.data(), out->data(), int32_t(signal.size()), int32_t(lags));
                return out;
            };
            for (const Form& form : forms)
                if (runs_here(0, form.sets)) {
                    EXPECT_TRUE(near(run(form.correlate)->data(), reference::correlate(values, lags), 1))
                        << form.name;
                }
            const Floats later = reference::correlate(values, lags, 1);
            if (has_3dnow()) {
                const auto out = run(correlate_3dnow);
                for (size_t j = 0; j < lags; ++j) EXPECT_NEAR((*out)[j], later[j], 2e-4) << "3dnow, " << j;
            }
        }
}

// 2^60 + 3 - 2^60: what is left lies below the precision of double.
TEST(Correlate, KeepsWhatTermsThatCancelLeave)
{
    const Floats in = {0x1p30f, 0x1p30f, 0x3p-30f, 0, 0x1p30f, -0x1p30f, 0, 0, 0, 0, 0, 0};
    const Floats wanted = reference::correlate(in, 5);
    ASSERT_EQ(wanted[1], 0x1p-60f); // of 3 * 2^60
    for (const Form& form : forms) {
        Floats out(5);
        if (!runs_here(0, form.sets)) continue;
        form.correlate(in.data(), out.data(), 12, 5);
        EXPECT_TRUE(near(out.data(), wanted, 1)) << form.name;
    }
}

Floats run(Amplitude amplitude, const Signal& iq, long double& mean)
{
    Guarded<int16_t> in(iq.size());
    std::copy(iq.begin(), iq.end(), in.data());
    Guarded<float> out(iq.size() / 2);
    mean = amplitude(in.data(), out.data(), uint32_t(iq.size() / 2));
    return Floats(out.data(), out.data() + iq.size() / 2);
}

TEST(ExtractAmplitude, EqualsThePlainRoots)
{
    for (const Signal& iq : {noise(2), noise(4), noise(2046), noise(30000, 7), noise(200, 8, 3), Signal(18),
                             Signal(18, -32768), Signal{0, 0, 3, 4, 0, 1, -32768, -32768, 32767, 0}}) {
        const Floats wanted = reference::amplitude(iq);
        long double mean, sum = 0;
        for (const Form& form : forms) {
            if (!runs_here(0, form.sets)) continue;
            const Floats out = run(form.amplitude, iq, mean);
            EXPECT_TRUE(near(out.data(), wanted, 1)) << form.name;
            sum = 0;
            for (const float v : out) sum += v;
            EXPECT_EQ(mean, sum / out.size()) << form.name;
        }
        if (!has_3dnow()) continue;
        const Floats out = run(amplitude_3dnow, iq, mean);
        EXPECT_TRUE(near(out.data(), wanted, 8)) << "3dnow";
        EXPECT_NEAR(double(mean), double(sum / out.size()), 1e-5) << "3dnow";
    }
}

TEST(ExtractAmplitude, AConstantEnvelopeIsAHalf)
{
    for (const auto& [i, q, count] :
         {std::tuple{1, 0, 1}, {-32768, -32768, 9}, {123, -456, 5000}, {7, 7, 2}}) {
        Signal iq;
        for (int k = 0; k < count; ++k) iq.insert(iq.end(), {int16_t(i), int16_t(q)});
        long double mean;
        const Floats halves(size_t(count), .5f);
        EXPECT_TRUE(near(run(ExtractAmplitude_16_Float, iq, mean).data(), halves, runs_3dnow() ? 8 : 0));
        EXPECT_NEAR(double(mean), .5, runs_3dnow() ? 1e-6 : 0);
    }
}

// A rate of 1 and powers of two give quotients that lie on ties between floats.
TEST(ExtractFrequency, EqualsThePlainQuotients)
{
    Signal ties = noise(600, 4, 16), wraps = noise(600, 5);
    for (size_t k = 0; k < 600; k += 4) ties[k] = 1024, ties[k + 1] = 0, wraps[k] = wraps[k + 1] = -32768;
    for (const Signal& iq :
         {noise(2), noise(130), noise(131 * 2, 2, 2), noise(4000, 3), ties, wraps, Signal(20)})
        for (const float rate : {48000.f, 1.f, 11025.f})
            for (const Form& form : forms) {
                if (!runs_here(sse2, form.sets)) continue;
                const OnProcessor as(0, sse2, form.sets);
                Floats wanted;
                const long double mean = reference::frequency(iq, rate, wanted);
                Guarded<float> out(wanted.size());
                EXPECT_EQ(ExtractFrequency_16_Float(iq.data(), out.data(), uint32_t(wanted.size()), rate),
                          mean);
                EXPECT_TRUE(near(out.data(), wanted, 1)) << form.name << ' ' << rate;
            }
}

TEST(ExtractFrequency, TurningPositivelyReadsNegative)
{
    constexpr double w = 0.1; // radians a pair
    Signal iq;
    for (int k = 0; k < 1000; ++k)
        iq.insert(iq.end(), {int16_t(20000 * std::cos(w * k)), int16_t(20000 * std::sin(w * k))});
    Floats out(1000);
    const double hz = -8000 / (2 * std::numbers::pi) * std::sin(w);
    const long double mean = ExtractFrequency_16_Float(iq.data(), out.data(), 1000, 8000);
    EXPECT_NEAR(double(mean), hz * .999, .01); // the first counts as 0
    EXPECT_NEAR(out[500] + double(mean), hz, .1);
    EXPECT_EQ(out[0], float(-mean));
}

TEST(Extract, NothingHasNoMeanAndIsNotWritten)
{
    const int16_t pair[2] = {300, 400};
    const float in[2] = {1, 2};
    float out = 7;
    EXPECT_EQ(ExtractAmplitude_16_Float(pair, &out, 0), 0);
    EXPECT_EQ(ExtractFrequency_16_Float(pair, &out, 0, 8000), 0);
    Correlate_Float_Float(in, &out, 2, 0);
    Correlate_Float_Float(in, &out, 0, -1);
    EXPECT_EQ(out, 7);
}

TEST(Extract, CorrelationIsChosenOnceAtTheFirstCall)
{
    const Floats in = {1, 2, 3, 4};
    Floats out(2), again(2);
    Correlate_Float_Float(in.data(), out.data(), 4, 2);
    EXPECT_TRUE(near(out.data(), reference::correlate(in, 2, runs_3dnow() ? 1 : 0), runs_3dnow() ? 8 : 0));
    const OnProcessor as(0x20007000, ~0u, 0, ~0u);
    Correlate_Float_Float(in.data(), again.data(), 4, 2);
    EXPECT_EQ(again, out);
}

TEST(Extract, ThreeDNowLeavesTheFloatingPointUnitUsable)
{
    if (!has_3dnow()) GTEST_SKIP() << "this processor has no 3DNow!: its forms were left out above as well";
    const Floats in(9);
    Floats out(4, 1.f);
    correlate_3dnow(in.data(), out.data(), 9, 4);
    volatile long double one = 1;
    EXPECT_EQ(one * 3 / 2, 1.5L);
    EXPECT_EQ(out, Floats(4));
    long double mean;
    run(amplitude_3dnow, noise(10), mean);
    EXPECT_EQ(one * 3 / 2, 1.5L);
}
} // namespace
