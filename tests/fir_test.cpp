// The FIR filter as an object: settings, designs, taps, streams, and what is left after a refusal.
#include "filter/fir.h"
#include "reference/fir.h"
#include "reference/fir_design.h"
#include "support/platform.h"
#include "support/processors.h"
#include "support/signals.h"
#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <zovek.hpp>

namespace {
using namespace test;
constexpr uint32_t k5 = 0x20005001; // gets the exact 32 x 32 form

struct FirKind {
    const char* name;
    ZVFIR* (*construct)(ZVFIR*);
    size_t tap; // bytes
    uint32_t storage_bytes;
};
constexpr FirKind kinds[] = {{"1616", ZVFIR1616_Construct, 2, 4718},
                             {"1632", ZVFIR1632_Construct, 2, 6754},
                             {"3232", ZVFIR3232_Construct, 4, 8920}};

class Fir : public testing::TestWithParam<FirKind> {
protected:
    Fir() { GetParam().construct(&fir); }
    ~Fir() override { ZVFIR_Destruct(&fir, 0); }

    int32_t load(const void* from, int32_t k) const
    {
        return GetParam().tap == 2 ? static_cast<const int16_t*>(from)[k]
                                   : static_cast<const int32_t*>(from)[k];
    }
    // The whole tap block, zeros up to the 64-byte boundary included; taps and samples have one width.
    std::vector<int32_t> taps() const
    {
        std::vector<int32_t> all((size_t(fir.taps_count) * GetParam().tap + 63) / 64 * 64 / GetParam().tap);
        for (size_t t = 0; t < all.size(); ++t) all[t] = load(fir.taps, int32_t(t));
        return all;
    }
    std::vector<int32_t> quantised(const std::vector<double>& h) const
    {
        std::vector<int32_t> all(taps().size());
        for (size_t t = 0; t < h.size(); ++t)
            all[t] =
                GetParam().tap == 2 ? reference::quantise<int16_t>(h[t]) : reference::quantise<int32_t>(h[t]);
        return all;
    }
    void mark_history() { std::memset(fir.history, 1, GetParam().tap); }
    bool history_is_marked() const { return load(fir.history, 0) != 0; }
    bool history_is_silent() const
    {
        for (int32_t k = 0; k < fir.taps_count - 1; ++k)
            if (load(fir.history, k) != 0) return false;
        return true;
    }

    void expect_settings(const reference::FirSettings& model) const
    {
        ASSERT_EQ(fir.taps_count, model.taps_count);
        EXPECT_EQ(fir.buffer_size, model.buffer_size);
        EXPECT_EQ(fir.fir_type, model.fir_type);
        EXPECT_EQ(fir.cut_off_high, model.cut_off_high);
        EXPECT_EQ(fir.cut_off_low, model.cut_off_low);
        EXPECT_EQ(fir.sampling_rate, model.sampling_rate);
        EXPECT_EQ(taps(), quantised(model.designed()));
    }

    ZVFIR fir;
};

TEST_P(Fir, StartsAsADelayOf15Samples)
{
    expect_settings({});
    EXPECT_EQ(fir.storage_bytes, GetParam().storage_bytes);
    EXPECT_TRUE(history_is_silent());
    // design | taps | history | output, each at 64 bytes
    const auto width = ptrdiff_t(GetParam().tap);
    const auto at = [&](const void* p) {
        return static_cast<const char*>(p) - static_cast<const char*>(fir.storage);
    };
    EXPECT_EQ(reinterpret_cast<uintptr_t>(fir.storage) % 64, 0u);
    EXPECT_EQ(at(fir.taps), 256);
    EXPECT_EQ(at(fir.history), 256 + (31 * width + 63) / 64 * 64);
    EXPECT_EQ(at(fir.history_write) - at(fir.history), 30 * width);
    EXPECT_EQ(at(fir.out_buffer), at(fir.history) + ((30 + 1024) * width + 63) / 64 * 64);
}

// Setters in turn, each against the model of the clamps, and the taps against the designs in plain form.
TEST_P(Fir, SettersClampGiveWayAndRedesign)
{
    enum Setter { taps_num, type, high, low, rate };
    const std::pair<Setter, float> steps[] = {
        {type, 1},      {taps_num, 0}, {taps_num, 30}, {high, 100000}, {low, 100000},  {high, 500},
        {low, 4000},    {type, 2},     {high, 3000},   {rate, 4000},   {type, 3},      {rate, 11025},
        {high, 3000},   {low, 2500},   {rate, 4000},   {type, 4},      {low, -5},      {rate, 1},
        {low, 5},       {high, 0},     {rate, 48000},  {high, 9600},   {low, 1200.5f}, {type, 5},
        {taps_num, 63}, {type, 6},     {type, 7},      {type, -1},     {taps_num, 5},  {type, 3},
        {taps_num, -9}, {type, 4},     {type, 2},      {type, 1},      {taps_num, 512}};
    reference::FirSettings model;
    for (const auto& [setter, value] : steps) {
        SCOPED_TRACE(testing::Message() << "setter " << setter << " to " << value);
        mark_history();
        const auto whole = int32_t(value);
        if (setter == taps_num) ZVFIR_TapsNum(&fir, whole), model.set_taps(whole);
        if (setter == type) ZVFIR_FIRType(&fir, whole);
        if (setter == type && whole >= 0 && whole <= 6) model.set_type(whole); // any other is ignored
        if (setter == high) ZVFIR_CutOffHigh(&fir, value), model.set_cut_off_high(value);
        if (setter == low) ZVFIR_CutOffLow(&fir, value), model.set_cut_off_low(value);
        if (setter == rate) ZVFIR_SamplingRate(&fir, value), model.set_sampling_rate(value);
        EXPECT_EQ(history_is_marked(), setter != taps_num);
        expect_settings(model);
    }
}

TEST_P(Fir, PresentValuesChangeNothingAndABlockSizeKeepsTheTaps)
{
    fir.set_taps_float(&fir, std::vector<float>(31, 0.25f).data(), 31); // no design
    const auto loaded = taps();
    mark_history();
    ZVFIR_TapsNum(&fir, 31), ZVFIR_TapsNum(&fir, 30), ZVFIR_BufferSize(&fir, 1024),
        ZVFIR_FIRType(&fir, ZVFIRType_PassThrough);
    ZVFIR_CutOffHigh(&fir, 3000), ZVFIR_CutOffLow(&fir, 1000), ZVFIR_SamplingRate(&fir, 11025);
    EXPECT_EQ(taps(), loaded);
    EXPECT_TRUE(history_is_marked());
    for (const int32_t size : {5000, 0}) {
        mark_history();
        ZVFIR_BufferSize(&fir, size);
        EXPECT_EQ(fir.buffer_size, std::max(size, 1));
        EXPECT_EQ(taps(), loaded);
        EXPECT_TRUE(history_is_silent());
    }
    EXPECT_GT(fir.storage_bytes, 5000 * 2 * GetParam().tap); // never shrinks
}

TEST_P(Fir, LoadersQuantiseTheCallersTaps)
{
    // at 0.5 both scales tie: to the even neighbour
    const std::vector<double> values = {1.5, 1, 0.999999, -1, -1.5, -1.0000001, 0.5, -0.5, 0.3};
    fir.set_taps_double(&fir, values.data(), int32_t(values.size()));
    EXPECT_EQ(fir.taps_count, 9);
    EXPECT_EQ(taps(), quantised(values));
    const auto stored = taps();
    const int32_t top = GetParam().tap == 2 ? INT16_MAX : INT32_MAX;
    EXPECT_EQ(
        (std::vector<int32_t>(stored.begin(), stored.begin() + 8)),
        (std::vector<int32_t>{top, top, stored[2], -top, -top - 1, -top - 1, top / 2 + 1, -top / 2 - 1}));
    const double infinity = HUGE_VAL, strange[] = {std::nan(""), infinity, -infinity};
    fir.set_taps_double(&fir, strange, 3);
    for (const int32_t t : {0, 1, 2}) EXPECT_EQ(taps()[size_t(t)], t == 1 ? top : -top - 1) << t;
    mark_history();
    const std::vector<float> few = {0.5f, -0.25f, 1, -1};
    fir.set_taps_float(&fir, few.data(), 4); // one more tap, zero
    EXPECT_EQ(fir.taps_count, 5);
    EXPECT_EQ(taps(), quantised({0.5, -0.25, 1, -1, 0}));
    EXPECT_TRUE(history_is_silent());
    const float none = std::nanf("");
    fir.set_taps_float(&fir, &none, 1);
    EXPECT_EQ(taps()[0], -top - 1);
}

// Without memory every setter and loader leaves the filter as it was, and reserving leaves the present
// layout.
TEST_P(Fir, SurvivesRefusal)
{
    ZVFIR_FIRType(&fir, ZVFIRType_LowPass);
    mark_history();
    const auto before = taps();
    const std::string record = test::bytes_of(fir);
    {
        const Refusing refusing;
        ZVFIR_TapsNum(&fir, 10'000'001);
        ZVFIR_BufferSize(&fir, 50'000'000);
        const std::vector<double> many(1'000'000, 0.5);
        fir.set_taps_double(&fir, many.data(), int32_t(many.size()));
        EXPECT_FALSE(zv::fir::reserve(&fir, 1'000'001, 64));
    }
    ZVFIR_TapsNum(&fir, INT32_MAX), ZVFIR_BufferSize(&fir, INT32_MAX); // larger than any block
    EXPECT_EQ(test::bytes_of(fir), record);
    EXPECT_TRUE(zv::fir::reserve(&fir, 401, 4096));
    EXPECT_EQ(fir.taps, static_cast<char*>(fir.storage) + 256); // the present layout, wherever the block is
    EXPECT_EQ(fir.taps_count, 31);
    EXPECT_EQ(taps(), before);
    EXPECT_TRUE(history_is_marked());
    const Refusing refusing;
    ZVFIR_TapsNum(&fir, 400), ZVFIR_BufferSize(&fir, 4096);
    EXPECT_EQ(fir.taps_count, 401);
    EXPECT_EQ(fir.buffer_size, 4096);
}

// A client's own rebuild hides the kind. Room that is reserved then leaves the layout as it stands, wherever
// the block goes, and holds whatever the library's rebuild lays out when the client goes on to it.
TEST_P(Fir, AClientsRebuildKeepsTheLayout)
{
    ZVFIR_FIRType(&fir, ZVFIRType_LowPass);
    mark_history();
    static void (*own)(ZVFIR*);
    own = fir.rebuild;
    fir.rebuild = [](ZVFIR* self) { own(self); };
    const auto offsets = [this] {
        const auto at = [this](const void* p) {
            return static_cast<const char*>(p) - static_cast<const char*>(fir.storage);
        };
        return std::vector{at(fir.taps), at(fir.history), at(fir.history_write), at(fir.out_buffer)};
    };
    const auto before = offsets();
    const auto designed = taps();
    ASSERT_TRUE(zv::fir::reserve(&fir, 401, 4096));
    EXPECT_EQ(offsets(), before);
    EXPECT_EQ(taps(), designed);
    EXPECT_TRUE(history_is_marked());
    const Refusing refusing;
    ZVFIR_BufferSize(&fir, 4096);
    EXPECT_EQ(taps(), designed);
    EXPECT_TRUE(history_is_silent());
    ZVFIR_TapsNum(&fir, 401);
    EXPECT_EQ(fir.taps_count, 401);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Fir, testing::ValuesIn(kinds),
                         [](const auto& info) { return info.param.name; });

TEST(FirDesign, WorkedTapValues)
{
    const std::pair<int32_t, std::array<int16_t, 3>> rows[] = {
        // the three in the middle of 63, Q15
        {ZVFIRType_LowPass, {10286, 17832, 10286}}, {ZVFIRType_HighPass, {5604, -26823, 5604}},
        {ZVFIRType_BandPass, {4682, 11888, 4682}},  {ZVFIRType_BandStop, {-4682, 20879, -4682}},
        {ZVFIRType_Hilbert, {-20811, 0, 20811}},    {ZVFIRType_MovingAverage, {520, 520, 520}}};
    const zovek::FIR fir(ZVFIR1632_Construct);
    ZVFIR_TapsNum(fir, 63);
    for (const auto& [type, values] : rows) {
        ZVFIR_FIRType(fir, type);
        for (size_t k = 0; k < 3; ++k) EXPECT_EQ(static_cast<int16_t*>(fir->taps)[30 + k], values[k]) << type;
    }
}

// ---- Streams ----
template <class Out, class In>
using Process = void (*)(ZVFIR*, Out*, const In*, int32_t, int32_t, int32_t);

// A stream cut into calls, every step-th element of an interleaved buffer, against the plain sum over the
// samples taken; then the last block's results left in the filter's own output.
template <class Tap, class Out, class In, class Store, class Reference, class Narrow>
void check_stream(ZVFIR* (*construct)(ZVFIR*), Process<Out, In> process, bool rounds_up, Store store,
                  Reference reference, Narrow narrow)
{
    for (const auto& [step, decimation] : {std::pair{1, 1}, {1, 2}, {2, 1}, {3, 5}}) {
        SCOPED_TRACE(testing::Message() << "step " << step << ", decimation " << decimation);
        const zovek::FIR fir(construct);
        ZVFIR_TapsNum(fir, 15), ZVFIR_BufferSize(fir, 30);
        const auto taps = noise<Tap>(15, 5);
        std::copy(taps.begin(), taps.end(), static_cast<Tap*>(fir->taps));
        const auto in = noise<In>(600 * size_t(step), 6);
        std::vector<Tap> taken;
        const auto take = [&, apart = step](size_t at, int32_t samples) {
            for (int32_t k = 0; k < samples; ++k) taken.push_back(store(in[at + size_t(k * apart)]));
        };
        const auto results = [&, by = decimation] { return reference(taps, taken, by, std::vector<Tap>{}); };
        const auto narrowed = [&] {
            std::vector<Out> all;
            for (const auto v : results()) all.push_back(narrow(v));
            return all;
        };

        std::vector<Out> out(600);
        size_t at = 0;
        for (const int32_t samples : {30, 10, 150, 70, 300}) {
            Out* to = &out[at / size_t(step * decimation)];
            const int32_t length = rounds_up ? (samples - 1) * step + 1 : samples * step + step - 1;
            process(fir, to, &in[at], length, step, decimation);
            process(fir, to, &in[at], length, step, 0); // nothing to make
            process(fir, to, &in[at], length, step, -1);
            take(at, samples);
            at += size_t(samples * step);
        }
        out.resize(size_t(560 / decimation));
        EXPECT_TRUE(same(out, narrowed()));

        process(fir, nullptr, in.data(), 40 * step, step, decimation); // blocks of 30 and 10 samples
        take(0, 40);
        const auto all = results();
        auto last = all;
        last.erase(last.begin(), last.end() - 10 / decimation);
        const auto* own = static_cast<decltype(all.data())>(fir->out_buffer);
        EXPECT_TRUE(same({own, own + last.size()}, last));
    }
}

TEST(FirStreams, EqualThePlainSumHoweverTheyAreCut)
{
    const auto as_is = [](auto v) { return v; };
    const auto top = [](int32_t v) { return reference::top16(v); };
    const auto widen = [](int16_t v) { return reference::left_justified(v); };
    check_stream<int16_t>(ZVFIR1616_Construct, ZVFIR1616_Process_16_16, false, as_is, reference::fir1616,
                          as_is);
    check_stream<int16_t>(ZVFIR1632_Construct, ZVFIR1632_Process_16_32, true, as_is, reference::fir1632,
                          as_is);
    check_stream<int16_t>(ZVFIR1632_Construct, ZVFIR1632_Process_32_32, true, top, reference::fir1632, as_is);
    for (const bool exact : {true, false}) {
        if (!exact && !runs_here(ZV_CPU_MMX)) continue;
        std::optional<OnProcessor> as;
        if (exact) as.emplace(k5, 0);
        const auto sum = exact ? reference::fir3232_exact : reference::fir3232_high;
        check_stream<int32_t>(ZVFIR3232_Construct, ZVFIR3232_Process_16_16, false, widen, sum, top);
        check_stream<int32_t>(ZVFIR3232_Construct, ZVFIR3232_Process_16_32, false, widen, sum, as_is);
        check_stream<int32_t>(ZVFIR3232_Construct, ZVFIR3232_Process_32_16, false, as_is, sum, top);
        check_stream<int32_t>(ZVFIR3232_Construct, ZVFIR3232_Process_32_32, false, as_is, sum, as_is);
    }
}

} // namespace
