#include "decode/start_stop.h"
#include <algorithm>
#include <array>
#include <cmath>

namespace client::decode {
namespace {
// Logarithms of how likely what senders do is, against an even flow of characters.
constexpr float pause = -2;       // line idle before a character
constexpr float short_stop = -2;  // stop shorter than agreed, but for a bit at least
constexpr float off_beat = -0.5f; // a tick too early or too late
constexpr int jitter = 2;         // ticks
} // namespace

PathSearch::PathSearch(const Frame& frame, int characters)
    : frame_(frame),
      data_ticks_((1 + frame.bits) * ticks_per_bit),
      delay_(int((1 + frame.bits + frame.stop) * ticks_per_bit) * characters),
      nodes_(int(std::ceil(std::log2(delay_ + 2 * data_ticks_ + 16 * ticks_per_bit)))),
      scores_(size_t(1) << frame.bits)
{
    const int nominal = int(std::lround(frame.stop * ticks_per_bit));
    for (int ticks = ticks_per_bit - jitter; ticks <= nominal + jitter; ++ticks) {
        const int from_bit = std::abs(ticks - ticks_per_bit), off = std::abs(ticks - nominal);
        if (off <= jitter)
            stops_.push_back({ticks, off_beat * float(off)});
        else if (from_bit <= jitter)
            stops_.push_back({ticks, short_stop + off_beat * float(from_bit)});
    }
}

// Scores of the characters whose data end with a tick: of all, longer by a bit at a time, with the start bit.
void PathSearch::score_all(int64_t end)
{
    const auto half = [&](int bit) { return nodes_[end - (frame_.bits - bit) * ticks_per_bit].mark / 2; };
    scores_[0] = -half(0);
    for (int bit = 1; bit <= frame_.bits; ++bit) {
        const float value = half(bit);
        const size_t count = size_t(1) << (bit - 1);
        for (size_t k = 0; k < count; ++k) {
            scores_[k + count] = scores_[k] + value;
            scores_[k] -= value;
        }
    }
    for (size_t k = 0; k < scores_.size(); ++k) scores_[k] += frame_.prior[k];
}

// The score of the best of them. Mostly it is the one that each bit by itself is for.
float PathSearch::best_score(int64_t end)
{
    float sum = -nodes_[end - frame_.bits * ticks_per_bit].mark / 2;
    size_t plain = 0;
    for (int bit = 0; bit < frame_.bits; ++bit) {
        const float half = nodes_[end - (frame_.bits - 1 - bit) * ticks_per_bit].mark / 2;
        sum += std::fabs(half);
        plain |= size_t(half > 0) << bit;
    }
    if (frame_.prior[plain] == 0) return sum;
    score_all(end);
    constexpr size_t lanes = 8; // side by side, so that they can be taken at once
    std::array<float, lanes> best;
    std::copy_n(scores_.begin(), lanes, best.begin());
    for (size_t k = lanes; k < scores_.size(); k += lanes)
        for (size_t lane = 0; lane < lanes; ++lane)
            best[lane] = best[lane] < scores_[k + lane] ? scores_[k + lane] : best[lane];
    return *std::ranges::max_element(best);
}

int PathSearch::best_character(int64_t end)
{
    score_all(end);
    return int(std::ranges::max_element(scores_) - scores_.begin());
}

void PathSearch::push(float mark, std::vector<Span>& out)
{
    const int64_t now = nodes_.end();
    Node node{.mark = mark, .framed = -1e9, .idle = 0};
    if (now > 0) {
        const Node& before = nodes_[now - 1];
        const double pausing = before.framed + pause;
        node.idle_from_idle = before.idle >= pausing;
        node.idle = std::max(before.idle, pausing) + mark / 2 / ticks_per_bit;
    }
    for (const Stop& stop : stops_) {
        const int64_t data_end = now - stop.ticks, begin = data_end - data_ticks_;
        if (begin < 0) continue;
        // The first bit of the stop, and what is more of it.
        const int first = std::min(stop.ticks, ticks_per_bit);
        const float first_mark = stop.ticks > first ? nodes_[data_end + first].mark : mark;
        const float stopped =
            (first_mark * float(first) + mark * float(stop.ticks - first)) / (2 * ticks_per_bit);
        const double score = nodes_[begin].ready() + nodes_[data_end].data + stop.score + stopped;
        if (score <= node.framed) continue;
        node.framed = score;
        node.advance = data_ticks_ + stop.ticks;
        node.from_idle = nodes_[begin].ready_idle();
    }
    nodes_.push(node);
    if (now >= data_ticks_) nodes_[now].data = best_score(now);
    if (now % (4 * ticks_per_bit) == 0) decide(out);
}

// The tick at which the character begins that is the likeliest to be under way, or now if the line is idle.
int64_t PathSearch::likeliest() const
{
    const int64_t now = nodes_.end() - 1, all = data_ticks_ + ticks_per_bit;
    int64_t best = now;
    double most = nodes_[now].ready();
    for (int64_t begin = std::max<int64_t>(now - all, 0); begin < now; ++begin) {
        double score = nodes_[begin].ready();
        for (int64_t at = begin + ticks_per_bit; at - ticks_per_bit < now; at += ticks_per_bit) {
            const float part = 1 - std::max(float(at - now) / ticks_per_bit, 0.0f);
            const float mark = nodes_[std::min(at, now)].mark / 2 * part;
            score += at == begin + ticks_per_bit ? -mark : at > begin + data_ticks_ ? mark : std::fabs(mark);
        }
        if (score <= most) continue;
        most = score;
        best = begin;
    }
    return best;
}

// What stands further back than the delay on the best way to now.
void PathSearch::decide(std::vector<Span>& out)
{
    const int64_t now = nodes_.end() - 1, last = likeliest();
    chain_.clear();
    bool idle = nodes_[last].ready_idle();
    for (int64_t at = last; at > decided_;) {
        const Node& node = nodes_[at];
        if (idle) {
            if (chain_.empty() || chain_.back().character != Span::idle || chain_.back().begin != at)
                chain_.push_back({at, at, Span::idle});
            chain_.back().begin = --at;
            idle = node.idle_from_idle;
        } else {
            const int64_t begin = at - node.advance;
            chain_.push_back({begin, at, 0});
            at = begin;
            idle = node.from_idle;
        }
    }
    for (auto span = chain_.rbegin(); span != chain_.rend(); ++span) {
        if (span->character == Span::idle) span->end = std::min(span->end, now - delay_);
        if (span->end > now - delay_ || span->end <= decided_) break;
        // Where it was decided otherwise before, by more than a little, the chain goes on as idle.
        if (span->begin < decided_ - ticks_per_bit / 2)
            *span = {decided_, span->end, Span::idle};
        else if (span->character != Span::idle)
            span->character = best_character(span->begin + data_ticks_);
        decided_ = span->end;
        out.push_back(*span);
    }
}
} // namespace client::decode
