#include "decoders/pages/pocsag_receiver.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace decoders::pages {
namespace {
constexpr int batch_words = 16;
constexpr uint32_t preamble_word = 0xaaaaaaaa; // what stands before the first sync word, 18 times
constexpr size_t kept = 1 << 12;               // outputs: more than two words of preamble and one of sync

// Fits at which the search looks closer, and at which it takes a sync word: behind a preamble, without one,
// and where one is due.
constexpr float likely_fit = 0.55f, preamble_fit = 0.5f, sync_fit = 0.6f, bare_sync_fit = 0.8f,
                due_sync_fit = 0.6f;
constexpr int look_every = 4; // samples
// Noise gives some 25 000 chances a second to be taken for a page, at three rates and two polarities.
constexpr double enough_evidence = 40; // bits
constexpr double most_off = 0.025;     // of the bit rate, as a part of it

// Following the zero, each bit: by a part of its error, and where audio is coupled without DC by a part of
// the level that was sent, which sags so (quantized feedback: F. D. Waldhauer, Bell Syst. Tech. J. 53, 1974).
struct Following {
    float gain, sag;
    float step(float zero, float value, float sent, float amplitude) const
    {
        return gain * std::clamp(value - zero - sent, -amplitude, amplitude) - sag * (zero + sent);
    }
};
constexpr Following followings[] = {{0.02f, 0}, {0.15f, 0}, {0.05f, 0.2f}, {0.05f, 0.4f}};
// Timings at which a word is heard, samples from where it is expected.
constexpr double trial_timings[] = {0, -2, 2};
constexpr double early_late = 3; // samples
// Words over which the timing is a straight line.
constexpr double most_measured = 12;

// A codeword is one that was sent when it is a hundred times as likely as the next one (G. D. Forney's rule
// for erasures, IEEE Trans. Inform. Theory 14, 1968), and the noise on it what it may be: of 32 bits its
// power is less than twice the mean in 999 of 1000 words. Two bits turned over may always be.
constexpr float enough_lead = 4.6f, spread_of_noise = 2, least_fit = 0.74f, safe_fit = 0.84f;
// Of the amplitude that the signal had: with less, it is gone.
constexpr float least_level = 0.5f;

// How much likelier such a fit is in what was sent than in noise or in other data, as a power of two. The fit
// speaks of so many wrong bits of 32, which are as many patterns; of a sync word 32 bits are known, 11 of a
// codeword.
double evidence(int known_bits, double fit)
{
    const double errors = std::clamp((1 - fit) * word_bits / 2, 0.0, word_bits / 2.0);
    const double patterns =
        std::lgamma(word_bits + 1.0) - std::lgamma(errors + 1) - std::lgamma(word_bits - errors + 1);
    return known_bits - patterns / M_LN2;
}

// Power of the noise against that of the signal, by the fit.
float noise(float fit) { return 1 / (fit * fit) - 1; }

constexpr float sign(uint32_t word, int k) { return word >> (word_bits - 1 - k) & 1 ? 1.0f : -1.0f; }

// Power of the noise by what is left where bits with as many like neighbours should be equal: edges that
// aren't steep are no noise.
float noise_on(const SoftWord& heard, uint32_t word)
{
    struct {
        float count = 0, sum = 0, squares = 0;
    } kinds[3];
    for (int k = 1; k + 1 < word_bits; ++k) {
        const float way = sign(word, k), value = heard[size_t(k)] * way;
        auto& kind = kinds[(sign(word, k - 1) == way) + (sign(word, k + 1) == way)];
        ++kind.count;
        kind.sum += value;
        kind.squares += value * value;
    }
    float squares = 0, free = 0;
    for (const auto& kind : kinds) {
        if (kind.count < 2) continue;
        squares += kind.squares - kind.sum * kind.sum / kind.count;
        free += kind.count - 1;
    }
    return std::max(squares / free, 1e-6f);
}
} // namespace

float PocsagReceiver::at(double time) const
{
    const double place = std::clamp(time - gone_, 0.0, double(outputs_.size()) - 1.001);
    const auto k = size_t(place);
    const auto part = float(place - double(k));
    return outputs_[k] + part * (outputs_[k + 1] - outputs_[k]);
}

// Correlation coefficient with words that are known: the test for a signal of unknown amplitude on an unknown
// constant, in noise of unknown power (S. M. Kay, Fundamentals of Statistical Signal Processing II, ch. 9).
template <size_t words>
PocsagReceiver::Match PocsagReceiver::match(const std::array<uint32_t, words>& sent,
                                            const Timing& timing) const
{
    double sum = 0, squares = 1e-9, product = 0;
    double time = timing.first;
    for (const uint32_t word : sent)
        for (int k = 0; k < word_bits; ++k, time += timing.period) {
            const float value = at(time);
            sum += value;
            squares += value * value;
            product += sign(word, k) * value;
        }
    // As many ones as zeros are in each of these words.
    constexpr double count = words * word_bits;
    const double spread = std::max(squares - sum * sum / count, 1e-9);
    return {timing, float(product / std::sqrt(count * spread)), float(product / count), float(sum / count)};
}

std::vector<Page> PocsagReceiver::push(float mean)
{
    outputs_.push_back(mean);
    if (outputs_.size() == 2 * kept) {
        outputs_.erase(outputs_.begin(), outputs_.begin() + kept);
        gone_ += kept;
    }
    if (open_) read();
    if (outputs_.size() % look_every == 0 &&
        gone_ + double(outputs_.size()) > 3.5 * word_bits * samples_a_bit &&
        (!open_ || evidence_ < enough_evidence || unread_ >= 2))
        look();
    return std::exchange(ready_, {});
}

std::vector<Page> PocsagReceiver::finish()
{
    end();
    return std::exchange(ready_, {});
}

// The correlation coefficient of the last bits with the sync word, quickly.
float PocsagReceiver::likeness() const
{
    static constexpr auto signs = [] {
        SoftWord all{};
        for (int k = 0; k < word_bits; ++k) all[size_t(k)] = sign(sync_word, k);
        return all;
    }();
    const float* bit = &outputs_.back() - (word_bits - 1) * samples_a_bit;
    float sum = 0, squares = 1e-9f, product = 0;
    for (const float way : signs) {
        sum += *bit;
        squares += *bit * *bit;
        product += way * *bit;
        bit += samples_a_bit;
    }
    return product * product / (word_bits * squares - sum * sum);
}

void PocsagReceiver::look()
{
    const double now = gone_ + double(outputs_.size()) - 1;
    if (candidate_ < 0) {
        if (likeness() >= likely_fit * likely_fit) candidate_ = now;
    } else if (now > candidate_ + samples_a_bit)
        judge(std::exchange(candidate_, -1));
}

// A sync word that ends up to a bit behind a time, at the rate that it fits best, with the preamble before it
// if there is one: that tells the rate three times as well.
void PocsagReceiver::judge(double time)
{
    constexpr std::array preamble = {preamble_word, preamble_word};
    constexpr std::array known = {preamble_word, preamble_word, sync_word};
    Match sync{}, all{};
    float merit = 0;
    for (const int rate : {0, -1, 1, -2, 2, -3, 3, -4, 4, -5, 5}) {
        const double period = samples_a_bit * (1 + 0.005 * rate);
        Match best{};
        for (int late = -look_every; late < samples_a_bit; ++late) {
            const Match found = match<1>({sync_word}, {time + late - (word_bits - 1) * period, period});
            if (std::fabs(found.fit) > std::fabs(best.fit)) best = found;
        }
        if (std::fabs(best.fit) < sync_fit) {
            if (rate == 0) return;
            continue;
        }
        // Its likelihood, and how likely a sender is to be so far off its rate, nats.
        const float likelihood = -std::log(1 - best.fit * best.fit + 1e-3f) * word_bits / 2,
                    found = likelihood - 0.5f * float(std::abs(rate));
        if (found > merit) {
            merit = found;
            sync = best;
        }
        for (int late = -2; late <= 2; ++late) {
            const Timing timing{best.timing.first + late, period};
            const Match found = match(known, timing.after(-2 * word_bits));
            if (std::fabs(found.fit) > std::fabs(all.fit)) all = found;
        }
    }
    // A preamble fits about as well as its sync word: what a wrong rate makes of one doesn't.
    const Match alone = match<1>({sync_word}, all.timing.after(2 * word_bits));
    const float preamble_heard = match(preamble, all.timing).fit;
    const bool behind_preamble =
        std::fabs(alone.fit) >= sync_fit && alone.fit * preamble_heard >= 0 &&
        std::fabs(preamble_heard) >= std::max(preamble_fit, std::fabs(alone.fit) - 0.15f);
    if (behind_preamble)
        sync = {alone.timing, alone.fit, all.amplitude, all.zero};
    else if (std::fabs(sync.fit) < bare_sync_fit)
        return;
    double found = evidence(word_bits, std::fabs(sync.fit));
    if (behind_preamble) found += std::max(evidence(word_bits, std::fabs(preamble_heard)), 0.0);
    if (open_ && found < (unread_ >= 2 ? std::min(evidence_, enough_evidence) : evidence_)) return;
    begin(sync, behind_preamble, found);
}

void PocsagReceiver::begin(const Match& sync, bool preamble, double evidence)
{
    end();
    open_ = true;
    inverted_ = sync.fit < 0;
    next_ = sync.timing;
    measured_ = preamble ? 3 : 1;
    amplitude_ = std::max(std::fabs(sync.amplitude), 1e-6f);
    zero_.fill(sync.zero);
    noise_ = std::max(1.2f * noise(std::fabs(sync.fit)), 0.01f);
    evidence_ = evidence;
    unread_ = 0;
    doubtful_ = false;
    previous_ = sync_word;
    following_ = 0;
    place_ = -1; // nothing is known yet
    learn(sync_word);
    place_ = 0;
}

// A word at its timing or so many samples later. Its own bits, as they seem, lead the zero.
SoftWord PocsagReceiver::hear(double late, size_t following) const
{
    SoftWord soft;
    float zero = zero_[following];
    double time = next_.first + late;
    for (float& bit : soft) {
        const float value = at(time);
        bit = std::clamp((value - zero) / amplitude_, -1.5f, 1.5f) * (inverted_ ? -1 : 1);
        zero += followings[following].step(zero, value, std::copysign(amplitude_, value - zero), amplitude_);
        time += next_.period;
    }
    return soft;
}

// The same as it fits best.
template <class Fit>
SoftWord PocsagReceiver::hear_best(Fit fit_of) const
{
    SoftWord best{};
    float best_fit = -1;
    for (const double late : trial_timings) {
        const SoftWord soft = hear(late, following_);
        const float heard_fit = fit_of(soft);
        if (heard_fit <= best_fit) continue;
        best_fit = heard_fit;
        best = soft;
    }
    return best;
}

// Mean of a word's bits, each the way that it was sent, against the level that stands still: what the bits
// themselves lead the zero to isn't heard in this.
float PocsagReceiver::level(uint32_t word) const
{
    float sum = 0;
    double time = next_.first;
    for (int k = 0; k < word_bits; ++k, time += next_.period) sum += sign(word, k) * (at(time) - zero_[0]);
    return sum / word_bits * (inverted_ ? -1 : 1);
}

// The next word, when all of it has come.
void PocsagReceiver::read()
{
    constexpr double margin = early_late + 2;
    if (gone_ + double(outputs_.size()) - 1 < next_.after(word_bits - 1).first + margin) return;
    if (place_ == batch_words)
        read_sync();
    else
        read_codeword();
}

// Behind codewords that were read, a sync word that can't be is held for one in a fade: the next ones tell.
void PocsagReceiver::read_sync()
{
    const auto fit_of_sync = [](const SoftWord& soft) { return fit(soft, sync_word); };
    const float found = fit_of_sync(hear_best(fit_of_sync));
    place_ = 0;
    if (found >= due_sync_fit) {
        evidence_ += evidence(word_bits, found);
        learn(sync_word);
    } else if (evidence_ >= enough_evidence && unread_ < 2) {
        doubtful_ = true;
        unread_ = 0;
        next_ = next_.after(word_bits);
    } else
        end();
}

void PocsagReceiver::read_codeword()
{
    const SoftWord heard = hear_best([](const SoftWord& soft) {
        const auto found = decode_pocsag(soft);
        return found ? found->fit : -1;
    });
    const auto found = decode_pocsag(heard);
    // A line that hardly moves reads as codewords, and shows nothing; nor does one that repeats itself.
    const uint32_t received = hard(heard);
    const bool plain = std::popcount((received ^ received << 1) >> 1) < 6;
    std::optional<Codeword> codeword;
    if (found && level(found->codeword.word) >= least_level * amplitude_ &&
        found->lead >= enough_lead * noise_ && !(doubtful_ && plain)) {
        const float safe = doubtful_ || found->codeword.errors <= 2 ? safe_fit : 1;
        const float usual = doubtful_ ? 1 : std::max(1 / std::sqrt(1 + spread_of_noise * noise_), least_fit);
        if (found->fit >= std::min(safe, usual)) codeword = found->codeword;
    }
    const uint32_t before = std::exchange(previous_, codeword ? codeword->word : received);
    if (!codeword)
        evidence_ -= 3;
    else if (!plain && (codeword->word != before || codeword->word == idle_word))
        evidence_ += std::min(evidence(11, found->fit), evidence(11, 1 - 2.0 * codeword->errors / word_bits));

    const Timing timing = next_;
    const int frame = place_++ / 2;
    unread_ = codeword ? 0 : unread_ + 1;
    float power = 0;
    if (codeword) {
        power = noise_on(heard, codeword->word);
        learn(codeword->word);
        noise_ = std::max(noise_ + (noise(found->fit) - noise_) / 8, 0.01f);
    } else
        next_ = next_.after(word_bits);

    if (doubtful_ && !codeword) { // it may have ended before
        if (unread_ == 2) end();
        return;
    }
    if (std::exchange(doubtful_, false) && frame == 0 && place_ == 2) pages_.take({}, 0, 0, 0, 0);
    pages_.take(codeword, frame, timing.first, timing.after(word_bits - 1).first, power);
    release();
}

// A word that is known tells timing, amplitude, zero, and how that is to be followed.
void PocsagReceiver::learn(uint32_t word)
{
    for (size_t n = 0; n < fits_.size(); ++n)
        fits_[n] += (fit(hear(0, n), word) - fits_[n]) / (place_ < 0 ? 1 : 4);
    for (size_t n = 0; n < fits_.size(); ++n)
        if (fits_[n] > fits_[following_] + 0.005f) following_ = n;
    const float way = inverted_ ? -1.0f : 1.0f;
    float late = 0, sum = 0;
    int changes = 0;
    auto zero = zero_;
    double time = next_.first;
    for (int k = 0; k < word_bits; ++k, time += next_.period) {
        const float sent = way * sign(word, k), value = at(time);
        changes += k > 0 && sign(word, k) != sign(word, k - 1);
        late += sent * (at(time + early_late) - at(time - early_late));
        sum += sent * (value - zero[following_]);
        for (size_t n = 0; n < zero.size(); ++n)
            zero[n] += followings[n].step(zero[n], value, sent * amplitude_, amplitude_);
    }
    zero_ = zero;
    amplitude_ = std::max(amplitude_ + (sum / word_bits - amplitude_) / 4, amplitude_ / 2);
    // Each change of bits costs the correlation twice the amplitude for a bit of delay, on either side: early
    // less late shows where its peak is. The straight line of least squares through the words so far (the
    // expanding-memory filter: N. Morrison, Introduction to Sequential Smoothing and Prediction, ch. 7).
    measured_ = std::min(measured_ + 1, most_measured);
    const double n = measured_;
    double error = 0;
    if (changes >= 4) error = late * samples_a_bit / (4 * double(changes) * double(amplitude_));
    error = std::clamp(error, -early_late, early_late);
    const double slowest = samples_a_bit * (1 + most_off), fastest = samples_a_bit * (1 - most_off);
    next_.first += error * 2 * (2 * n - 1) / (n * (n + 1));
    next_.period = std::clamp(next_.period + error * 6 / (n * (n + 1)) / word_bits, fastest, slowest);
    next_ = next_.after(word_bits);
}

void PocsagReceiver::end()
{
    pages_.close();
    release();
    waiting_.clear();
    open_ = false;
}

void PocsagReceiver::release()
{
    for (Page& page : pages_.give()) {
        page.inverted = inverted_;
        waiting_.push_back(std::move(page));
    }
    if (evidence_ < enough_evidence) return;
    for (Page& page : waiting_) ready_.push_back(std::move(page));
    waiting_.clear();
}
} // namespace decoders::pages
