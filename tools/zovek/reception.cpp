#include "reception.h"
#include "io/talk.h"
#include <cmath>
#include <cstdlib>

namespace client {
using namespace words;
std::optional<Part> part_of(const Wishes& wishes)
{
    if (wishes.mode != Mode::wfm) return {};
    return Part{wishes.frequency, wishes.bandwidth.value_or(2 * passband(Mode::wfm).high)};
}

Reception::Reception(const ReceiveOptions& options, std::unique_ptr<Input> input)
    : options_(options),
      input_(std::move(input)),
      station_(*input_, options.wishes, options.level),
      plan_(station_.plan())
{
}

void Reception::tell_plan() const
{
    if (options_.verbose) say(options_.speaker + ": " + explain(plan_));
    if (options_.json) return;
    if (plan_.narrowed)
        say(options_.speaker + ": the band's edge leaves " + number(plan_.width) + " Hz of the station");
    const double reach = std::abs(plan_.station - plan_.centre) + plan_.width / 2;
    const double usable = usable_band * input_->rate / 2, rate = plan_.output_rate();
    if (plan_.centre && reach > usable)
        say(options_.speaker + ": the station lies where the band fades, more than " + number(usable) +
            " Hz from its centre");
    const double whole = std::round(rate);
    if (std::fabs(rate - whole) > 1e-9 * rate)
        say(options_.speaker + ": the audio's rate of " + number(rate) + " Hz stands as " + number(whole) +
            " Hz in a header (--audio-rate gives a whole one)");
}

void Reception::open()
{
    output_.emplace(options_.output, options_.period, int32_t(std::lround(plan_.output_rate())),
                    options_.mono ? 1 : 2, input_->timeline);
    if (!options_.iq_path.empty()) pairs_.emplace(options_.iq_path);
    if (options_.squelched) {
        const Mode mode = options_.wishes.mode;
        const bool carrier = mode == Mode::am || mode == Mode::sam || fm();
        squelch_.emplace(options_.threshold, carrier ? 0.1 : 1.5); // speech has pauses
        gate_.emplace(*squelch_, plan_.output_rate(), options_.mono ? 1 : 2, options_.overs_only);
    }
    if (pairs_ || squelch_)
        station_.record([this](std::span<const float> some) {
            if (pairs_) pairs_->write(some);
            if (squelch_) squelch_->look(some, plan_.detector_rate());
        });
}

bool Reception::hear()
{
    if (output_->full()) return false;
    const auto& audio = options_.mono ? station_.next_left() : station_.next();
    if (audio.empty()) return false;
    if (std::exchange(first_, false)) tell_neighbour();
    write(audio);
    return true;
}

void Reception::write(const std::vector<int32_t>& audio)
{
    if (gate_) return write_gated(gate_->pass(audio));
    const auto frames = int64_t(audio.size() / (options_.mono ? 1 : 2));
    output_->write(audio.data(), audio.size(), double(station_.frames() - frames) / plan_.output_rate());
}

void Reception::write_gated(const std::vector<int32_t>& audio)
{
    const auto& stretches = gate_->stretches();
    for (size_t k = 0; k < stretches.size(); ++k) {
        const size_t first = stretches[k].first,
                     end = k + 1 < stretches.size() ? stretches[k + 1].first : audio.size();
        output_->write(&audio[first], end - first, stretches[k].seconds);
    }
    output_->passed(gate_->decided());
}

void Reception::finish()
{
    if (gate_) write_gated(gate_->finish());
    output_->finish();
    if (pairs_) pairs_->finish(about_pairs());
}

int64_t Reception::recorded_rate() const
{
    return input_->recorded_rate ? input_->recorded_rate : input_->rate / input_->per_frame;
}

int64_t Reception::samples() const
{
    if (input_->recorded >= 0) return input_->recorded;
    return station_.heard() * recorded_rate() / input_->rate;
}

void Reception::tell_overs() const
{
    if (gate_->begins().empty()) return say(options_.speaker + ": no overs");
    say(options_.speaker + ": overs in the file at s, in the recording from s, to s, level in dB");
    for (size_t k = 0; k < gate_->begins().size(); ++k) {
        const Over& over = squelch_->overs()[k];
        char row[80];
        std::snprintf(row, sizeof row, "%10.2f %10.2f %10.2f %8.1f", gate_->begins()[k], over.begin, over.end,
                      over.level);
        say(row);
    }
}

void Reception::add_overs(JsonObject& summary) const
{
    std::vector<JsonObject> rows;
    for (size_t k = 0; k < gate_->begins().size(); ++k) {
        const Over& over = squelch_->overs()[k];
        rows.emplace_back().add("begin", over.begin).add("end", over.end).add("level", over.level);
        rows.back().add("file", gate_->begins()[k]);
        add_time(rows.back(), *input_, over.begin);
    }
    summary.add("overs", rows);
}

void Reception::tell_neighbour() const
{
    if (!plan_.crowded || options_.json) return;
    say(options_.speaker + ": a strong neighbour, so the station is taken " + number(plan_.width) +
        " Hz wide (--bandwidth keeps a width)");
    if (options_.verbose) say(options_.speaker + ": " + explain(plan_));
}

SigMFOutput::Description Reception::about_pairs() const
{
    const int64_t centre = plan_.mixer - plan_.centre + plan_.origin;
    return {.rate = plan_.detector_rate(),
            .centre = double(centre),
            .started = input_->timeline ? input_->timeline->at(0) : std::nullopt,
            .description = "a station of " + input_->name + " at " + exact(double(plan_.frequency())) +
                           " Hz, " + mode_names[int(options_.wishes.mode)] + ", as the detector gets it"};
}

JsonObject Reception::summary(const Pace& pace) const
{
    const Receiver::Readings& readings = station_.readings();
    JsonObject summary;
    summary.add("file", output_->name());
    if (output_->several()) summary.add("files", output_->files());
    summary.add("mode", mode_names[int(options_.wishes.mode)]);
    summary.add("frequency", plan_.frequency());
    if (input_->tuned) summary.add("center", input_->tuned->centre);
    add_time(summary, *input_);
    summary.add("samples", samples()).append(pace.json()).add("overloads", overloads());
    if (synchronous())
        summary.add("locked", readings.carrier_locked).add("carrier_offset", readings.carrier_offset);
    if (fm() && !plan_.wide) summary.add("noise_level", int64_t(readings.noise_level));
    summary.add("bandwidth", plan_.width)
        .add("input_rate", recorded_rate())
        .add("detector_rate", plan_.detector_rate());
    summary.add("output_rate", plan_.output_rate()).add("output_frames", frames());
    if (gate_) add_overs(summary);
    return summary.append(input_->faults.json());
}

std::string Reception::described(const Pace& pace) const
{
    const Receiver::Readings& readings = station_.readings();
    std::string line = std::to_string(samples()) + " samples, " + pace.text() + ", audio at " +
                       number(plan_.output_rate()) + " Hz to " + output_->described();
    if (overloads()) line += ", " + std::to_string(overloads()) + " overloaded blocks";
    if (synchronous())
        line += readings.carrier_locked ? ", carrier " + decimals(readings.carrier_offset) + " Hz off"
                                        : ", no carrier";
    if (fm() && !plan_.wide) line += ", noise level " + std::to_string(readings.noise_level);
    return line;
}
} // namespace client
