#include "decoders/packet/fx25.h"
#include "decoders/packet/reed_solomon.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace decoders::packet {
namespace {
constexpr int most_wrong = 10; // bits of a tag: noise has one at 1200 Bd in two hours
constexpr size_t trials = 4;   // of a codeword: with none, 1/4, 1/2, 3/4 of what can be erased
} // namespace

const Fx25::Tag Fx25::tags[] = {
    {0xB74DB7DF8A532F3E, 239, 16}, {0x26FF60A600CC8FDE, 128, 16}, {0xC7DC0508F3D9B09E, 64, 16},
    {0x8F056EB4369660EE, 32, 16},  {0x6E260B1AC5835FAE, 223, 32}, {0xFF94DC634F1CFF4E, 128, 32},
    {0x1EB7B9CDBC09C00E, 64, 32},  {0xDBF869BD2DBB1776, 32, 32},  {0x3ADB0C13DEAE2836, 191, 64},
    {0xAB69DB6A543188D6, 128, 64}, {0x4A4ABEC4A724B796, 64, 64},
};

std::optional<Deframer::Found> Fx25::push(float value)
{
    const bool bit = position_ > 0 && (value >= 0) == (soft(position_ - 1) >= 0);
    soft_[size_t(position_++) % soft_.size()] = value;
    last_ = last_ >> 1 | uint64_t(bit) << 63;
    std::optional<Deframer::Found> found;
    std::erase_if(open_, [&](const Codeword& codeword) {
        if (position_ < codeword.begin + int64_t(8 * (codeword.tag->data + codeword.tag->check)))
            return false;
        if (!found) found = read(codeword);
        return true;
    });
    const auto* tag = std::ranges::find_if(
        tags, [this](const Tag& row) { return std::popcount(row.bits ^ last_) <= most_wrong; });
    if (tag != std::end(tags)) open_.push_back({tag, position_});
    return found;
}

float Fx25::sureness(int64_t position) const
{
    float least = std::fabs(soft(position));
    for (const int echo : echoes_) least = std::min(least, std::fabs(soft(position - echo)));
    return least;
}

// Generalized minimum distance decoding (G. D. Forney, IEEE Trans. Inf. Theory 12, 1966): of a codeword with
// too many wrong bytes those that were heard worst are erased, more from trial to trial. The frame's check
// sequence tells the right one.
std::optional<Deframer::Found> Fx25::read(const Codeword& codeword) const
{
    const auto [bits, data, check] = *codeword.tag;
    std::vector<uint8_t> heard(data + check);
    std::vector<float> sure(data + check, INFINITY);
    for (size_t k = 0; k < 8 * heard.size(); ++k) {
        const int64_t at = codeword.begin + int64_t(k);
        heard[k / 8] = uint8_t(heard[k / 8] | ((soft(at - 1) >= 0) == (soft(at) >= 0)) << k % 8);
        sure[k / 8] = std::min({sure[k / 8], sureness(at - 1), sureness(at)});
    }
    std::vector<size_t> weakest(heard.size());
    std::iota(weakest.begin(), weakest.end(), size_t(0));
    std::ranges::sort(weakest, {}, [&](size_t k) { return sure[k]; });

    // A short codeword is one whose data end in zeros that aren't sent.
    const size_t unsent = ReedSolomon::length - heard.size();
    std::vector<uint8_t> word = heard;
    word.insert(word.begin() + ptrdiff_t(data), unsent, 0);
    for (size_t trial = 0; trial < trials; ++trial) {
        std::vector<size_t> erased(weakest.begin(), weakest.begin() + ptrdiff_t(check * trial / trials));
        for (size_t& place : erased) place += place < data ? 0 : unsent;
        std::vector<uint8_t> mended = word;
        const int changed = ReedSolomon(check).mend(mended, erased);
        if (changed < 0) continue;
        Deframer deframer(false);
        float level = 1;
        for (size_t k = 0; k < 8 * data; ++k) {
            if (!(mended[k / 8] >> k % 8 & 1)) level = -level; // a 0 changes the level
            if (auto found = deframer.push(level)) {
                found->begin += codeword.begin;
                found->end += codeword.begin;
                found->mended = changed;
                return found;
            }
        }
    }
    return {};
}
} // namespace decoders::packet
