// A recording as libsndfile wants it where it can't open the file itself: a pipe, or a file whose header
// needs mending.
//
// A pipe keeps its first bytes, so that headers can be read twice, and its last, so that FLAC can look for
// the next frame in a damaged one. A position beyond what has come is remembered, and reads there give
// nothing, which ends the search for chunks behind the samples. The length of a pipe is said to be
// endless, so that libsndfile believes the header's frames, and one that is shorter shows itself when it
// ends.
#pragma once
#include "io/sound_header.h"
#include "io/source.h"
#include <sndfile.h>
#include <utility>

namespace client {
class SoundStream {
public:
    explicit SoundStream(const std::string& path) : source(path) {}

    static SF_VIRTUAL_IO* functions();

    // So many bytes from a position on, or as many as there are; of a pipe among the first ones alone.
    std::string bytes(int64_t position, int64_t count);
    // Puts bytes in the place of the header's, and goes back to the start.
    void mend(std::vector<Patch> patches) { patches_ = std::move(patches); }

    bool is_file() const { return source.is_file(); }
    // Bytes: of a file; of a pipe those that came so far.
    int64_t length() const { return is_file() ? source.length() : came_; }
    // The last of them, as many as a page of Ogg may have at least.
    std::string tail();
    // Says who reads here. Where the reader finds damage in a FLAC, it would end with the next read or seek
    // of its own; so that it goes on behind it, the error is taken from it there.
    void serve(SNDFILE* reader) { reader_ = reader; }
    bool passed_damage() const { return passed_damage_; }
    // A pipe has come to its end.
    bool ended() const { return ended_; }
    // Reads so far that gave nothing at all, and those that gave less than they should.
    int64_t vain_reads() const { return vain_reads_; }
    int64_t short_reads() const { return short_reads_; }

    static constexpr int64_t endless = int64_t(1) << 50; // bytes of a pipe, as it is said: more than any has

    Source source;

private:
    static constexpr int64_t kept = 1 << 16; // bytes; headers are shorter
    static SoundStream& of(void* self) { return *static_cast<SoundStream*>(self); }

    int64_t seek(int64_t offset, int whence);
    int64_t read(char* to, int64_t bytes);
    int64_t read_file(char* to, int64_t bytes);
    int64_t read_pipe(char* to, int64_t bytes);
    int64_t take(char* to, int64_t bytes);
    void pass_damage();

    std::vector<Patch> patches_;
    std::string head_, tail_; // of a pipe: the first bytes, and the last
    int64_t came_ = 0;        // bytes of the pipe; the position of a file
    int64_t position_ = 0;    // libsndfile's
    int64_t vain_reads_ = 0, short_reads_ = 0;
    bool ended_ = false, passed_damage_ = false;
    SNDFILE* reader_ = nullptr;
};
} // namespace client
