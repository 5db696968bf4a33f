#include "io/sigmf.h"
#include "io/source.h"
#include "line/failure.h"
#include "words/words.h"
#include <algorithm>
#include <climits>
#include <cmath>
#include <nlohmann/json.hpp>

namespace client {
using nlohmann::json;
using namespace words;
namespace {
constexpr int64_t most_bytes = 1 << 28; // of metadata: annotations of a long recording are some MB

struct Type {
    const char* name; // core:datatype
    const char* raw;  // what io/raw_input.h calls it
    int32_t channels; // of one channel there
};
constexpr Type types[] = {
    {"ci16_le", "cs16", 2}, {"ci8", "cs8", 2},     {"cu8", "cu8", 2},
    {"cf32_le", "cf32", 2}, {"ri16_le", "raw", 1}, {"rf32_le", "rf32", 1},
};

json metadata(const std::string& path)
{
    Source source(path);
    std::string text;
    for (std::string piece(1 << 16, 0); int64_t(text.size()) < most_bytes;) {
        const int64_t count = source.read(piece.data(), int64_t(piece.size()));
        text.append(piece, 0, size_t(count));
        if (count < int64_t(piece.size())) break;
    }
    if (!source.trouble().empty()) throw Failure(path, source.trouble());
    json read = json::parse(text, nullptr, false);
    if (!read.is_object()) throw Failure(path, "no metadata: it isn't a JSON object");
    return read;
}

// A member, if the object is one and has it, as a number or a text.
std::optional<double> quantity(const json& object, const char* name)
{
    if (!object.is_object() || !object.contains(name) || !object[name].is_number()) return {};
    return object[name].get<double>();
}

std::string word(const json& object, const char* name)
{
    if (!object.is_object() || !object.contains(name) || !object[name].is_string()) return {};
    return object[name].get<std::string>();
}

const Type& type_of(const json& global, const std::string& path)
{
    const std::string name = word(global, "core:datatype");
    const auto* row = std::ranges::find_if(types, [&](const Type& type) { return name == type.name; });
    if (row != std::end(types)) return *row;
    std::string list;
    for (const Type& type : types) list += (list.empty() ? "" : ", ") + std::string(type.name);
    throw Failure(path, "samples of core:datatype '" + printable(name) + "' aren't read; these are: " + list);
}
} // namespace

std::optional<SigMF> read_sigmf(const std::string& path)
{
    const std::string meta = ".sigmf-meta", data = ".sigmf-data";
    if (!ends_with_word(path, meta) && !ends_with_word(path, data)) return {};
    const std::string stem = path.substr(0, path.size() - meta.size());
    const std::string described = ends_with_word(path, meta) ? path : stem + meta;
    const json all = metadata(described), none = json::object();
    const json& global = all.contains("global") ? all["global"] : none;
    const Type& type = type_of(global, described);
    const double rate = quantity(global, "core:sample_rate").value_or(0);
    if (!(rate >= 1 && rate <= INT32_MAX) || rate != std::floor(rate))
        throw Failure(described, "core:sample_rate is no rate in whole Hz");
    const double channels = quantity(global, "core:num_channels").value_or(1);
    if (channels < 1 || channels > 1024 || (type.channels == 2 && channels != 1))
        throw Failure(described, "I/Q of several channels isn't read");
    SigMF result = {ends_with_word(path, meta) ? stem + data : path,
                    type.raw,
                    int32_t(rate),
                    type.channels * int32_t(channels),
                    {}};
    const json& captures = all.contains("captures") && all["captures"].is_array() ? all["captures"] : none;
    for (const json& capture : captures) {
        if (quantity(capture, "core:header_bytes").value_or(0) != 0)
            throw Failure(described, "samples behind a header (core:header_bytes) aren't read");
        const bool first = &capture == &captures.front();
        if (first) result.started = parse_time(word(capture, "core:datetime"));
        const auto centre = quantity(capture, "core:frequency");
        const bool known = centre && std::fabs(*centre) <= highest_tuned;
        if (known && first)
            result.tuned = {std::llround(*centre), "its metadata"};
        else if (result.tuned && (!known || std::llround(*centre) != result.tuned->centre))
            result.tuned.reset(); // it was tuned to something else in between
    }
    return result;
}
} // namespace client
