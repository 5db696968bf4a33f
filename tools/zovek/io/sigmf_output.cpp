#include "io/sigmf_output.h"
#include "line/failure.h"
#include "words/words.h"
#include <bit>
#include <zovek/base.h>

namespace client {
using namespace words;
namespace {
// The name of the pair without its ending.
std::string stem_of(const std::string& path)
{
    for (const std::string end : {".sigmf-meta", ".sigmf-data"})
        if (ends_with_word(path, end) && path.size() > end.size())
            return path.substr(0, path.size() - end.size());
    throw WrongUsage("I/Q is written as SigMF: '" + path + "' doesn't end in .sigmf-meta or .sigmf-data");
}
} // namespace

SigMFOutput::SigMFOutput(const std::string& path)
    : data_(stem_of(path) + ".sigmf-data"), meta_(stem_of(path) + ".sigmf-meta")
{
}

void SigMFOutput::write(std::span<const float> pairs)
{
    std::string bytes;
    bytes.reserve(4 * pairs.size());
    for (const float value : pairs)
        for (int shift = 0; shift < 32; shift += 8) bytes += char(std::bit_cast<uint32_t>(value) >> shift);
    data_.put(bytes.data(), bytes.size());
}

void SigMFOutput::finish(const Description& about)
{
    const std::string version = std::to_string(ZV_VERSION_MAJOR) + "." + std::to_string(ZV_VERSION_MINOR) +
                                "." + std::to_string(ZV_VERSION_PATCH);
    JsonObject global, capture;
    global.add("core:version", "1.0.0")
        .add("core:datatype", "cf32_le")
        .add_exact("core:sample_rate", about.rate);
    global.add("core:recorder", "zovek " + version).add("core:description", about.description);
    capture.add("core:sample_start", int64_t(0)).add_exact("core:frequency", about.centre);
    if (about.started) capture.add("core:datetime", exact_time(*about.started));
    const std::string text = JsonObject()
                                 .add("global", global)
                                 .add("captures", std::vector{capture})
                                 .add("annotations", std::vector<JsonObject>())
                                 .text() +
                             "\n";
    meta_.put(text.data(), text.size());
    data_.finish();
    meta_.finish();
}
} // namespace client
