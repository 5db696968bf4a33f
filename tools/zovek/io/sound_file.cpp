#include "io/sound_file.h"
#include "io/narrow.h"
#include "io/sound_stream.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/failure.h"
#include "words/words.h"
#include <algorithm>
#include <cmath>
#include <vector>

namespace client {
using namespace words;
namespace {
constexpr char from_a_file[] = " is read from a file, not from a pipe";
constexpr int highest_rate = 250'000'000;            // Hz; no header tells the truth with more
constexpr sf_count_t most_frames = int64_t(1) << 46; // a greater number stands for none

using Opened = std::unique_ptr<SNDFILE, int (*)(SNDFILE*)>;

int coding(int format) { return format & SF_FORMAT_SUBMASK; }
int container(int format) { return format & SF_FORMAT_TYPEMASK; }

// Codings in blocks go on with what they have left when a pipe is at its end, so they are read frame by frame
// there: what a read that found nothing brought is none.
bool invents_frames(int format)
{
    constexpr int codings[] = {SF_FORMAT_IMA_ADPCM,    SF_FORMAT_MS_ADPCM,     SF_FORMAT_GSM610,
                               SF_FORMAT_G721_32,      SF_FORMAT_G723_24,      SF_FORMAT_G723_40,
                               SF_FORMAT_NMS_ADPCM_16, SF_FORMAT_NMS_ADPCM_24, SF_FORMAT_NMS_ADPCM_32};
    return std::ranges::count(codings, coding(format));
}

// Codings that want to have seen the end of the file at the start.
bool comes_by_pipe(int format)
{
    constexpr int never[] = {SF_FORMAT_DWVW_12, SF_FORMAT_DWVW_16, SF_FORMAT_DWVW_24, SF_FORMAT_DWVW_N,
                             SF_FORMAT_ALAC_16, SF_FORMAT_ALAC_20, SF_FORMAT_ALAC_24, SF_FORMAT_ALAC_32};
    return !std::ranges::count(never, coding(format)) &&
           !(container(format) == SF_FORMAT_W64 && coding(format) == SF_FORMAT_IMA_ADPCM);
}

// A file of samples of one of the three types that libsndfile gives.
template <class Sample>
class SoundFile : public Input {
public:
    using ReadFrames = sf_count_t (*)(SNDFILE*, Sample*, sf_count_t);

    SoundFile(ReadFrames read_frames, std::unique_ptr<SoundStream> stream, SoundHeader header, Opened file,
              const SF_INFO& info)
        : read_frames_(read_frames),
          stream_(std::move(stream)),
          header_(std::move(header)),
          format_(info.format),
          one_by_one_(!stream_->is_file() && invents_frames(info.format)),
          missed_(missed()),
          file_(std::move(file))
    {
        // A pipe's is a guess of libsndfile's where the header doesn't tell.
        const bool known = stream_->is_file() || container(format_) == SF_FORMAT_FLAC || header_.bytes > 0;
        if (known && info.frames < most_frames) announced = info.frames;
    }

    size_t read(int16_t* samples, size_t frames) override { return give(samples, frames); }
    size_t read(int32_t* samples, size_t frames) override { return give(samples, frames); }

private:
    template <class To>
    size_t give(To* samples, size_t frames)
    {
        size_t got = 0;
        while (got < frames && !ended_ && !stop_signal()) {
            if (given_ == filled_) fill(frames - got);
            const size_t some = std::min(frames - got, filled_ - given_), frame = size_t(channels);
            for (size_t k = given_ * frame; k < (given_ + some) * frame; ++k)
                *samples++ = to_bits<To>(block_[k]);
            given_ += some;
            got += some;
            count(some);
        }
        return got;
    }

    // Frames. Whole blocks of SDS, which hold 30, 40 or 60: of its last one libsndfile gives what the call
    // takes that comes to it, and no more. Its 32-bit samples come without a cut in between.
    static constexpr size_t piece = 34 * 120;

    // Gets frames into the block: of a file a whole piece, of a pipe no more than are wanted now.
    void fill(size_t wanted)
    {
        wanted = one_by_one_ ? 1 : stream_->is_file() ? piece : std::min(piece, wanted);
        block_.resize(wanted * size_t(channels));
        const sf_count_t count = read_frames_(file_.get(), block_.data(), sf_count_t(wanted));
        filled_ = size_t(std::clamp<sf_count_t>(count, 0, sf_count_t(wanted)));
        if (one_by_one_ && missed() > missed_) filled_ = 0;
        given_ = 0;
        check();
        if (filled_ == 0 && !stop_signal()) end();
    }

    // Reads that found no block. Of a block that isn't whole libsndfile counts the frames, but in this
    // coding.
    int64_t missed() const
    {
        return coding(format_) == SF_FORMAT_MS_ADPCM ? stream_->short_reads() : stream_->vain_reads();
    }

    // Keeps in mind what libsndfile tells of the last read.
    void check()
    {
        if (!stream_->source.trouble().empty()) throw Failure(name, stream_->source.trouble());
        const int error = sf_error(file_.get());
        if (error == SF_ERR_SYSTEM) throw Failure(name, sf_strerror(file_.get()));
        error_ = error_ || error != SF_ERR_NO_ERROR;
    }

    void end()
    {
        ended_ = true;
        const bool went_on = stream_->passed_damage();
        faults.unfinished = header_.unfinished;
        if (header_.bytes >= 0 && !header_.unfinished)
            faults.truncated =
                (stream_->is_file() || stream_->ended()) && stream_->length() < header_.begin + header_.bytes;
        else if (container(format_) == SF_FORMAT_FLAC)
            faults.truncated = taken < announced && !went_on;
        else if (container(format_) == SF_FORMAT_OGG)
            faults.truncated = !has_last_page(stream_->tail());
        // Its last page tells how many there are, and what was damaged is passed over in silence.
        const bool lacking = container(format_) == SF_FORMAT_OGG && taken < announced;
        faults.damaged = went_on || (!faults.truncated && (error_ || lacking));
    }

    const ReadFrames read_frames_;
    const std::unique_ptr<SoundStream> stream_; // libsndfile's, or beside its own file
    const SoundHeader header_;
    const int format_;
    const bool one_by_one_;
    const int64_t missed_; // reads by which libsndfile looked for what is behind the samples
    const Opened file_;
    std::vector<Sample> block_;
    size_t filled_ = 0, given_ = 0; // frames of it
    bool error_ = false;            // of libsndfile
    bool ended_ = false;
};

std::unique_ptr<Input> input_for(std::unique_ptr<SoundStream> stream, const SoundHeader& header, Opened file,
                                 const SF_INFO& info)
{
    const auto by = [&]<class Sample>(sf_count_t (*read)(SNDFILE*, Sample*, sf_count_t)) {
        return std::make_unique<SoundFile<Sample>>(read, std::move(stream), header, std::move(file), info);
    };
    stream->serve(file.get());
    if (container(info.format) == SF_FORMAT_SDS) return by(sf_readf_int);
    switch (coding(info.format)) {
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
        return by(sf_readf_int);
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
        return by(sf_readf_short);
    default:
        return by(sf_readf_float);
    }
}

std::string why_not_opened(const SoundHeader& header, bool by_pipe)
{
    if (header.container)
        return std::string(header.container) +
               ", but damaged or truncated in its header, or in a coding that " +
               (by_pipe ? "a pipe can't bring" : "isn't read");
    if (sf_error(nullptr) == SF_ERR_UNRECOGNISED_FORMAT || sf_error(nullptr) == SF_ERR_NO_ERROR)
        return "not an audio file (raw samples need -t raw and their rate)";
    return "not an audio file, or one with a damaged or truncated header";
}

// By libsndfile's own means where it can be; a pipe and a header to be mended pass through the stream.
Opened open_with_libsndfile(const std::string& path, SoundStream& stream, const SoundHeader& header,
                            SF_INFO& info)
{
    SNDFILE* file;
    constexpr int64_t most_in_blocks = 1 << 29; // bytes
    const int64_t all = stream.is_file()   ? stream.length() - header.begin
                        : header.in_blocks ? most_in_blocks
                                           : SoundStream::endless - header.begin;
    const bool mend = header.unfinished || header.to_the_end || header.too_long ||
                      (header.bytes > all && (header.must_fit || (header.in_blocks && !stream.is_file())));
    if (mend) stream.mend(header.patches(all));
    const bool watch = header.container && header.container == std::string("FLAC"); // for damage
    if (mend || watch || !stream.is_file())
        file = sf_open_virtual(SoundStream::functions(), SFM_READ, &info, &stream);
    else if (path != "-")
        file = system::open_sound(path, &info);
    else {
        stream.source.seek(0);
        file = sf_open_fd(0, SFM_READ, &info, SF_FALSE);
    }
    return Opened(file, sf_close);
}
} // namespace

std::unique_ptr<Input> open_sound_file(const std::string& path, const std::string& name)
{
    auto stream = std::make_unique<SoundStream>(path);
    const Bytes bytes = [&](int64_t position, int64_t count) { return stream->bytes(position, count); };
    const SoundHeader header = read_sound_header(bytes);
    if (!stream->source.trouble().empty()) throw Failure(name, stream->source.trouble());
    if (stream->length() == 0)
        throw Failure(name, stop_signal() ? "stopped before it began" : "empty, without even a header");
    if (!stream->is_file() && !header.by_pipe)
        throw Failure(
            name, header.container
                      ? header.container + std::string(from_a_file)
                      : "not an audio file that a pipe can bring (raw samples need -t raw and their rate)");
    SF_INFO info = {};
    Opened file = open_with_libsndfile(path, *stream, header, info);
    if (!stream->source.trouble().empty()) throw Failure(name, stream->source.trouble());
    // By its name alone libsndfile takes a file for raw samples.
    if (!file || container(info.format) == SF_FORMAT_RAW)
        throw Failure(name, why_not_opened(header, !stream->is_file()));
    if (!stream->is_file() && !comes_by_pipe(info.format))
        throw Failure(name, "in this coding " + std::string(header.container) + from_a_file);
    if (info.samplerate > highest_rate)
        throw Failure(name, "a sampling rate of " + std::to_string(info.samplerate) + " Hz, which is damage");
    if (header.rate > 0 && header.rate != info.samplerate && std::fabs(header.rate - info.samplerate) <= 1)
        say(name + ": its rate of " + number(header.rate) + " Hz is taken for " + number(info.samplerate) +
            " Hz");
    std::shared_ptr<Timeline> timeline;
    if (const auto start = began(header, info.samplerate))
        timeline = std::make_shared<Timeline>(*start);
    else if (!stream->is_file())
        timeline = std::make_shared<Timeline>();
    auto input = input_for(std::move(stream), header, std::move(file), info);
    input->timeline = std::move(timeline);
    input->tuned = header.tuned;
    input->rate = info.samplerate;
    input->channels = info.channels;
    return input;
}
} // namespace client
