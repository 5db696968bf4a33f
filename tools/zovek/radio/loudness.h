// Speech at one loudness: a slow gain that follows what is spoken and waits in the pauses, and behind it a
// limiter that sees peaks before they come.
#pragma once
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace client {
// Keeps what it is given within -1 to 1: a gain that has come down when a peak comes, and goes up again in
// 0.1 s. It is the mean, over as many samples as it looks ahead, of the least gain that any of them bears.
class Limiter {
public:
    explicit Limiter(size_t ahead) : gains_(ahead, 1.0F), waiting_(ahead), sum_(double(ahead)) {}

    // The sample of ahead - 1 calls before, limited. up is the share of the way to 1 that the gain goes up
    // with.
    float push(float sample, float up);

private:
    struct Least {
        float gain;
        uint64_t place;
    };
    std::deque<Least> least_; // gains that no later one is below, the lowest first
    std::vector<float> gains_, waiting_;
    double sum_; // of gains_
    float gain_ = 1;
    uint64_t place_ = 0; // samples so far
};

class Loudness {
public:
    // For audio at a rate in Hz.
    explicit Loudness(double rate);

    // Samples by which the audio comes out late.
    size_t delay() const { return ahead_ - 1; }

    // A sample of audio, full scale 1, and one within full scale. In a gap of the signal the gain stays.
    float push(float sample, bool gap);

private:
    void end_frame();
    bool is_speech(double power);
    void take(double power);

    const size_t frame_, ahead_; // samples
    const float up_;             // of the limiter
    Limiter limiter_;
    // Powers, of full scale 1.
    double power_ = 0;  // sum of the frame so far
    size_t taken_ = 0;  // samples of it
    bool gap_ = false;  // in it
    double smooth_ = 0; // of the last frames
    std::deque<double>
        floors_;        // the least of smooth_ in each of the last pieces of a second, the newest last
    size_t frames_ = 0; // of that piece
    double idle_ = 0;   // s without speech
    double level_ = 0;  // of the speaker; 0: none yet
    double count_ = 0;  // frames that it is the mean of
    double short_ = 0;  // mean of the speaker's last frames
    std::deque<double> recent_; // short_ over the last frames of speech
    float gain_, step_ = 0;     // of this sample, and to the next
};
} // namespace client
