// Runs the parts, holds their results against what they must give, and tells.
#include "selftest.h"
#include "kernels.h"
#include "words/words.h"
#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <zovek/cpu.h>

namespace client::selftest {
using namespace words;
static std::string hex(uint64_t value)
{
    char text[20];
    std::snprintf(text, sizeof text, "%08" PRIx32 "%08" PRIx32, uint32_t(value >> 32), uint32_t(value));
    return text;
}

// The kernel that a part's family runs; empty for one without kernels.
static std::string kernel_name(const char* family)
{
    for (const FamilyKernel& kernel : kernels())
        if (family && std::strcmp(kernel.family, family) == 0) return kernel.name;
    return "";
}

static Outcome outcome_of(const IntegerPart& part, const std::string& kernel)
{
    Hash hash;
    part.run(hash);
    Outcome outcome = {part.name, kernel, hash.result() == part.expected, hex(hash.result())};
    if (!outcome.equal) outcome.difference = "expected " + hex(part.expected);
    return outcome;
}

// The largest distance of a value from the expected one, in units of the last place. Not-a-number is far
// away.
static double distance(const RealPart& part, const std::vector<double>& values)
{
    if (values.size() != part.expected.size()) return HUGE_VAL;
    double largest = 0, farthest = 0;
    for (const double v : part.expected) largest = std::max(largest, std::fabs(v));
    for (size_t n = 0; n < values.size(); ++n) {
        int exponent;
        std::frexp(part.of_largest ? largest : part.expected[n], &exponent);
        const double far = std::fabs(values[n] - part.expected[n]) / std::ldexp(1, exponent - part.bits);
        if (std::isnan(far)) return HUGE_VAL;
        farthest = std::max(farthest, far);
    }
    return farthest;
}

static Outcome outcome_of(const RealPart& part, const std::string& kernel)
{
    Reals reals;
    part.run(reals);
    const double far = distance(part, reals.values);
    char text[32];
    std::snprintf(text, sizeof text, "%.3g ulp", far);
    Outcome outcome = {part.name, kernel, far <= part.bound, text, {}, reals.values};
    if (!outcome.equal) outcome.difference = "at most " + number(part.bound) + " ulp expected";
    return outcome;
}

std::vector<Outcome> run()
{
    std::vector<Outcome> outcomes;
    const auto take = [&](const auto& parts) {
        for (const auto& part : parts) {
            const std::string kernel = kernel_name(part.kernels);
            const bool taken = !outcomes.empty() && outcomes.back().name == part.name;
            const bool holds = !part.form || kernel.starts_with(part.form);
            if (!taken && holds) outcomes.push_back(outcome_of(part, kernel));
        }
    };
    take(integer_parts);
    take(real_parts);
    return outcomes;
}

static void print(const std::vector<Outcome>& outcomes)
{
    for (const Outcome& part : outcomes)
        std::printf("%-26s %-17s %-14s %s%s\n", part.name.c_str(), part.result.c_str(), part.kernel.c_str(),
                    part.equal ? "equal" : "DIFFERS, ", part.difference.c_str());
}

static void print_json(const std::vector<Outcome>& outcomes, bool equal)
{
    JsonObject chosen, parts, text;
    for (const FamilyKernel& kernel : kernels()) chosen.add(kernel.family, kernel.name);
    for (const Outcome& part : outcomes) {
        JsonObject row;
        row.add("equal", part.equal).add("result", part.result).add("kernel", part.kernel);
        std::vector<std::string> values;
        for (const double v : part.reals) {
            char hexadecimal[40];
            std::snprintf(hexadecimal, sizeof hexadecimal, "%a", v);
            values.push_back(hexadecimal);
        }
        if (!values.empty()) row.add("values", values);
        parts.add(part.name.c_str(), row);
    }
    text.add("equal", equal).add("bits", int64_t(8 * sizeof(void*)));
    text.add("classification", hex(_CPU()->classification).substr(8));
    std::printf("%s\n", text.add("kernels", chosen).add("parts", parts).text().c_str());
}

int report(const std::vector<Outcome>& outcomes, bool json)
{
    const auto differing =
        std::count_if(outcomes.begin(), outcomes.end(), [](const Outcome& o) { return !o.equal; });
    if (json)
        print_json(outcomes, differing == 0);
    else
        print(outcomes);
    if (differing == 0) {
        if (!json) std::printf("all %zu parts as they must be\n", outcomes.size());
        return 0;
    }
    std::fprintf(stderr, "zovek: selftest: %d of %zu parts differ:", int(differing), outcomes.size());
    for (const Outcome& part : outcomes)
        if (!part.equal) std::fprintf(stderr, " %s;", part.name.c_str());
    std::fprintf(stderr, " the library doesn't compute here what it must\n");
    return 1;
}
} // namespace client::selftest
