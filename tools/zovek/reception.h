// One station's way from a band to its files: received, behind a squelch if wished, written, and told of.
#pragma once
#include "io/iq.h"
#include "io/pieces.h"
#include "io/progress.h"
#include "io/sigmf_output.h"
#include "radio/gate.h"
#include "radio/station.h"
#include "words/words.h"
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace client {
// Of what --bandwidth takes, Hz.
constexpr double least_bandwidth = 50, most_bandwidth = 1e9; // beyond any recording

// What receive is asked for.
struct ReceiveOptions {
    std::string speaker = "receive"; // what its lines begin with
    InputOptions input;
    IQOptions iq;
    OutputOptions output;
    Period period; // of a piece
    Wishes wishes;
    Level level;
    std::optional<double> deemphasis; // asked for, s; 0: none, though the mode has one
    std::string iq_path;              // of a SigMF recording; empty: none
    bool squelched = false, overs_only = false;
    std::optional<double> threshold; // of the squelch, dB; nothing: by noise
    bool mono = false, json = false, verbose = false;
};

// What a station needs of a band, if it is so wide that it pays for a rate of its own.
std::optional<Part> part_of(const Wishes& wishes);

class Reception {
public:
    // Fails with the reason if the station can't be received.
    Reception(const ReceiveOptions& options, std::unique_ptr<Input> input);

    // Says what the listener should know of the plan.
    void tell_plan() const;
    // Opens what is written. Fails with the reason.
    void open();
    // Hears and writes some audio; false at the band's end, or once the output takes no more.
    bool hear();
    // Completes what is written. A full output's reason is thrown when that is done.
    void finish();

    double seconds() const { return station_.seconds(); } // of the band so far
    const Input& input() const { return *input_; }

    // What has been received, at which pace, as a summary.
    words::JsonObject summary(const Pace& pace) const;
    std::string described(const Pace& pace) const;
    // The overs of the squelch, as a table.
    void tell_overs() const;

private:
    void write(const std::vector<int32_t>& audio); // the station's next
    void write_gated(const std::vector<int32_t>& audio);
    int64_t frames() const { return gate_ ? gate_->frames() : station_.frames(); } // written
    void add_overs(words::JsonObject& summary) const;
    bool synchronous() const { return plan_.mode == ZVDemodMode_SyncAM; }
    void tell_neighbour() const;
    bool fm() const { return plan_.mode == ZVDemodMode_FM; }
    int64_t overloads() const { return station_.overloads() + input_->overloads; }
    // Of the recording: Hz; so far, which at a lower rate than its own is a rounded figure up to its end.
    int64_t recorded_rate() const;
    int64_t samples() const;
    SigMFOutput::Description about_pairs() const;

    const ReceiveOptions& options_;
    const std::unique_ptr<Input> input_;
    Station station_;
    const Plan& plan_;
    std::optional<Pieces> output_;
    std::optional<SigMFOutput> pairs_;
    std::optional<Squelch> squelch_;
    std::optional<Gate> gate_;
    bool first_ = true; // no audio was heard yet
};
} // namespace client
