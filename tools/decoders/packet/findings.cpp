#include "decoders/packet/findings.h"
#include <algorithm>
#include <cmath>
#include <utility>

namespace decoders::packet {
namespace {
constexpr double kept = 4;          // s of findings: longer than a codeword behind its frame
constexpr double same_frame = 0.25; // s: the same frame again so soon is one that another branch found
} // namespace

void Findings::Listener::push(float soft, double time)
{
    ++bits_;
    for (auto& found : {deframer_.push(soft), fx25_.push(soft)})
        if (found) findings_.find(*this, *found, time - double(bits_ - found->end) / findings_.baud_);
}

void Findings::forget(double now)
{
    std::erase_if(findings_, [now](const Finding& finding) { return finding.end < now - kept; });
}

void Findings::find(const Listener& listener, Deframer::Found found, double end)
{
    const auto fields = parse_ax25(found.frame);
    if (!fields) return;
    const double begin = end - double(found.end - found.begin) / baud_;
    const bool clean = found.flipped == 0;
    // A preamble that a branch misheard repeats itself, and passes for addresses of control characters.
    // So a check sequence that is right by chance would come once in some thousand packets: other
    // branches must agree.
    bool agreed = clean && (fields->shown_calls || found.mended || listeners_.size() == 1);
    for (Finding& earlier : findings_) {
        if (earlier.found.frame != found.frame || std::fabs(earlier.end - end) > same_frame) continue;
        if (earlier.emitted) return;
        if (earlier.listener != &listener) agreed = true;
    }
    findings_.push_back({std::move(found), *fields, begin, end, &listener});
    Finding& finding = findings_.back();
    if (!agreed) return;
    // Of two readings of one transmission, the first that was sure enough holds.
    if (!clean && std::ranges::any_of(findings_, [&](const Finding& other) {
            return other.emitted && other.begin < finding.end - 0.02 && finding.begin < other.end - 0.02;
        }))
        return;
    finding.emitted = true;
    emit(finding);
}

void Findings::emit(const Finding& finding)
{
    const Ax25& fields = finding.fields;
    Message message{.time = finding.begin, .text = fields.monitor(), .frame = finding.found.frame};
    message.level = intake_.level(finding.begin, finding.end);
    std::vector<std::string> path;
    for (const std::string& digipeater : fields.path) path.push_back(words::printable(digipeater));
    message.fields.add("source", words::printable(fields.source))
        .add("destination", words::printable(fields.destination))
        .add("path", path)
        .add("kind", fields.kind)
        .add("control", int64_t(fields.control));
    if (fields.pid >= 0) message.fields.add("pid", int64_t(fields.pid));
    message.fields.add("info", words::printable(fields.info)).add("frame", words::hex(finding.found.frame));
    if (finding.found.mended) message.fields.add("mended", int64_t(*finding.found.mended));
    if (repair_) message.fields.add("repaired", int64_t(finding.found.flipped));
    emit_(message);
}
} // namespace decoders::packet
