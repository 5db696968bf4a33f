#include "decoders/bulletins/sitor.h"
#include <algorithm>
#include <cmath>
#include <utility>

namespace decoders::bulletins {
namespace {
struct Row {
    uint8_t code; // first bit lowest; a 1 is the higher frequency
    char letter, figure;
};

// clang-format off
constexpr Row rows[] = {
    {0x47, 'A', '-'}, {0x72, 'B', '?'}, {0x1d, 'C', ':'}, {0x53, 'D', '$'}, {0x56, 'E', '3'}, {0x1b, 'F', '!'},
    {0x35, 'G', '&'}, {0x69, 'H', '#'}, {0x4d, 'I', '8'}, {0x17, 'J', '\a'}, {0x1e, 'K', '('}, {0x65, 'L', ')'},
    {0x39, 'M', '.'}, {0x59, 'N', ','}, {0x71, 'O', '9'}, {0x2d, 'P', '0'}, {0x2e, 'Q', '1'}, {0x55, 'R', '4'},
    {0x4b, 'S', '\''}, {0x74, 'T', '5'}, {0x4e, 'U', '7'}, {0x3c, 'V', '='}, {0x27, 'W', '2'}, {0x3a, 'X', '/'},
    {0x2b, 'Y', '6'}, {0x63, 'Z', '+'}, {0x78, '\r', '\r'}, {0x6c, '\n', '\n'}, {0x5c, ' ', ' '},
    {0x5a, sitor_letters, sitor_letters}, {0x36, sitor_figures, sitor_figures}, {0x6a, 0, 0},
    {0x0f, 0, 0}, {0x33, 0, 0}, {0x66, 0, 0}, // phasing 2, idle, phasing 1
};
// clang-format on
constexpr int phasing = int(std::size(rows)); // behind them, the pair that is sent before a message
static_assert(phasing == 35);                 // all there are: 7 over 4

// Of the first sending or the second.
constexpr uint8_t code(int row, bool second) { return row < phasing ? rows[row].code : second ? 0x0f : 0x66; }

// Noise fits to a part of 0.63, give or take 0.16 a pair, the average 0.03. At 0.8 a signal is believed.
constexpr float averaged = 16, averaged_lately = 8; // pairs
constexpr float of_noise = 0.63f, enough = 0.8f, present = 0.78f, gone = 0.7f;
// Pairs that are judged at once then, and what they have to say for a signal, nats: of those 24, at -10 dB in
// 3 kHz, up to 20, where other data speak against it by 15 and more. A clean pair says 6.
struct Trials {
    int64_t judged;
    float evidence;
};
constexpr Trials believed[] = {{12, 36}, {24, 12}};
constexpr int patience = 30;          // pairs without a signal
constexpr float good = 0.85f;         // of a pair's own part
constexpr size_t held = 8, shown = 3; // symbols, that show whether there is a signal
} // namespace

// Sums of the bits, each with its sign in a pair of codes. Returns the sum of all without a sign.
float Sitor::correlate(int64_t end, std::array<float, pairs>& sums) const
{
    float first[bits], second[bits], all = 0;
    for (int k = 0; k < bits; ++k) {
        first[k] = soft_[size_t(end - bits - between + k) % kept];
        second[k] = soft_[size_t(end - bits + k) % kept];
        all += std::fabs(first[k]) + std::fabs(second[k]);
    }
    for (int row = 0; row < pairs; ++row) {
        const uint8_t a = code(row, false), b = code(row, true);
        float sum = 0;
        for (int k = 0; k < bits; ++k)
            sum += (a >> k & 1 ? first[k] : -first[k]) + (b >> k & 1 ? second[k] : -second[k]);
        sums[size_t(row)] = sum;
    }
    return std::max(all, 1e-6f);
}

Sitor::Fit Sitor::fit(int64_t end) const
{
    std::array<float, pairs> sums;
    const float all = correlate(end, sums);
    if (lock_.inverted)
        for (float& sum : sums) sum = -sum;
    const auto best = std::max_element(sums.begin(), sums.end());
    float others = 0;
    for (const float sum : sums) others += std::exp((sum - *best) / noise_);
    return {int(best - sums.begin()), *best / all, 1 / others};
}

std::vector<SitorSymbol> Sitor::push(float soft, double time)
{
    soft_[size_t(count_) % kept] = std::clamp(soft, -1.5f, 1.5f);
    time_[size_t(count_) % kept] = time;
    ++count_;
    if (count_ < bits + between) return {};
    const size_t phase = size_t(count_ % cycle);
    std::vector<SitorSymbol> symbols;
    if (lock_.has_value && lock_.phase == phase) {
        take(count_);
        lately_ += (waiting_.back().part - lately_) / averaged_lately;
        if (lately_ >= present)
            missing_ = 0;
        else if (missing_ > 0 || lately_ < gone)
            ++missing_;
        symbols = missing_ == patience ? finish() : give();
    }
    if (!lock_.has_value || missing_ > 0) {
        const auto before = search(phase);
        symbols.insert(symbols.end(), before.begin(), before.end());
    }
    return symbols;
}

// How much likelier the last pairs in this phase are to be such than to be any bits, as a natural logarithm.
// Other data fits a pair in many of its bits; but where noise hides nothing, each of the rest speaks against
// it.
float Sitor::evidence(int64_t judged, bool inverted) const
{
    const int64_t count = std::min(judged, (count_ - bits - between) / cycle + 1);
    const int64_t last = (count - 1) * cycle + bits + between;
    // Bits of either value and of one amplitude in noise: expectation and maximisation, from half and half.
    float amplitude = 1, variance = 0.3f;
    for (int round = 0; round < 8; ++round) {
        float mean = 0, squares = 0;
        for (int64_t k = count_ - last; k < count_; ++k) {
            const float x = soft_[size_t(k) % kept];
            mean += x * std::tanh(amplitude * x / variance) / float(last);
            squares += x * x / float(last);
        }
        amplitude = mean;
        variance = std::max(squares - mean * mean, 0.02f);
    }
    const float scale = amplitude / variance;
    float sum = 0;
    for (int64_t end = count_; end > count_ - count * cycle; end -= cycle) {
        std::array<float, pairs> sums;
        correlate(end, sums);
        const auto [least, most] = std::minmax_element(sums.begin(), sums.end());
        float either = 0; // sum of ln cosh
        for (int k = 0; k < bits; ++k)
            for (const int64_t at : {end - bits - between + k, end - bits + k}) {
                const float size = std::fabs(soft_[size_t(at) % kept]) * scale;
                either += size + std::log1p(std::exp(-2 * size)) - float(M_LN2);
            }
        sum += (inverted ? -*least : *most) * scale - either - std::log(float(pairs));
    }
    return sum;
}

// Looks for a signal at one phase of the cycle, in both polarities. One character again and again is a
// character at any phase: it tells nothing.
std::vector<SitorSymbol> Sitor::search(size_t phase)
{
    std::array<float, pairs> sums;
    const float all = correlate(count_, sums);
    const auto [least, most] = std::minmax_element(sums.begin(), sums.end());
    for (const bool inverted : {false, true}) {
        Trial& trial = trials_[inverted][phase];
        const int best = int((inverted ? least : most) - sums.begin());
        if (std::exchange(trial.best, best) == best && best != phasing) continue;
        trial.score += ((inverted ? -*least : *most) / all - trial.score) / averaged;
        if (trial.score < enough || (lock_.has_value && lock_.phase == phase)) continue;
        if (std::ranges::none_of(believed, [&](const Trials& trials) {
                return evidence(trials.judged, inverted) >= trials.evidence;
            }))
            continue;
        lately_ = trial.score;
        auto before = finish();
        lock_ = {true, inverted, phase};
        look_back();
        return before;
    }
    return {};
}

std::vector<SitorSymbol> Sitor::finish()
{
    // A signal that is gone went where it wasn't heard for a few symbols.
    size_t end = 0;
    while (end + shown <= waiting_.size() && average(end, shown) >= present) ++end;
    while (end < waiting_.size() && heard(end)) ++end;
    while (end > 0 && !heard(end - 1)) --end;
    // A transmission ends with idle signals: the few characters behind them are noise.
    for (size_t k = end; k-- > 0 && k + held > end;)
        if (heard(k) && !waiting_[k].symbol.letter) end = k;
    waiting_.resize(end);
    lock_.has_value = false;
    missing_ = 0;
    for (auto& trials : trials_) trials.fill({of_noise});
    return out(end);
}

// The pair that ends before bit `end`.
void Sitor::take(int64_t end)
{
    const Fit pair = fit(end);
    const int64_t begin = end - bits - between;
    const Row row = pair.best < phasing ? rows[pair.best] : Row{};
    waiting_.push_back(
        {{row.letter, row.figure, pair.chance > 0.5f, time_[size_t(begin) % kept]}, pair.part});
    if (pair.chance < 0.5f) return;
    for (int k = 0; k < bits; ++k)
        for (const bool second : {false, true}) {
            const bool one = (code(pair.best, second) >> k & 1) != lock_.inverted;
            const float off = soft_[size_t(begin + k + second * between) % kept] - (one ? 1.0f : -1.0f);
            noise_ += (off * off - noise_) / 200;
        }
    noise_ = std::max(noise_, 0.02f);
}

// What came before the score was high enough, back to where three pairs in a row show no signal.
void Sitor::look_back()
{
    noise_ = 0.3f;
    const int64_t most = (std::min(count_, int64_t(kept)) - bits - between) / cycle;
    for (int64_t back = most - 1; back >= 0; --back) take(count_ - back * cycle);
    size_t begin = waiting_.size() - std::min(waiting_.size(), shown);
    while (begin > 0 && average(begin - 1, shown) >= present) --begin;
    while (begin < waiting_.size() && !heard(begin)) ++begin;
    // A transmission begins with phasing: the few characters before are noise.
    for (size_t k = begin; k < std::min(begin + held, waiting_.size()); ++k)
        if (heard(k) && !waiting_[k].symbol.letter) begin = k;
    waiting_.erase(waiting_.begin(), waiting_.begin() + ptrdiff_t(begin));
}

// Symbols behind which the signal goes on. Where it has faded, they wait for its return.
std::vector<SitorSymbol> Sitor::give()
{
    size_t count = 0;
    while (count + held <= waiting_.size() && average(count, held) >= present) ++count;
    if (lately_ >= present && waiting_.size() > 2 * held) count = std::max(count, waiting_.size() - held);
    return out(count);
}

bool Sitor::heard(size_t k) const { return waiting_[k].part >= good && waiting_[k].symbol.sure; }

float Sitor::average(size_t first, size_t count) const
{
    float sum = 0;
    for (size_t k = first; k < first + count; ++k) sum += waiting_[k].part;
    return sum / float(count);
}

std::vector<SitorSymbol> Sitor::out(size_t count)
{
    std::vector<SitorSymbol> symbols;
    for (; count > 0; --count, waiting_.pop_front())
        if (waiting_.front().symbol.letter || !waiting_.front().symbol.sure)
            symbols.push_back(waiting_.front().symbol);
    return symbols;
}
} // namespace decoders::bulletins
