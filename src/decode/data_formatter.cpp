// Bit timing: a phase-locked loop on zero crossings, and edges as peaks of the slope.
//
// The bit points are rounded to double wherever they change, so a stream gives the same bits in any pieces,
// with a callback or without.
#include "core/blocks.h"
#include "core/frame.h"
#include "core/real.h"
#include "core/ties.h"
#include <algorithm>
#include <cfloat>
#include <zovek/data_formatter.h>

namespace zv::data_formatter {
static extended samples_per_bit(const ZVDataFormatter2& self)
{
    return extended(self.sampling_rate) / self.bit_rate;
}

// A real as a field holds it, and nothing more: x87 registers keep spare bits until they are stored.
template <class Real>
static double rounded(Real value)
{
    if constexpr (FLT_EVAL_METHOD == 0) return static_cast<double>(value);
    volatile double field = static_cast<double>(value);
    return field;
}

// Samples that a call takes: the first without a test.
static int32_t samples_of(int32_t length, int32_t step) { return std::max(started_steps(length, step), 1); }

static void deliver(ZVDataFormatter2* self, int32_t bits, int32_t value)
{
    if (self->callback && bits != 0) self->callback(self->user_data, self, bits, value);
}

// ---- The loop. Bit points count from the present sample. ----

// point - 1, samples times, each rounded. Where one subtraction loses nothing (both remainders of the fast
// two-sum are 0, of which one is exact), no smaller one did.
static double lowered(double point, int32_t samples)
{
    const double at_once = rounded(point - samples);
    if (at_once + samples == point && at_once - point == -samples) return at_once;
    for (; samples > 0; --samples) point = rounded(point - 1);
    return point;
}

// The smallest whole number not below point, from 0 to most.
static int32_t whole_up(double point, int32_t most)
{
    if (!(point > 0)) return 0;
    if (point > most) return most;
    const auto whole = static_cast<int32_t>(point);
    return whole + (whole < point);
}

// Samples at the start of in that are no transition after previous, at most limit. A transition is a change
// of sign, or to 0 from anything else.
template <class Sample>
static int32_t quiet_run(const Sample* in, int32_t limit, int32_t step, int32_t previous)
{
    const auto run = [=](auto goes_on) {
        int32_t k = 0;
        for (const Sample* x = in; k < limit && goes_on(*x); x += step) ++k;
        return k;
    };
    if (previous < 0) return run([](Sample x) { return x < 0; });
    if (previous > 0) return run([](Sample x) { return x > 0; });
    return run([](Sample x) { return x == 0; });
}

template <class Sample>
static ZVDataFormatter2* loop(ZVDataFormatter2* self, const Sample* in, int32_t length, int32_t step)
{
    const extended period = samples_per_bit(*self), gain = self->loop_gain;
    double last = self->last_bit_point, next = self->next_bit_point;
    int32_t previous = self->previous_sample;

    for (int32_t left = samples_of(length, step); left > 0;) {
        // Nothing happens up to the next bit point or the next transition.
        const int32_t quiet = quiet_run(in, whole_up(next, left), step, previous);
        if (quiet > 0) {
            last = lowered(last, quiet);
            next -= quiet; // toward 0 or from within 1 of it: exact, or one step
            previous = in[ptrdiff_t(quiet - 1) * step];
            in += ptrdiff_t(quiet) * step;
            left -= quiet;
            if (left == 0) break;
        }

        const int32_t x = *in;
        if ((x ^ previous) < 0 || (x == 0 && previous != 0))
            next = rounded(last * (1 - gain) + period * (1 - gain / 2));
        previous = x;
        if (next <= 0) {
            // The callback sees the object as it is at this sample, and may change it.
            self->last_bit_point = last;
            self->next_bit_point = next;
            self->previous_sample = previous;
            deliver(self, 1, x >= 0);
            previous = self->previous_sample;
            last = self->next_bit_point;
            next = rounded(last + period);
        }
        last = rounded(last - 1);
        next = rounded(next - 1);
        in += step;
        --left;
    }
    self->last_bit_point = last;
    self->next_bit_point = next;
    self->previous_sample = previous;
    return self;
}

// ---- Edges by slope. Bit points count from the last edge. ----

// A peak that falls toward the slope: to nearest of (1 - k) peak + k slope, ties to even. The usual case goes
// in integers, 44 bits of fraction: k is off by 2^-45, which a gap of at most 2^17 carries to 2^-28, and the
// plain form by less than 2^-30.
class Decay {
    extended k_;
    int64_t fixed_ = 0;
    bool small_;
    static constexpr int bits = 44;
    static constexpr int64_t one = int64_t(1) << bits, error = one >> 24;

public:
    explicit Decay(double k) : k_(k), small_(k >= 0 && k <= 1)
    {
        if (small_) fixed_ = to_nearest64(k_ * one);
    }
    int32_t operator()(int32_t peak, int32_t slope) const
    {
        const int64_t gap = int64_t(slope) - peak;
        if (small_ && (gap + (1 << 17)) >> 18 == 0) {
            const int64_t change = gap * fixed_;
            if (ties::doubt<bits>(static_cast<uint64_t>(change), error) >= 0)
                return peak + static_cast<int32_t>((change + one / 2) >> bits);
        }
        return to_nearest32((1 - k_) * peak + k_ * slope);
    }
};

// A slope pulse of self->slope_state has ended, now that the slope is slope.
static void edge(ZVDataFormatter2* self, int32_t slope)
{
    const extended period = samples_per_bit(*self), gain = self->loop_gain;
    const int32_t at = self->extreme_position, state = self->slope_state ? 0 : 1;
    self->slope_state = state;
    self->extreme_value = slope;
    // Bit points at or before the edge.
    const int32_t count = to_nearest32(truncl((at - extended(self->next_bit_point)) / period + 1));

    double last = rounded(self->last_bit_point - at);
    const double next = rounded(self->next_bit_point - at);
    self->sample_counter = wrap_sub(self->sample_counter, at);
    if (count != 0) last = rounded(next + (extended(count) - 1) * period);
    self->last_bit_point = last;
    self->next_bit_point = rounded(period / 2 - gain * (last + period / 2));
    deliver(self, count, state);
}

static ZVDataFormatter2* slopes(ZVDataFormatter2* self, const int16_t* in, int32_t mask, int32_t length,
                                int32_t step)
{
    const Decay decay(self->peak_decay);
    for (int32_t left = samples_of(length, step); left > 0; --left, in += step) {
        const int32_t v = *in & mask, d = wrap_sub(v, self->previous_sample);
        self->previous_sample = v;
        const int32_t slope = wrap_add(wrap_add(d, self->difference_1), self->difference_2) / 3;
        self->difference_2 = self->difference_1;
        self->difference_1 = d;
        self->peak_high = slope >= self->peak_high ? slope : decay(self->peak_high, slope);
        self->peak_low = slope <= self->peak_low ? slope : decay(self->peak_low, slope);

        // Falling pulses are rising ones upside down.
        const bool rising = self->slope_state != 0;
        const int32_t half = (rising ? self->peak_high : self->peak_low) >> 1;
        if (rising ? slope >= half : slope <= half) {
            if (rising ? slope > self->extreme_value : slope < self->extreme_value) {
                self->extreme_value = slope;
                self->extreme_position = self->sample_counter;
            }
        } else if (rising ? half < self->extreme_value : half > self->extreme_value) {
            edge(self, slope);
        }
        self->sample_counter = wrap_add(self->sample_counter, 1);
    }
    return self;
}

static bool build(ZVDataFormatter2* self)
{
    *self = {.bit_rate = 1000, .loop_gain = 0.01, .peak_decay = 0.0008, .sampling_rate = 44100};
    return true;
}
} // namespace zv::data_formatter

using namespace zv;

ZVDataFormatter2* ZVDataFormatter2_Construct(ZVDataFormatter2* self)
{
    return construct(self, data_formatter::build, ZVDataFormatter2_Destruct);
}

void ZVDataFormatter2_Destruct(ZVDataFormatter2* self, uint32_t flags)
{
    if (self) dismiss(self, flags);
}

void ZVDataFormatter2_Init(ZVDataFormatter2* self)
{
    *self = {.callback = self->callback,
             .user_data = self->user_data,
             .bit_rate = self->bit_rate,
             .loop_gain = self->loop_gain,
             .peak_decay = self->peak_decay,
             .sampling_rate = self->sampling_rate};
}

ZVDataFormatter2* ZVDataFormatter2_DPLL_16(ZVDataFormatter2* self, const int16_t* in, int32_t length,
                                           int32_t step)
{
    return data_formatter::loop(self, in, length, step);
}
ZVDataFormatter2* ZVDataFormatter2_DPLL_32(ZVDataFormatter2* self, const int32_t* in, int32_t length,
                                           int32_t step)
{
    return data_formatter::loop(self, in, length, step);
}
ZVDataFormatter2* ZVDataFormatter2_Process_16(ZVDataFormatter2* self, const int16_t* in, int32_t mask,
                                              int32_t length, int32_t step)
{
    return data_formatter::slopes(self, in, mask, length, step);
}
