// What all calls that process samples share, over tables of all such calls: nothing to take, results over the
// input, a count that is too large; and that a record's code pointers are the client's to replace.
#include "core/heap.h"
#include "support/families.h"
#include "support/signals.h"
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>
#include <zovek.hpp>

namespace {
using test::Family;

// ---- Calls over a client's samples ----

// A call over a client's samples, whatever the order of its arguments: what is const is the input, and what
// is not the output, or both in a call without another sample pointer. step counts as far as the call has
// one, decimation is 1.
using Run = void (*)(void* self, void* out, void* in, int32_t length, int32_t step);

template <auto Call>
struct As;
template <class R, class S, class... P, R (*Call)(S*, P...)>
struct As<Call> {
    static constexpr bool steps = (std::is_integral_v<P> + ...) > 1;
    static void run(void* self, void* out, void* in, int32_t length, int32_t step)
    {
        constexpr bool reads = (std::is_const_v<std::remove_pointer_t<P>> || ...);
        void* const written[] = {reads ? out : in, out};
        const int32_t numbers[] = {length, step, 1};
        auto pointer = std::begin(written);
        auto number = std::begin(numbers);
        const auto next = [&]<class T>(std::type_identity<T>) {
            if constexpr (std::is_integral_v<T>)
                return T(*number++);
            else
                return static_cast<T>(std::is_const_v<std::remove_pointer_t<T>> ? in : *pointer++);
        };
        const std::tuple<P...> arguments{next(std::type_identity<P>())...}; // in their order
        std::apply([&](P... p) { Call(static_cast<S*>(self), p...); }, arguments);
    }
};

template <auto Make, class Setting>
void* made(Setting set)
{
    auto* self = Make(nullptr);
    set(self);
    return self;
}

enum Place { over_input, by_nature, elsewhere }; // where out may be, for streams of any length
struct Stream {
    std::string name;
    Family family;
    void* (*make)(); // with settings that change the signal
    Run run;
    bool steps;
    Place place;
    int32_t most = 3000; // samples that a call takes here: several blocks
};
// clang-format off
#define STREAM(construct, destruct, call, place, ...)                                                        \
    Stream{#call, FAMILY(construct, destruct),                                                               \
           [] { return made<construct>([]([[maybe_unused]] auto* self) { __VA_ARGS__; }); },                 \
           As<call>::run, As<call>::steps, place}
// clang-format on

void low_pass(ZVFIR* fir) { ZVFIR_FIRType(fir, ZVFIRType_LowPass); }

const std::vector<Stream> streams = {
    STREAM(ZVFIR1616_Construct, ZVFIR_Destruct, ZVFIR1616_Process_16_16, over_input, low_pass(self)),
    STREAM(ZVFIR1632_Construct, ZVFIR_Destruct, ZVFIR1632_Process_16_32, elsewhere, low_pass(self)),
    STREAM(ZVFIR1632_Construct, ZVFIR_Destruct, ZVFIR1632_Process_32_32, over_input, low_pass(self)),
    STREAM(ZVFIR3232_Construct, ZVFIR_Destruct, ZVFIR3232_Process_16_16, over_input, low_pass(self)),
    STREAM(ZVFIR3232_Construct, ZVFIR_Destruct, ZVFIR3232_Process_16_32, elsewhere, low_pass(self)),
    STREAM(ZVFIR3232_Construct, ZVFIR_Destruct, ZVFIR3232_Process_32_16, elsewhere, low_pass(self)),
    STREAM(ZVFIR3232_Construct, ZVFIR_Destruct, ZVFIR3232_Process_32_32, over_input, low_pass(self)),
    STREAM(ZVDelayLine16_Construct, ZVDelayLine_Destruct, ZVDelayLine16_Process_16_16, over_input),
    STREAM(ZVDelayLine32_Construct, ZVDelayLine_Destruct, ZVDelayLine32_Process_32_32, over_input),
    STREAM(ZVNotchFilter2_Construct, ZVNotchFilter2_Destruct, ZVNotchFilter2_Process16, by_nature),
    STREAM(ZVLMS1616_Construct, ZVLMS_Destruct, ZVLMS1616_Process_16_16, over_input),
    STREAM(ZVAGC_Construct, ZVAGC_Destruct, ZVAGC_Process_Mono16, by_nature),
    STREAM(ZVAGC_Construct, ZVAGC_Destruct, ZVAGC_Process_Mono32, by_nature),
    STREAM(ZVAGC_Construct, ZVAGC_Destruct, ZVAGC_Process_Stereo16, by_nature),
    STREAM(ZVAGC_Construct, ZVAGC_Destruct, ZVAGC_Process_Stereo32, by_nature),
    STREAM(ZVAGC_Construct, ZVAGC_Destruct, ZVAGC_ProcessBuffer_Mono32, by_nature),
    // Its output may be longer than its input: in place for one block alone.
    {"ZVDemodulator16_one_block", FAMILY(ZVDemodulator16_Construct, ZVDemodulator_Destruct),
     []() -> void* { return ZVDemodulator16_Construct(nullptr); },
     As<ZVDemodulator16_Process_StereoOut_16_16>::run, true, over_input, 1024},
    STREAM(ZVDemodulator16_Construct, ZVDemodulator_Destruct, ZVDemodulator16_Process_StereoOut_16_16,
           elsewhere),
    STREAM(ZVPitchShift1616_Construct, ZVPitchShift_Destruct, ZVPitchShift1616_Process_16_16, over_input,
           self->shift = 77),
    STREAM(ZVFSKCorrDemod16_Construct, ZVFSKCorrDemod_Destruct, ZVFSKCorrDemod16_Process_16_16, over_input),
    STREAM(ZVFSKDelayDemod16_Construct, ZVFSKDelayDemod_Destruct, ZVFSKDelayDemod16_Process, over_input),
    STREAM(ZVToneDetector_Construct, ZVToneDetector_Destruct, ZVToneDetector_Process_16, elsewhere),
    STREAM(ZVToneDetector_Construct, ZVToneDetector_Destruct, ZVToneDetector_Process_double, elsewhere),
    STREAM(ZVToneDetectorCorr16_Construct, ZVToneDetectorCorr_Destruct, ZVToneDetectorCorr16_Process_16_16,
           over_input),
    STREAM(ZVResampler32_Construct, ZVResampler32_Destruct, ZVResampler32_ProcessIn_8_8, over_input,
           ZVResampler32_Setup(self, 4, 3, 0, 32)),
    STREAM(ZVResampler32_Construct, ZVResampler32_Destruct, ZVResampler32_ProcessIn_16_16, over_input,
           ZVResampler32_Setup(self, 4, 3, 0, 32)),
    STREAM(ZVResampler32_Construct, ZVResampler32_Destruct, ZVResampler32_ProcessIn_32_32, over_input,
           ZVResampler32_Setup(self, 4, 4, 0, 32)),
    STREAM(ZVResampler32_Construct, ZVResampler32_Destruct, ZVResampler32_ProcessOut_16_16, elsewhere,
           ZVResampler32_Setup(self, 4, 3, 0, 32)),
};

// An object and its twin, which gets the same but for what is tried.
class Streams : public testing::TestWithParam<Stream> {
protected:
    using Bytes = std::vector<unsigned char>;
    static constexpr size_t room = 20000 * sizeof(int32_t);

    // Any bytes will do that are finite as reals.
    static Bytes signal(uint32_t seed)
    {
        const auto x = test::noise<int16_t>(room / sizeof(int16_t), seed, 8000);
        Bytes bytes(room);
        std::memcpy(bytes.data(), x.data(), room);
        return bytes;
    }
    // What a call leaves where its output goes, which held the input before.
    Bytes after(void* self, Bytes in) const
    {
        Bytes out = in;
        GetParam().run(self, out.data(), in.data(), GetParam().most, 1);
        out.insert(out.end(), in.begin(), in.end());
        return out;
    }
    Bytes record(const void* self) const
    {
        const auto* first = static_cast<const unsigned char*>(self);
        return {first, first + GetParam().family.record_bytes};
    }
    void TearDown() override
    {
        for (void* object : {self, twin}) GetParam().family.destruct(object, 1);
        EXPECT_EQ(zv::heap::newest_pool(), nullptr);
    }
    void *self = GetParam().make(), *twin = GetParam().make();
};

TEST_P(Streams, WithoutSamplesNothingChanges)
{
    for (void* object : {self, twin}) after(object, signal(1));
    const Bytes before = record(self), input = signal(2);
    for (const auto& [length, step] : {std::pair(0, 1), {0, 0}, {50, 0}, {50, -1}}) {
        if (length != 0 && !GetParam().steps) continue;
        Bytes in = input, out = input;
        GetParam().run(self, out.data(), in.data(), length, step);
        EXPECT_EQ(out, input) << length << ' ' << step;
        EXPECT_EQ(in, input) << length << ' ' << step;
        EXPECT_EQ(record(self), before) << length << ' ' << step;
    }
    EXPECT_EQ(after(self, signal(3)), after(twin, signal(3)));
}

class InPlace : public Streams {};

TEST_P(InPlace, GivesWhatComesOutElsewhere)
{
    Bytes place = signal(4);
    const Bytes apart = after(self, place);
    GetParam().run(twin, place.data(), place.data(), GetParam().most, 1);
    EXPECT_EQ(place, Bytes(apart.begin(), apart.begin() + room));
    EXPECT_NE(place, signal(4));
}

std::vector<Stream> in_place()
{
    std::vector<Stream> rows;
    std::copy_if(streams.begin(), streams.end(), std::back_inserter(rows),
                 [](const Stream& s) { return s.place == over_input; });
    return rows;
}
constexpr auto name_of = [](const auto& info) { return info.param.name; };
INSTANTIATE_TEST_SUITE_P(All, Streams, testing::ValuesIn(streams), name_of);
INSTANTIATE_TEST_SUITE_P(All, InPlace, testing::ValuesIn(in_place()), name_of);

// ---- Calls on samples that stand in the object already ----

struct OwnInput {
    std::string name;
    Family family;
    size_t in_bytes, out_bytes; // of a sample
    int32_t block;
    void* (*input)(void*);
    void* (*output)(void*);
    void (*run)(void*, uint32_t count); // into the object's own output
};
#define OWN_INPUT(name, construct, destruct, in, out, samples, from, to, call)                               \
    OwnInput                                                                                                 \
    {                                                                                                        \
        name, FAMILY(construct, destruct), sizeof(in), sizeof(out), samples,                                 \
            [](void* p) -> void* { return static_cast<decltype(construct(nullptr))>(p)->from; },             \
            [](void* p) -> void* { return static_cast<decltype(construct(nullptr))>(p)->to; },               \
            [](void* p, uint32_t count) {                                                                    \
                auto* const self = static_cast<decltype(construct(nullptr))>(p);                             \
                call;                                                                                        \
            }                                                                                                \
    }
// clang-format off
const std::vector<OwnInput> own_inputs = {
    OWN_INPUT("fir1616", ZVFIR1616_Construct, ZVFIR_Destruct, int16_t, int16_t, 1024, history_write, out_buffer,
              self->kernel(self, nullptr, int32_t(count), 1)),
    OWN_INPUT("fir1632", ZVFIR1632_Construct, ZVFIR_Destruct, int16_t, int32_t, 1024, history_write, out_buffer,
              self->kernel(self, nullptr, int32_t(count), 1)),
    OWN_INPUT("fir3232", ZVFIR3232_Construct, ZVFIR_Destruct, int32_t, int32_t, 1024, history_write, out_buffer,
              self->kernel(self, nullptr, int32_t(count), 1)),
    OWN_INPUT("process2", ZVFIR3232_Construct, ZVFIR_Destruct, int32_t, int32_t, 1024, history_write, out_buffer,
              ZVFIR3232_Process2(self, nullptr, int32_t(count), 0)),
    OWN_INPUT("delay16", ZVDelayLine16_Construct, ZVDelayLine_Destruct, int16_t, int16_t, 1024, input_position, output_area,
              ZVDelayLine16_Process(self, nullptr, count)),
    OWN_INPUT("delay32", ZVDelayLine32_Construct, ZVDelayLine_Destruct, int32_t, int32_t, 1024, input_position, output_area,
              ZVDelayLine32_Process(self, nullptr, count)),
    OWN_INPUT("lms", ZVLMS1616_Construct, ZVLMS_Destruct, int16_t, int16_t, 1024, input_write, output_buffer,
              ZVLMS1616_Process(self, nullptr, count)),
    OWN_INPUT("resampler", ZVResampler32_Construct, ZVResampler32_Destruct, int32_t, int32_t, 1024, input_write, output_buffer,
              ZVResampler32_ProcessIn(self, nullptr, count)),
    OWN_INPUT("fsk_corr", ZVFSKCorrDemod16_Construct, ZVFSKCorrDemod_Destruct, int16_t, int16_t, 512, buffer, buffer,
              self->kernel(self, nullptr, count)),
    OWN_INPUT("tone_corr", ZVToneDetectorCorr16_Construct, ZVToneDetectorCorr_Destruct, int16_t, int16_t, 512, input_write, filter->out_buffer,
              self->kernel(self, nullptr, count)),
};
// clang-format on

class OwnInputs : public testing::TestWithParam<OwnInput> {};

TEST_P(OwnInputs, ACountBeyondTheBlockIsABlock)
{
    const OwnInput& call = GetParam();
    std::vector<std::vector<unsigned char>> heard;
    for (const int32_t count : {0, call.block, call.block + 1, 1'000'000}) {
        void* const self = call.family.construct(nullptr);
        heard.emplace_back();
        for (uint32_t seed = 1; seed < 4; ++seed) {
            const auto x = test::noise<int16_t>(size_t(call.block) * call.in_bytes / 2, seed, 8000);
            std::memcpy(call.input(self), x.data(), size_t(call.block) * call.in_bytes);
            call.run(self, uint32_t(count));
            const auto* out = static_cast<const unsigned char*>(call.output(self));
            heard.back().insert(heard.back().end(), out, out + size_t(call.block) * call.out_bytes);
        }
        EXPECT_TRUE(zv::heap::heap_is_sound());
        EXPECT_EQ(heard.back(), heard.front()) << count;
        call.family.destruct(self, 1);
    }
}

INSTANTIATE_TEST_SUITE_P(All, OwnInputs, testing::ValuesIn(own_inputs), name_of);

// The two sizes that no setter raises to 1: a block that holds nothing takes nothing, and no call waits for
// it.
TEST(OwnInputs, ABlockOfNothingTakesNothing)
{
    const std::vector<int16_t> x = test::noise(100);
    std::vector<int16_t> out(100, 7);
    const zovek::FSKCorrDemod fsk(ZVFSKCorrDemod16_Construct);
    const zovek::ToneDetectorCorr tone(ZVToneDetectorCorr16_Construct);
    ZVFSKCorrDemod_BufferSize(fsk, 0), ZVToneDetectorCorr_BufferSize(tone, 0);
    ZVFSKCorrDemod16_Process_16_16(fsk, x.data(), out.data(), 100, 1);
    ZVToneDetectorCorr16_Process_16_16(tone, x.data(), out.data(), 100, 1);
    EXPECT_EQ(out, std::vector<int16_t>(100, 7));
}

// ---- Code pointers ----

// A client's routines count and go on to the library's own. Filters of the three kinds, by every road to
// them.
struct Counted {
    static inline int rebuilt, loaded, ran;
    static inline ZVFIR own;
    static void on(ZVFIR* fir)
    {
        own = *fir;
        rebuilt = loaded = ran = 0;
        fir->rebuild = [](ZVFIR* f) { ++rebuilt, own.rebuild(f); };
        fir->set_taps_double = [](ZVFIR* f, const double* taps, int32_t n) {
            ++loaded, own.set_taps_double(f, taps, n);
        };
        fir->kernel = [](ZVFIR* f, void* out, int32_t n, int32_t d) { ++ran, own.kernel(f, out, n, d); };
    }
    static std::vector<int> calls() { return {rebuilt, loaded, ran}; }
};

TEST(CodePointers, OfAFilterAreGoneThrough)
{
    std::vector<int16_t> x = test::noise(3000), out(6000);
    const auto settings = [](ZVFIR* fir) {
        low_pass(fir), ZVFIR_TapsNum(fir, 63), ZVFIR_BufferSize(fir, 1000), ZVFIR_CutOffHigh(fir, 900);
    };
    for (const auto construct : {ZVFIR1616_Construct, ZVFIR1632_Construct, ZVFIR3232_Construct}) {
        const zovek::FIR fir(construct), twin(construct);
        Counted::on(fir);
        settings(fir), settings(twin);
        EXPECT_EQ(Counted::calls(), (std::vector{2, 3, 0}));
        const auto run = [&](ZVFIR* f) {
            std::vector<int32_t> y(3000);
            if (construct == ZVFIR1616_Construct)
                ZVFIR1616_Process_16_16(f, reinterpret_cast<int16_t*>(y.data()), x.data(), 3000, 1, 1);
            else if (construct == ZVFIR1632_Construct)
                ZVFIR1632_Process_16_32(f, y.data(), x.data(), 3000, 1, 1);
            else
                ZVFIR3232_Process_16_32(f, y.data(), x.data(), 3000, 1, 1);
            return y;
        };
        EXPECT_EQ(run(fir), run(twin));
        EXPECT_EQ(Counted::ran, 3);
    }
    // The filters inside other objects.
    const zovek::PitchShift shift(ZVPitchShift1616_Construct);
    const zovek::FSKDelayDemod fsk(ZVFSKDelayDemod16_Construct);
    const zovek::ToneDetectorCorr tone(ZVToneDetectorCorr16_Construct);
    const zovek::Demodulator radio(ZVDemodulator16_Construct);
    Counted::on(&shift->filter);
    ZVPitchShift1616_Process_16_16(shift, out.data(), x.data(), 3000, 1);
    ZVPitchShift1616_TapsNum(shift, 31);
    EXPECT_EQ(Counted::calls(), (std::vector{1, 1, 3}));
    Counted::on(fsk->post_filter);
    ZVFSKDelayDemod16_Process(fsk, out.data(), x.data(), 3000, 1);
    ZVFSKDelayDemod16_BufferSize(fsk, 100);
    EXPECT_EQ(Counted::calls(), (std::vector{1, 0, 3}));
    Counted::on(tone->filter);
    ZVToneDetectorCorr16_Process_16_16(tone, x.data(), out.data(), 3000, 1);
    ZVToneDetectorCorr_ToneFrequency(tone, 1000);
    EXPECT_EQ(Counted::calls(), (std::vector{0, 1, 6}));
    Counted::on(radio->isb_filter);
    ZVDemodulator_Mode(radio, ZVDemodMode_ISB);
    ZVDemodulator16_Process_StereoOut_16_16(radio, x.data(), out.data(), 1024, 1);
    ZVDemodulator_ISBFilterLength(radio, 63);
    EXPECT_EQ(Counted::calls(), (std::vector{1, 1, 1}));
}

// The same for the other families that have such pointers: how often a setter or a stream goes through one.
template <auto Field, class Self, class... P>
int calls_through(Self* self, void (*Self::*)(Self*, P...), auto work)
{
    static int calls;
    static void (*own)(Self*, P...);
    calls = 0;
    own = self->*Field;
    self->*Field = [](Self* object, P... arguments) { ++calls, own(object, arguments...); };
    work(self);
    self->*Field = own;
    return calls;
}
#define CALLS(object, record, field, work)                                                                   \
    calls_through<&record::field>(&*object, &record::field, [&]([[maybe_unused]] record* self) { work; })

TEST(CodePointers, OfOtherObjectsAreGoneThrough)
{
    std::vector<int16_t> x = test::noise(3000), out(6000);
    const zovek::DelayLine line(ZVDelayLine16_Construct);
    const zovek::LMS lms(ZVLMS1616_Construct);
    const zovek::FSKCorrDemod fsk(ZVFSKCorrDemod16_Construct);
    const zovek::ToneDetectorCorr tone(ZVToneDetectorCorr16_Construct);
    EXPECT_EQ(
        CALLS(line, ZVDelayLine, rebuild, ZVDelayLine_Delay(self, 7); ZVDelayLine_BufferSize(self, 3000)), 2);
    EXPECT_EQ(CALLS(lms, ZVLMS1616, rebuild, ZVLMS_TapsNum(self, 64); ZVLMS_DelaySize(self, 9)), 2);
    EXPECT_EQ(CALLS(fsk, ZVFSKCorrDemod, rebuild, ZVFSKCorrDemod_BitRate(self, 300)), 1);
    EXPECT_EQ(CALLS(fsk, ZVFSKCorrDemod, resize, ZVFSKCorrDemod_BufferSize(self, 1000)), 1);
    EXPECT_EQ(CALLS(fsk, ZVFSKCorrDemod, kernel,
                    ZVFSKCorrDemod16_Process_16_16(self, x.data(), out.data(), 3000, 1)),
              3);
    EXPECT_EQ(CALLS(tone, ZVToneDetectorCorr, rebuild, ZVToneDetectorCorr_ToneLength(self, 0.01F)), 1);
    EXPECT_EQ(CALLS(tone, ZVToneDetectorCorr, resize, ZVToneDetectorCorr_BufferSize(self, 1000)), 1);
    EXPECT_EQ(CALLS(tone, ZVToneDetectorCorr, kernel,
                    ZVToneDetectorCorr16_Process_16_16(self, x.data(), out.data(), 3000, 1)),
              3);
}
} // namespace
