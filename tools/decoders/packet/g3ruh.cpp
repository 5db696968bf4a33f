#include "decoders/packet/g3ruh.h"
#include "decoders/intake.h"
#include "decoders/packet/baseband.h"
#include "decoders/packet/findings.h"

namespace decoders::packet {
namespace {
// In the order of what they add.
constexpr Baseband::Tuning rows[most_g3ruh_effort] = {
    {0.6, 0.03, 0.003, false},
    {0.45, 0.05, 0.003, false}, // FM, whose noise grows with frequency
    {0.8, 0.05, 0.03, true},    // white noise
    {0.6, 0.02, 0.03, false},   // a high-pass in the way
};

constexpr double crossing_cutoff = 0.6; // of the bit rate
constexpr int block_bits = 192;         // 20 ms
constexpr double level = 0.06;          // of full scale

class G3ruh : public Decoder {
public:
    G3ruh(double rate, const Settings& settings, Emit emit)
        : intake_(
              rate, Baseband::rate, block_bits * Baseband::bit_samples, level,
              [this](const int16_t* samples, size_t count, int64_t first) { take(samples, count, first); }),
          findings_(Baseband::baud, settings.repair, intake_, std::move(emit), Baseband::echoes),
          crossing_pass_(Baseband::low_pass(crossing_cutoff))
    {
        for (int k = 0; k < settings.effort.value_or(most_g3ruh_effort); ++k)
            branches_.emplace_back(rows[k],
                                   [this, &listener = findings_.add_listener()](float soft, double sample) {
                                       listener.push(soft, intake_.time(sample));
                                   });
    }

    void push(const int16_t* samples, size_t count) override { intake_.push(samples, count); }

    void finish() override { intake_.finish(0.02); }

private:
    void take(const int16_t* samples, size_t count, int64_t first)
    {
        crossing_.resize(count);
        ZVFIR1616_Process_16_16(crossing_pass_, crossing_.data(), samples, int32_t(count), 1, 1);
        for (Baseband& branch : branches_) branch.push(samples, crossing_.data(), count);
        findings_.forget(intake_.time(double(first)));
    }

    Intake intake_;
    Findings findings_;
    zovek::FIR crossing_pass_;
    std::vector<int16_t> crossing_;
    std::deque<Baseband> branches_;
};
} // namespace

MadeDecoder make_g3ruh(double rate, const Settings& settings, Emit emit)
{
    if (settings.hf) throw WrongSettings("{hf} is 300 Bd, {g3ruh} 9600 Bd: one of them");
    if (settings.effort > most_g3ruh_effort)
        throw WrongSettings("{g3ruh} has " + words::number(most_g3ruh_effort) + " branches");
    require(rate, g3ruh_highest, "9600 Bd (wants audio of 17100 Hz or more)");
    return std::make_unique<G3ruh>(rate, settings, std::move(emit));
}
} // namespace decoders::packet
