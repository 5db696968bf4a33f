#include "decoders/packet/level_sequence.h"
#include <algorithm>

namespace decoders::packet {
namespace {
constexpr float share = 0.001f; // of the way that the channel goes to what a bit shows
constexpr float back = 1e-4f;   // of the way to the usual channel, a bit: noise alone leads nowhere
constexpr unsigned settled = 6; // bits: by then the survivors agree
} // namespace

LevelSequence::LevelSequence(double offset_share, bool both)
    : offset_share_(float(offset_share)), behind_weight_(both ? 1 : 0)
{
}

void LevelSequence::Sample::expect()
{
    expected[0] = offset;
    for (const float tap : taps) expected[0] -= tap;
    for (unsigned k = 0; k <= memory; ++k)
        for (unsigned levels = 0; levels < 1u << k; ++levels)
            expected[levels | 1u << k] = expected[levels] + 2 * taps[k];
}

float LevelSequence::push(float middle, float behind)
{
    middle_.heard[position_ % middle_.heard.size()] = middle;
    behind_.heard[position_ % behind_.heard.size()] = behind;
    ++position_;
    middle_.expect();
    behind_.expect();
    std::array<float, 2 * states> cost; // by the last memory + 1 levels
    for (unsigned levels = 0; levels < cost.size(); ++levels) {
        const float a = middle - middle_.expected[levels], b = behind - behind_.expected[levels];
        cost[levels] = cost_[levels >> 1] + a * a + behind_weight_ * b * b;
    }
    // To a state lead two, which differ in the level that is decided now.
    const float zero = *std::min_element(cost.begin(), cost.begin() + states),
                one = *std::min_element(cost.begin() + states, cost.end()), least = std::min(zero, one);
    const auto before = history_;
    for (unsigned state = 0; state < states; ++state) {
        const unsigned from = cost[state + states] < cost[state] ? state + states : state;
        cost_[state] = cost[from] - least;
        history_[state] = before[from >> 1] << 1 | (state & 1);
    }
    const auto best = size_t(std::ranges::min_element(cost_) - cost_.begin());
    const unsigned levels = history_[best] >> settled & (2 * states - 1);
    follow(middle_, middle_taps, levels);
    follow(behind_, behind_taps, levels);
    return zero - one;
}

// Least mean squares, on levels that are settled.
void LevelSequence::follow(Sample& sample, const Taps& usual, unsigned levels) const
{
    const float heard = sample.heard[(position_ - 1 - settled) % sample.heard.size()];
    const float error = heard - sample.expected[levels];
    sample.offset += offset_share_ * error;
    for (unsigned k = 0; k <= memory; ++k)
        sample.taps[k] += (levels >> k & 1 ? share : -share) * error + back * (usual[k] - sample.taps[k]);
}
} // namespace decoders::packet
