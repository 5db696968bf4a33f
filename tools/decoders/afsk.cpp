#include "decoders/afsk.h"
#include <algorithm>
#include <cmath>

namespace decoders {
namespace {
// A band-pass whose gain rises by so many dB from tone 1 to tone 2, in a straight line, and is 1 at the
// larger one: the wanted response integrated over the band, under a Blackman window.
zovek::FIR make_tilted(const Modem& modem, const Band& band, double tilt)
{
    constexpr int steps = 400;
    const double rate = modem.rate(), step = (band.high - band.low) / steps;
    std::vector<double> taps(static_cast<size_t>(band.taps));
    for (int n = 0; n < band.taps; ++n) {
        double sum = 0;
        for (int k = 0; k < steps; ++k) {
            const double f = band.low + (k + 0.5) * step;
            const double place = (f - modem.tone_1) / (modem.tone_2 - modem.tone_1) - (tilt > 0);
            sum +=
                std::pow(10, tilt / 20 * place) * std::cos(2 * M_PI * f / rate * (n - (band.taps - 1) / 2.0));
        }
        taps[size_t(n)] = 2 * step / rate * sum * blackman(2 * M_PI * n / (band.taps - 1));
    }
    zovek::FIR fir = make_fir(ZVFIRType_BandPass, band.taps, rate, band.low, band.high);
    fir->set_taps_double(fir, taps.data(), band.taps);
    return fir;
}
} // namespace

Front::Front(const Modem& modem, const Hearing& hearing) : hearing_(hearing), sums_(kept)
{
    const Band& band = hearing.width == Width::wide ? modem.wide : modem.narrow;
    const double rate = modem.rate();
    band_ = hearing.tilt ? make_tilted(modem, band, hearing.tilt)
                         : make_fir(ZVFIRType_BandPass, band.taps, rate, band.low, band.high);
    post_ = make_fir(ZVFIRType_LowPass, post_taps, rate, 0, modem.baud * 5 / 6);
    omega_ = {2 * M_PI * (modem.tone_1 + hearing.offset) / rate,
              2 * M_PI * (modem.tone_2 + hearing.offset) / rate};
    lag_ = (band.taps - 1) / 2.0 / rate;
    if (hearing.by_delay) {
        discriminator_ = decltype(discriminator_)(ZVFSKDelayDemod16_Construct);
        ZVFSKDelayDemod_SamplingRate(discriminator_, float(rate));
        ZVDelayLine_Delay(discriminator_->delay_line, int32_t(std::lround(modem.delay * rate)));
        ZVFIR_FIRType(discriminator_->pre_filter, ZVFIRType_PassThrough); // the band-pass stands before
        ZVFIR_TapsNum(discriminator_->pre_filter, 3);
        ZVFIR_CutOffHigh(discriminator_->post_filter, float(modem.baud * 3 / 4));
        return;
    }
    for (size_t tone = 0; tone < 2; ++tone)
        for (size_t k = 0; k < bit_samples; ++k)
            table_[tone][k] = Phasor::turn(float(-omega_[tone] * double(k)));
}

void Front::push(const int16_t* samples, size_t count)
{
    filtered_.resize(count);
    soft_.resize(count);
    ZVFIR1616_Process_16_16(band_, filtered_.data(), samples, int32_t(count), 1, 1);
    if (!discriminator_) {
        correlate(count);
        ZVFIR1616_Process_16_16(post_, soft_.data(), soft_.data(), int32_t(count), 1, 1);
    } else
        ZVFSKDelayDemod16_Process(discriminator_, soft_.data(), filtered_.data(), int32_t(count), 1);
}

// Products with the tones add up over the whole stream, so the correlation over any bit time is a difference
// of two sums.
void Front::correlate(size_t count)
{
    for (size_t at = 0; at < count; at += bit_samples) {
        std::array<float, bit_samples> product[4];
        for (size_t tone = 0; tone < 2; ++tone) {
            const Phasor start = Phasor::turn(float(-phase_[tone]));
            for (size_t k = 0; k < bit_samples; ++k) {
                const Phasor turned = start * table_[tone][k] * float(filtered_[at + k]);
                product[2 * tone][k] = turned.re;
                product[2 * tone + 1][k] = turned.im;
            }
            phase_[tone] = std::remainder(phase_[tone] + omega_[tone] * bit_samples, 2 * M_PI);
        }
        for (size_t k = 0; k < bit_samples; ++k) {
            sums_[size_t(position_++) % kept] = sum_;
            for (size_t slot = 0; slot < 4; ++slot) sum_[slot] += product[slot][k];
            const auto& before = sums_[size_t(position_ - bit_samples) % kept];
            float now[4];
            for (size_t slot = 0; slot < 4; ++slot) now[slot] = float(sum_[slot] - before[slot]);
            const float tone_1 = std::sqrt(now[0] * now[0] + now[1] * now[1]),
                        tone_2 = std::sqrt(now[2] * now[2] + now[3] * now[3]);
            soft_[at + k] = int16_t(std::lrint((tone_1 - tone_2) / bit_samples));
        }
    }
    sums_[size_t(position_) % kept] = sum_;
}

Phasor Front::correlation(int tone, int64_t end) const
{
    const auto &to = sums_[size_t(end) % kept], &from = sums_[size_t(end - bit_samples) % kept];
    const size_t re = tone == 1 ? 0 : 2;
    return Phasor{float(to[re] - from[re]), float(to[re + 1] - from[re + 1])} * (2.0f / bit_samples);
}

Branch::Branch(const Front& front, const Modem& modem, const Tuning& tuning, Take take)
    : front_(front),
      tuning_(tuning),
      period_(modem.rate() / modem.baud / (1 + tuning.rate_offset)),
      take_(std::move(take)),
      clock_(ZVDataFormatter2_Construct),
      sequence_(front.omega(1), front.omega(2), tuning.tracking)
{
    clock_->sampling_rate = period_; // the unit of time is a bit
    clock_->bit_rate = 1;
    clock_->loop_gain = tuning.loop_gain;
    clock_->user_data = reinterpret_cast<uintptr_t>(this);
    clock_->callback = [](uintptr_t self, ZVDataFormatter2*, int32_t, int32_t) {
        reinterpret_cast<Branch*>(self)->decide();
    };
}

// The clock doesn't tell at which sample a bit is due, so samples near a bit go in one by one. An edge moves
// the coming bit by half the loop's gain of a bit time at most, against one bit time after the last.
void Branch::run()
{
    const std::vector<int16_t>& soft = front_.soft();
    for (size_t at = 0; at < soft.size();) {
        const double period = clock_->sampling_rate;
        const auto safe = int64_t(clock_->last_bit_point + period * (1 - tuning_.loop_gain / 2)) - 1;
        const size_t piece = size_t(std::clamp<int64_t>(safe, 1, int64_t(soft.size() - at)));
        level_ = soft[at + piece - 1];
        position_ += int64_t(piece);
        decided_ = false;
        const double due = clock_->next_bit_point - double(piece);
        ZVDataFormatter2_DPLL_16(clock_, &soft[at], int32_t(piece), 1);
        if (tuning_.rate_reach > 0) follow(clock_->next_bit_point - due - (decided_ ? period : 0));
        at += piece;
    }
}

// Takes a share of each correction of the bit point into the bit's length, which in noise falls back to what
// it was made with.
void Branch::follow(double correction)
{
    constexpr double share = 0.06, back = 0.005; // of a correction times the loop's gain; of the way, a bit
    const double most = period_ * tuning_.rate_reach;
    double& period = clock_->sampling_rate;
    if (decided_) period += back * (period_ - period);
    period = std::clamp(period + share * tuning_.loop_gain * correction, period_ - most, period_ + most);
}

void Branch::decide()
{
    decided_ = true;
    if (tuning_.rule == Rule::level) return take_(level_, position_);
    // The clock finds edges a sample late.
    const int64_t end = position_ - front_.delay() - 1;
    if (end < bit_samples) return;
    const auto way = int(end - last_end_);
    last_end_ = end;
    take_(sequence_.push(front_.correlation(1, end), front_.correlation(2, end), way), position_);
}
} // namespace decoders
