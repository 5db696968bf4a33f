#include "decoders/keyed/start_stop.h"
#include <algorithm>
#include <array>
#include <cmath>

namespace decoders::keyed {
namespace {
// Logarithms of how likely what senders do is, against an even flow of characters.
constexpr float pause = -2;       // line idle before a character
constexpr float short_stop = -2;  // stop shorter than agreed, but for a bit at least
constexpr float off_beat = -0.5f; // a tick too early or too late
constexpr int jitter = 2;         // ticks
constexpr double nowhere = -1e9;

// Bits that are longer or shorter than agreed. Each pace serves what is half a step off.
constexpr double paces[] = {1, 0.975, 1.025}; // times the bit
constexpr float least_usual = 0.1f;           // share of a pace that nobody has had lately
constexpr float learned = 16;                 // characters, over which shares are taken
} // namespace

PathSearch::PathSearch(const Frame& frame, int characters)
    : frame_(frame),
      data_ticks_((1 + frame.bits) * ticks_per_bit),
      delay_(int((1 + frame.bits + frame.stop) * ticks_per_bit) * characters),
      nodes_(int(std::ceil(std::log2(delay_ + 2 * data_ticks_ + 16 * ticks_per_bit)))),
      scores_(size_t(1) << frame.bits)
{
    for (const double times : paces) {
        Pace pace{.bit = times * ticks_per_bit, .usual = times == 1 ? 1.0f : 0.0f};
        pace.data = int(std::lround((1 + frame.bits) * pace.bit));
        for (int bit = 0; bit <= frame.bits; ++bit)
            pace.back.push_back(int(std::lround((frame.bits - bit) * pace.bit)));
        paces_.push_back(pace);
    }
    learn(0);
    const int nominal = int(std::lround(frame.stop * ticks_per_bit));
    for (int ticks = ticks_per_bit - jitter; ticks <= nominal + jitter; ++ticks) {
        const int from_bit = std::abs(ticks - ticks_per_bit), off = std::abs(ticks - nominal);
        if (off <= jitter)
            stops_.push_back({ticks, off_beat * float(off)});
        else if (from_bit <= jitter)
            stops_.push_back({ticks, short_stop + off_beat * float(from_bit)});
    }
}

// Half the log likelihood ratio of a bit of the character whose data end with a tick; bit 0 is the start.
float PathSearch::half(int64_t end, const Pace& pace, int bit) const
{
    return nodes_[end - pace.back[size_t(bit)]].mark / 2;
}

// Scores of the characters whose data end with a tick: of all, longer by a bit at a time, with the start bit.
void PathSearch::score_all(int64_t end, const Pace& pace)
{
    scores_[0] = -half(end, pace, 0);
    for (int bit = 1; bit <= frame_.bits; ++bit) {
        const float value = half(end, pace, bit);
        const size_t count = size_t(1) << (bit - 1);
        for (size_t k = 0; k < count; ++k) {
            scores_[k + count] = scores_[k] + value;
            scores_[k] -= value;
        }
    }
    for (size_t k = 0; k < scores_.size(); ++k) scores_[k] += frame_.prior[k];
}

// The score of the best, if that may be over so much. Mostly it is the one that each bit by itself is for.
float PathSearch::best_score(int64_t end, const Pace& pace, double over)
{
    float sum = -half(end, pace, 0);
    size_t plain = 0;
    for (int bit = 0; bit < frame_.bits; ++bit) {
        const float value = half(end, pace, bit + 1);
        sum += std::fabs(value);
        plain |= size_t(value > 0) << bit;
    }
    if (frame_.prior[plain] == 0 || sum <= over) return sum + frame_.prior[plain];
    score_all(end, pace);
    constexpr size_t lanes = 8; // side by side, so that they can be taken at once
    std::array<float, lanes> best;
    std::copy_n(scores_.begin(), lanes, best.begin());
    for (size_t k = lanes; k < scores_.size(); k += lanes)
        for (size_t lane = 0; lane < lanes; ++lane)
            best[lane] = best[lane] < scores_[k + lane] ? scores_[k + lane] : best[lane];
    return *std::ranges::max_element(best);
}

int PathSearch::best_character(int64_t end, const Pace& pace)
{
    score_all(end, pace);
    return int(std::ranges::max_element(scores_) - scores_.begin());
}

// The best character whose data end with a tick, at any pace.
void PathSearch::find_data(int64_t end)
{
    Node& node = nodes_[end];
    node.data = nowhere;
    for (const Pace& pace : paces_) {
        if (end < pace.data) continue;
        const double before = nodes_[end - pace.data].ready() + pace.score;
        const double score = before + best_score(end, pace, node.data - before);
        if (score <= node.data) continue;
        node.data = score;
        node.data_pace = int(&pace - paces_.data());
    }
}

// A character that was decided makes its pace more usual.
void PathSearch::learn(int used)
{
    for (size_t k = 0; k < paces_.size(); ++k) {
        Pace& pace = paces_[k];
        pace.usual += (float(int(k) == used) - pace.usual) / learned;
        pace.score = std::log(std::max(pace.usual, least_usual));
    }
}

void PathSearch::push(float mark, std::vector<Span>& out)
{
    const int64_t now = nodes_.end();
    Node node{.mark = mark, .framed = nowhere, .idle = 0};
    if (now > 0) {
        const Node& before = nodes_[now - 1];
        const double pausing = before.framed + pause;
        node.idle_from_idle = before.idle >= pausing;
        node.idle = std::max(before.idle, pausing) + mark / 2 / ticks_per_bit;
    }
    for (const Stop& stop : stops_) {
        const int64_t data_end = now - stop.ticks;
        if (data_end < 0) continue;
        const Node& data = nodes_[data_end];
        // The first bit of the stop, and what is more of it.
        const int first = std::min(stop.ticks, ticks_per_bit);
        const float first_mark = stop.ticks > first ? nodes_[data_end + first].mark : mark;
        const float stopped =
            (first_mark * float(first) + mark * float(stop.ticks - first)) / (2 * ticks_per_bit);
        const double score = data.data + stop.score + stopped;
        if (score <= node.framed) continue;
        node.framed = score;
        node.pace = data.data_pace;
        node.advance = paces_[size_t(node.pace)].data + stop.ticks;
    }
    nodes_.push(node);
    find_data(now);
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
            if (chain_.empty() || chain_.back().span.character != Span::idle ||
                chain_.back().span.begin != at)
                chain_.push_back({{at, at, Span::idle}, 0});
            chain_.back().span.begin = --at;
            idle = node.idle_from_idle;
        } else {
            const int64_t begin = at - node.advance;
            chain_.push_back({{begin, at, 0, paces_[size_t(node.pace)].bit}, node.pace});
            at = begin;
            idle = nodes_[at].ready_idle();
        }
    }
    for (auto link = chain_.rbegin(); link != chain_.rend(); ++link) {
        Span& span = link->span;
        if (span.character == Span::idle) span.end = std::min(span.end, now - delay_);
        if (span.end > now - delay_ || span.end <= decided_) break;
        // Where it was decided otherwise before, by more than a little, the chain goes on as idle.
        if (span.begin < decided_ - ticks_per_bit / 2)
            span = {decided_, span.end, Span::idle};
        else if (span.character != Span::idle) {
            const Pace& pace = paces_[size_t(link->pace)];
            span.character = best_character(span.begin + pace.data, pace);
            learn(link->pace);
        }
        decided_ = span.end;
        out.push_back(span);
    }
}
} // namespace decoders::keyed
