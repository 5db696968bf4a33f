#include "decoders/packet/mend.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>

namespace decoders::packet {
namespace {
constexpr size_t most_places = 60; // that are looked at, the weakest ones
constexpr int most_at_once = 3;    // of them
constexpr int most_tries = 2000;   // of 65536 wrong ones, one has a good check sequence
constexpr uint32_t flag_levels = 8;
constexpr size_t most_bits = 32767; // the period of powers

constexpr uint16_t times_x(uint16_t value) { return uint16_t(value >> 1 ^ (value & 1 ? crc_polynomial : 0)); }

// Modulo the polynomial; x^0 is the highest bit.
uint16_t product(uint16_t a, uint16_t b)
{
    uint16_t sum = 0;
    for (; b; b = uint16_t(b << 1), a = times_x(a))
        if (b & 0x8000) sum ^= a;
    return sum;
}

// What a difference in the register becomes by as many bits as power.
uint16_t carried(uint16_t change, int power)
{
    static const auto powers = [] {
        std::vector<uint16_t> table(most_bits);
        uint16_t value = 0x8000;
        for (uint16_t& entry : table) value = times_x(entry = value);
        return table;
    }();
    return product(change, powers[size_t(std::clamp(power, 0, int(most_bits) - 1))]);
}
} // namespace

void Mender::State::take(bool bit)
{
    if (!bit && ones == stuffed_behind) {
        ones = 0;
        return;
    }
    ones = uint8_t(bit ? std::min(ones + 1u, stuffed_behind + 1) : 0);
    if (ones > stuffed_behind) ++runs;
    crc = times_x(uint16_t(crc ^ uint16_t(bit)));
    ++bits;
}

Mender::Mender(const std::vector<float>& soft, std::span<const int> echoes)
    : echoes_(echoes), levels_(soft.size())
{
    for (size_t k = 0; k < soft.size(); ++k) levels_[k] = soft[k] >= 0;
    const auto end = uint32_t(soft.size()) - flag_levels; // the flag is good
    State state;
    states_.reserve(end);
    states_.push_back(state);
    for (uint32_t k = 1; k < end; ++k) {
        state.take(levels_[k] == levels_[k - 1]);
        states_.push_back(state);
    }

    places_.reserve(3 * size_t(end));
    for (uint32_t k = 0; k < end; ++k)
        for (uint32_t other = k; other < std::min(k + 3, end); ++other)
            places_.push_back({k, other, std::max(std::fabs(soft[k]), std::fabs(soft[other]))});
    const size_t count = std::min(most_places, places_.size());
    std::ranges::nth_element(places_, places_.begin() + ptrdiff_t(count), {}, &Place::weight);
    places_.resize(count);
    std::ranges::sort(places_, {}, &Place::weight);

    int fewer_runs = 0;
    for (const Place& place : places_) {
        flip(place);
        const Effect& effect = effects_.emplace_back(this->effect(place.first, place.second));
        flip(place);
        fewer_runs += std::max(0, -effect.runs);
    }
    if (state.runs > fewer_runs) return;
    for (const Effect& effect : effects_) syndromes_.push_back(carried(effect.change, effect.left));
    near_.resize(count);
    same_.resize(count);
    for (size_t a = 0; a < count; ++a)
        for (size_t b = 0; b < count; ++b) {
            const Place &one = places_[a], &other = places_[b];
            const auto has = [&one](uint32_t level) { return one.first == level || one.second == level; };
            const bool singles = one.first == one.second && other.first == other.second;
            if (effects_[a].begin <= effects_[b].end && effects_[b].begin <= effects_[a].end)
                near_[a] |= Mask(1) << b;
            // Other places do the same at no more weight.
            if (has(other.first) || has(other.second) ||
                (singles && std::max(one.first, other.first) - std::min(one.first, other.first) < 3))
                same_[a] |= Mask(1) << b;
        }
    offer({}, 0);
}

void Mender::flip(size_t level)
{
    levels_[level].flip();
    for (const int echo : echoes_)
        if (level + size_t(echo) < levels_.size()) levels_[level + size_t(echo)].flip();
}

void Mender::flip(const Place& place)
{
    flip(size_t(place.first));
    if (place.second != place.first) flip(size_t(place.second));
}

Mender::Effect Mender::effect(uint32_t first, uint32_t last) const
{
    const uint32_t begin = std::max(first, 1u);
    if (!echoes_.empty()) last += uint32_t(echoes_.back());
    uint32_t end = begin;
    State state = states_[begin - 1];
    for (;; ++end) {
        state.take(levels_[end] == levels_[end - 1]);
        if ((end > last && state.ones == states_[end].ones) || end + 1 == states_.size()) break;
    }
    const State& before = states_[end];
    const int left = states_.back().bits - before.bits;
    const auto change = uint16_t(state.crc ^ before.crc);
    return {begin, end, change, left, state.bits - before.bits, state.runs - before.runs};
}

// For later, a set with the first place from one on that isn't needless beside it.
void Mender::offer(const Set& set, size_t place)
{
    while (place < places_.size() && set.places & same_[place]) ++place;
    if (place >= places_.size()) return;
    heap_.push_back({set, uint8_t(place), set.weight + places_[place].weight});
    std::ranges::push_heap(heap_, std::greater(), &Try::weight);
}

Mender::Set Mender::joined(const Set& set, size_t place) const
{
    const Effect& effect = effects_[place];
    return {.places = set.places | Mask(1) << place,
            .syndrome = uint16_t(set.syndrome ^ syndromes_[place]),
            .bits = int16_t(set.bits + effect.bits),
            .runs = int16_t(set.runs + effect.runs),
            .count = uint8_t(set.count + 1),
            .apart = set.apart && !(set.places & near_[place]),
            .even = set.even && effect.bits == 0,
            .weight = set.weight + places_[place].weight};
}

void Mender::flip_all(Mask places)
{
    for (; places; places &= places - 1) flip(places_[size_t(std::countr_zero(places))]);
}

bool Mender::is_right(const Set& set)
{
    if (!set.apart) return is_right_together(set.places);
    const State& end = states_.back();
    if ((end.bits + set.bits) % 8 != 0 || end.runs + set.runs != 0) return false;
    uint16_t crc = end.crc ^ set.syndrome;
    if (!set.even && set.count > 1) {
        // What is longer behind a place moves it away from the end.
        crc = end.crc;
        for (Mask left = set.places; left; left &= left - 1) {
            const Effect& one = effects_[size_t(std::countr_zero(left))];
            int later = 0;
            for (Mask others = set.places; others; others &= others - 1) {
                const Effect& other = effects_[size_t(std::countr_zero(others))];
                if (other.begin > one.begin) later += other.bits;
            }
            crc ^= carried(one.change, one.left + later);
        }
    }
    return crc == crc_residue;
}

// The same for places that meet: as one effect, from the first to the last of them.
bool Mender::is_right_together(Mask places)
{
    uint32_t first = UINT32_MAX, last = 0;
    for (Mask left = places; left; left &= left - 1) {
        const Place& place = places_[size_t(std::countr_zero(left))];
        first = std::min(first, place.first);
        last = std::max(last, place.second);
    }
    flip_all(places);
    const Effect all = effect(first, last);
    flip_all(places);
    const State& end = states_.back();
    return (end.bits + all.bits) % 8 == 0 && end.runs + all.runs == 0 &&
           (end.crc ^ carried(all.change, all.left)) == crc_residue;
}

std::optional<std::vector<bool>> Mender::next()
{
    while (!heap_.empty() && tries_ < most_tries) {
        std::ranges::pop_heap(heap_, std::greater(), &Try::weight);
        const Try best = heap_.back();
        heap_.pop_back();
        const Set set = joined(best.set, best.place);
        offer(best.set, best.place + 1);
        if (set.count < most_at_once) offer(set, best.place + 1);
        ++tries_;
        if (!is_right(set)) continue;
        auto levels = levels_;
        std::swap(levels, levels_);
        flip_all(set.places);
        std::swap(levels, levels_);
        return levels;
    }
    return {};
}
} // namespace decoders::packet
