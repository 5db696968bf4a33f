#include "decoders/tones/symbols.h"
#include <algorithm>

namespace decoders::tones {
namespace {
constexpr double edge = 0.25;    // of the greatest power
constexpr size_t most_holes = 2; // frames in a row that noise may spoil
} // namespace

void Symbols::push(const Sight& sight)
{
    if (run_.empty() && sight.symbol < 0) return;
    run_.push_back(sight);
    if (sight.symbol == run_.front().symbol && sight.power > edge * peak_) {
        peak_ = std::max(peak_, sight.power);
        good_ = run_.size();
    } else if (sight.power < edge * peak_ || run_.size() - good_ > most_holes)
        end();
}

void Symbols::end()
{
    std::vector<Sight> rest(run_.begin() + std::ptrdiff_t(good_), run_.end());
    run_.resize(good_);
    const auto first = std::ranges::find_if(run_, [this](const Sight& s) { return s.power > edge * peak_; });
    Symbol symbol{
        .symbol = run_.front().symbol, .begin = first->time - hop_ / 2, .end = run_.back().time + hop_ / 2};
    double count = 0;
    for (auto s = first; s != run_.end(); ++s) {
        if (s->symbol != symbol.symbol) continue;
        ++count;
        symbol.power += s->power;
        symbol.twist += s->twist;
        symbol.clear += s->clear;
    }
    for (double* mean : {&symbol.power, &symbol.twist, &symbol.clear}) *mean /= count;
    run_.clear();
    good_ = 0;
    peak_ = 0;
    take_(symbol);
    for (const Sight& sight : rest) push(sight);
}
} // namespace decoders::tones
