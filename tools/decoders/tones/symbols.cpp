#include "decoders/tones/symbols.h"
#include "decoders/decoder.h"
#include "decoders/tones/spectra.h"
#include <algorithm>

namespace decoders::tones {
namespace {
constexpr size_t most_holes = 2; // frames in a row that noise may spoil
} // namespace

double mean_level(const std::vector<Symbol>& symbols)
{
    double power = 0;
    for (const Symbol& symbol : symbols) power += symbol.power / double(symbols.size());
    return decibels(power);
}

void Symbols::push(const Sight& sight)
{
    if (run_.empty() && sight.symbol < 0) return;
    run_.push_back(sight);
    if (sight.symbol == run_.front().symbol && sight.power > edge_power * peak_) {
        peak_ = std::max(peak_, sight.power);
        good_ = run_.size();
    } else if (sight.power < edge_power * peak_ || run_.size() - good_ > most_holes)
        end();
}

void Symbols::end()
{
    std::vector<Sight> rest(run_.begin() + std::ptrdiff_t(good_), run_.end());
    run_.resize(good_);
    const auto first =
        std::ranges::find_if(run_, [this](const Sight& s) { return s.power > edge_power * peak_; });
    Symbol symbol{
        .symbol = run_.front().symbol, .begin = first->time - hop_ / 2, .end = run_.back().time + hop_ / 2};
    double count = 0;
    for (auto s = first; s != run_.end(); ++s) {
        if (s->symbol != symbol.symbol) continue;
        ++count;
        symbol.power += s->power;
        symbol.twist += s->twist;
        symbol.clear += s->clear;
        for (const int k : {0, 1}) symbol.off[k] += s->off[k];
    }
    for (double* mean : {&symbol.power, &symbol.twist, &symbol.clear, &symbol.off[0], &symbol.off[1]})
        *mean /= count;
    run_.clear();
    good_ = 0;
    peak_ = 0;
    take_(symbol);
    for (const Sight& sight : rest) push(sight);
}
} // namespace decoders::tones
