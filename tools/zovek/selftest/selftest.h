// The self-test: everything that the library computes, over signals made here, against what it must give.
//
// Integer results are prescribed to the bit, so a family's are one hash, the same on every processor, word
// size and system (32 -> 32 bit filters have one for each of their two arithmetics). Real results are held to
// a few stored values within a bound. Signals come from integers alone, and settings that go through sines
// and logarithms are few, so that no mathematics library enters but where its rounding can't show.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace client::selftest {
// FNV-1a, 64 bits, over the bytes of what it is fed: arrays and values of whole-number types of a fixed
// width.
class Hash {
public:
    void bytes(const void* data, size_t size);
    void text(const char* text); // its terminator included
    template <class T>
    void values(const std::vector<T>& data)
    {
        bytes(data.data(), data.size() * sizeof(T));
    }
    template <class T>
    void value(T v)
    {
        bytes(&v, sizeof v);
    }
    uint64_t result() const { return state_; }

private:
    uint64_t state_ = 0xCBF29CE484222325;
};

// Real results in order; each is kept as a double.
struct Reals {
    void value(long double v) { values.push_back(static_cast<double>(v)); }
    std::vector<double> values;
};

// Whole numbers, evenly distributed: xorshift64* (S. Vigna, An experimental exploration of Marsaglia's
// xorshift generators, scrambled).
class Dice {
public:
    explicit Dice(uint32_t seed) : state_(seed * 0x9E3779B97F4A7C15 + 1) {}
    uint32_t next();
    int32_t below(int32_t bound) { return static_cast<int32_t>(next() % static_cast<uint32_t>(bound)); }

private:
    uint64_t state_;
};

// count samples over the whole range, less the lowest `quieter` bits of the level.
template <class Sample>
std::vector<Sample> noise(size_t count, uint32_t seed, int quieter = 0)
{
    Dice dice(seed);
    std::vector<Sample> signal(count);
    for (Sample& x : signal)
        x = static_cast<Sample>(int32_t(dice.next()) >> (8 * (4 - int(sizeof(Sample))) + quieter));
    return signal;
}

// A triangle at hz whose level swings by half at swing_hz, in a little noise: a station for receivers. Rates
// in whole Hz, level up to 20000.
std::vector<int16_t> station(size_t count, uint32_t rate, uint32_t hz, uint32_t swing_hz, int32_t level);

// What is tested, and what it must give. kernels names the family whose kernel it runs, null if it has none.
// Of rows with one name, which stand together, the first that holds for the kernel counts.
struct IntegerPart {
    const char *name, *kernels;
    void (*run)(Hash&);
    uint64_t expected;
    const char* form = nullptr; // the row holds for kernels whose name starts so; null: for all
};
struct RealPart {
    const char *name, *kernels;
    void (*run)(Reals&);
    int bits;        // of the format that the results are stored in: 24 float, 53 double
    double bound;    // largest distance in units of the last place,
    bool of_largest; // of the largest value, else of the value itself
    std::span<const double> expected;
    const char* form = nullptr;
};
extern const std::span<const IntegerPart> integer_parts;
extern const std::span<const RealPart> real_parts;

struct Outcome {
    std::string name, kernel; // kernel is empty where there is but one
    bool equal;
    std::string result;     // the hash, or the largest distance
    std::string difference; // what was expected, where it differs
    std::vector<double> reals;
};
std::vector<Outcome> run();
// Writes the outcomes to standard output; the exit status, 1 if one differs.
int report(const std::vector<Outcome>& outcomes, bool json);
} // namespace client::selftest
