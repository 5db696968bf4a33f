#include "io/zoom.h"
#include "io/narrow.h"
#include "radio/plan.h"
#include <algorithm>
#include <cmath>

namespace client {
namespace {
constexpr size_t piece = 4096;       // frames
constexpr double limit = 2147483520; // the largest float below 2^31
} // namespace

bool ByteSilence::holds(int32_t re, int32_t im)
{
    constexpr int32_t half_step = 128 << 16, least = 64; // frames: by chance no recording stays so long
    const bool same = re == last_re_ && im == last_im_;
    alike_ = same && std::abs(int64_t(re)) == half_step && std::abs(int64_t(im)) == half_step
                 ? std::min(alike_ + 1, least)
                 : 0;
    last_re_ = re;
    last_im_ = im;
    return alike_ == least;
}

Zoom::Zoom(std::unique_ptr<Input> source, int32_t step, int64_t shift, double reach, bool swap)
    : source_(std::move(source)),
      step_(size_t(step)),
      first_(swap),
      shift_(shift),
      // shut from where the lower rate folds onto what is kept
      filter_(source_->rate, source_->rate / 2.0 / step,
              taps_for(source_->rate, double(source_->rate) / step - 2 * reach)),
      cosines_(turns),
      sines_(turns)
{
    take_after(*source_);
    origin += shift;
    recorded_rate = source_->rate;
    rate = source_->rate / step;
    channels = 2;
    if (source_->announced >= 0) announced = (source_->announced + step - 1) / step;

    real_.assign(filter_.size() - filter_.lag() - 1, 0);
    imaginary_ = real_;
    for (size_t k = 0; k < turns; ++k) {
        const double angle = -2 * M_PI * double(int64_t(k) * shift % source_->rate) / source_->rate;
        cosines_[k] = float(std::cos(angle));
        sines_[k] = float(std::sin(angle));
    }
}

// More turned samples; false at the end. Silence behind it brings out the last results.
bool Zoom::fetch()
{
    if (ended_) return false;
    real_.erase(real_.begin(), real_.begin() + ptrdiff_t(at_));
    imaginary_.erase(imaginary_.begin(), imaginary_.begin() + ptrdiff_t(at_));
    at_ = 0;
    frames_.resize(2 * piece);
    const size_t count = source_->read(frames_.data(), piece), before = real_.size();
    ended_ = count == 0;
    if (ended_) {
        faults = source_->faults;
        recorded = source_->taken;
    }
    real_.resize(before + (ended_ ? filter_.size() : count), 0);
    imaginary_.resize(real_.size(), 0);
    bool near_full_scale = false;
    for (size_t at = 0; at < count; at += turns) {
        const size_t some = std::min(turns, count - at);
        float *re = &real_[before + at], *im = &imaginary_[before + at];
        for (size_t k = 0; k < some; ++k) {
            const int32_t i = frames_[2 * (at + k) + first_], q = frames_[2 * (at + k) + 1 - first_];
            const bool silent = silence_.holds(i, q);
            near_full_scale |= std::max(std::abs(int64_t(i)), std::abs(int64_t(q))) >= 32000 * 65536LL;
            re[k] = silent ? 0 : float(i);
            im[k] = silent ? 0 : float(q);
        }
        const double angle = -2 * M_PI *
                             double(turned_ % source_->rate * (shift_ % source_->rate) % source_->rate) /
                             source_->rate;
        const auto c = float(std::cos(angle)), s = float(std::sin(angle));
        for (size_t k = 0; k < some; ++k) {
            const float cosine = cosines_[k] * c - sines_[k] * s, sine = cosines_[k] * s + sines_[k] * c,
                        i = re[k], q = im[k];
            re[k] = i * cosine - q * sine;
            im[k] = i * sine + q * cosine;
        }
        turned_ += int64_t(some);
    }
    due_ += count;
    overloads += near_full_scale;
    return true;
}

size_t Zoom::read(int32_t* samples, size_t frames)
{
    const auto sum_of = [this](const float* x) { return int32_t(std::clamp(filter_(x), -limit, limit)); };
    size_t got = 0;
    while (got < frames) {
        if (due_ == 0 || at_ + filter_.size() > real_.size()) {
            if (ended_ || !fetch()) break;
            continue;
        }
        samples[2 * got] = sum_of(&real_[at_]);
        samples[2 * got + 1] = sum_of(&imaginary_[at_]);
        at_ += step_;
        due_ -= std::min(due_, step_);
        ++got;
    }
    taken += int64_t(got);
    return got;
}

size_t Zoom::read(int16_t* samples, size_t frames)
{
    wide_.resize(2 * frames);
    const size_t got = read(wide_.data(), frames);
    std::transform(wide_.begin(), wide_.begin() + ptrdiff_t(2 * got), samples,
                   [](int32_t sample) { return narrow(sample); });
    return got;
}
} // namespace client
