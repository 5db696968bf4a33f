#include "stations.h"
#include "io/broadcast.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/failure.h"
#include <algorithm>
#include <cmath>
#include <exception>
#include <filesystem>
#include <iterator>
#include <map>
#include <thread>

namespace client {
using namespace words;
namespace {
// The station's mode is one that an option is for.
bool has_deemphasis(const ReceiveOptions& station)
{
    return station.wishes.mode == Mode::fm || station.wishes.mode == Mode::wfm;
}
bool has_pitch(const ReceiveOptions& station) { return station.wishes.mode == Mode::cw; }
bool has_offset(const ReceiveOptions& station)
{
    return station.wishes.mode == Mode::usb || station.wishes.mode == Mode::lsb;
}

// The file that a name stands for, by whatever way.
std::string file_of(const std::string& name)
{
    std::error_code none;
    const std::filesystem::path path(std::u8string(name.begin(), name.end()));
    const auto whole = std::filesystem::weakly_canonical(std::filesystem::absolute(path, none), none);
    const std::u8string text = none ? path.u8string() : whole.u8string();
    return {text.begin(), text.end()};
}

// A station on its way.
struct Way {
    std::unique_ptr<Reception> reception;
    Pace pace = {};
    std::exception_ptr failure;

    // Work whose failure is this station's own.
    template <class Work>
    void attempt(const Work& work)
    {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
    }
    std::string why() const
    {
        try {
            std::rethrow_exception(failure);
        } catch (const std::bad_alloc&) {
            return "out of memory";
        } catch (const std::exception& error) {
            return error.what();
        }
    }
};

bool wants_part(const ReceiveOptions& station) { return bool(part_of(station.wishes)); }

class Crowd {
public:
    Crowd(const std::vector<ReceiveOptions>& stations, const ReceiveOptions& common)
        : stations_(stations),
          common_(common),
          pairs_(is_iq(common.input, common.iq) && std::ranges::any_of(stations, wants_part)),
          input_(pairs_ ? open_pairs(common.input, common.iq) : open_band(common.input, common.iq)),
          broadcast_(*input_, pairs_ ? std::vector<size_t>{0, 1} : std::vector{size_t(input_->channel)}),
          ways_(stations.size())
    {
        set_up();
        tell_centre(*input_);
        for (const Way& way : ways_) way.reception->tell_plan();
    }

    int run()
    {
        watch_for_stop();
        for (const Way& way : ways_) way.reception->open();
        pass();
        const Pace pace = progress_.end(broadcast_.seconds());
        if (common_.json) {
            report(summary(pace));
        } else {
            input_->tell_end("receive", of_audio);
            for (const Way& way : ways_) {
                if (way.failure) continue;
                if (common_.overs_only) way.reception->tell_overs();
                say("receive: " + way.reception->described(way.pace));
            }
        }
        return exit_status(std::ranges::any_of(ways_, [](const Way& way) { return bool(way.failure); }));
    }

private:
    // The oscillator's table takes its time.
    void set_up()
    {
        std::vector<std::unique_ptr<Input>> listeners;
        std::ranges::generate_n(std::back_inserter(listeners), ptrdiff_t(ways_.size()),
                                [this] { return broadcast_.listen(); });
        std::vector<std::jthread> threads;
        for (size_t k = 0; k < ways_.size(); ++k)
            threads.push_back(beside([&, k] {
                ways_[k].attempt([&] {
                    const ReceiveOptions& station = stations_[k];
                    auto band = pairs_ ? band_of(std::move(listeners[k]), station.iq, part_of(station.wishes))
                                       : std::move(listeners[k]);
                    ways_[k].reception = std::make_unique<Reception>(station, std::move(band));
                });
            }));
        threads.clear();
        for (const Way& way : ways_)
            if (way.failure) std::rethrow_exception(way.failure);
    }

    void pass()
    {
        std::vector<std::jthread> threads;
        try {
            for (size_t k = 0; k < ways_.size(); ++k) threads.push_back(beside([this, k] { receive(k); }));
            while (broadcast_.pass()) progress_.show(broadcast_.seconds());
        } catch (...) {
            broadcast_.abandon();
            throw;
        }
    }

    void receive(size_t k)
    {
        Way& way = ways_[k];
        way.attempt([&] {
            while (way.reception->hear()) {}
            broadcast_.leave(k);
            way.pace = {way.reception->seconds(), clock_.seconds()};
            way.reception->finish();
        });
        if (!way.failure || broadcast_.abandoned()) return;
        broadcast_.leave(k);
        complain(way.why());
    }

    JsonObject summary(const Pace& pace) const
    {
        std::vector<JsonObject> rows;
        for (const Way& way : ways_) {
            rows.push_back(way.reception->summary(way.pace));
            if (way.failure) rows.back().add("error", way.why());
        }
        return JsonObject().add("stations", rows).append(pace.json()).append(input_->faults.json());
    }

    const std::vector<ReceiveOptions>& stations_;
    const ReceiveOptions& common_;
    const bool pairs_; // I/Q is passed on as it is, for a station that takes a part of it
    const std::unique_ptr<Input> input_;
    Broadcast broadcast_;
    std::vector<Way> ways_;
    const Clock clock_;
    Progress progress_;
};
} // namespace

StationWish station_wish(const std::string& text)
{
    const auto wrong = [&](const std::string& what) { return WrongValue(text + ": " + what); };
    const size_t first = text.find(':'), second = text.find(':', first + 1);
    if (first == std::string::npos || second == std::string::npos || second + 1 == text.size())
        throw WrongValue(not_a("FREQUENCY:MODE:FILE", text));
    const auto frequency = parse_quantity(text.substr(0, first), "Hz");
    if (!frequency || *frequency != std::floor(*frequency) || std::fabs(*frequency) > highest_tuned)
        throw wrong(not_a("a frequency in whole Hz", text.substr(0, first)));

    const std::string way = text.substr(first + 1, second - first - 1), mode = way.substr(0, way.find(','));
    const auto* row =
        std::ranges::find_if(mode_names, [&](const char* name) { return same_word(name, mode); });
    if (row == std::end(mode_names)) {
        std::string names;
        for (const char* name : mode_names) names += (names.empty() ? "" : ", ") + std::string(name);
        throw wrong("'" + mode + "' is no mode; there are " + names);
    }
    StationWish wish = {.frequency = int64_t(*frequency),
                        .mode = Mode(row - mode_names),
                        .bandwidth = {},
                        .path = text.substr(second + 1)};
    if (mode.size() < way.size()) {
        const std::string setting = way.substr(mode.size() + 1), name = "bandwidth=";
        if (setting.starts_with(name)) wish.bandwidth = parse_quantity(setting.substr(name.size()), "Hz");
        if (!wish.bandwidth || *wish.bandwidth < least_bandwidth || *wish.bandwidth > most_bandwidth)
            throw wrong("behind the mode there may be bandwidth=HZ, not '" + setting + "'");
    }
    if (wish.path == "-") throw wrong("a station goes to a file, not to standard output");
    return wish;
}

std::vector<ReceiveOptions> options_of(const std::vector<StationWish>& wishes, const ReceiveOptions& common)
{
    std::vector<ReceiveOptions> stations;
    std::map<std::string, std::string> files;
    for (const StationWish& wish : wishes) {
        const auto [other, fresh] = files.emplace(file_of(wish.path), wish.path);
        if (!fresh)
            throw WrongUsage("--station: two stations to one file: " + other->second +
                             (other->second == wish.path ? "" : " and " + wish.path));
        ReceiveOptions& station = stations.emplace_back(common);
        station.speaker += ": " + wish.path;
        station.output.path = wish.path;
        station.wishes.mode = wish.mode;
        station.wishes.frequency = wish.frequency;
        if (wish.bandwidth) station.wishes.bandwidth = wish.bandwidth;
    }
    // What one mode has a use for is for its stations, and needs one.
    const auto keep = [&](bool (*has)(const ReceiveOptions&), const auto& value) {
        if (std::ranges::none_of(stations, has)) return;
        for (ReceiveOptions& station : stations)
            if (!has(station)) value(station).reset();
    };
    keep(
        has_deemphasis, [](ReceiveOptions & station) -> auto& { return station.deemphasis; });
    keep(
        has_pitch, [](ReceiveOptions & station) -> auto& { return station.wishes.pitch; });
    keep(
        has_offset, [](ReceiveOptions & station) -> auto& { return station.wishes.offset; });
    for (ReceiveOptions& station : stations) station = checked(std::move(station));
    return stations;
}

ReceiveOptions checked(ReceiveOptions options)
{
    constexpr double wide_deemphasis = 50e-6; // s, of most of the world
    const Mode mode = options.wishes.mode;
    const bool fm = mode == Mode::fm || mode == Mode::wfm;
    if (options.wishes.offset && !has_offset(options)) throw WrongUsage("--offset is for usb and lsb");
    if (options.overs_only && !options.squelched) throw WrongUsage("--overs-only needs --squelch");
    if (options.squelched && !options.threshold && !fm)
        throw WrongUsage("--squelch noise is for fm and wfm: a level in dB");
    if (options.wishes.pitch && !has_pitch(options)) throw WrongUsage("--pitch is for cw");
    if (mode == Mode::isb && (options.level.agc || options.mono))
        throw WrongUsage("isb has two channels: neither --agc nor --mono");
    if (options.deemphasis && !has_deemphasis(options)) throw WrongUsage("--deemphasis is for fm and wfm");
    if (fm && options.level.iq_agc) throw WrongUsage("fm has no level: no --iq-agc");
    if (options.level.gain && (options.level.agc || options.level.iq_agc))
        throw WrongUsage("--gain is a fixed gain: neither --agc nor --iq-agc");
    const double deemphasis = options.deemphasis.value_or(mode == Mode::wfm ? wide_deemphasis : 0);
    if (deemphasis > 0) options.level.deemphasis = deemphasis;
    options.level.wide = wants_wide(options.output);
    return options;
}

int receive_stations(const std::vector<ReceiveOptions>& stations, const ReceiveOptions& common)
{
    return Crowd(stations, common).run();
}
} // namespace client
