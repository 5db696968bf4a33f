// Gain control, the demodulator mode by mode, the pitch shifter.
#include "parts.h"
#include <zovek.hpp>

namespace client::selftest {
void agc(Hash& hash)
{
    const zovek::AGC gain(ZVAGC_Construct);
    gain->gain_rise_rate = 0.01;
    gain->gain_fall_rate = 0.05;
    auto left = station(800, 44100, 3000, 100, 3000), right = station(800, 44100, 2000, 150, 20000);
    const auto count = static_cast<int32_t>(left.size());
    ZVAGC_Process_Stereo16(gain, left.data(), right.data(), count);
    ZVAGC_Process_Mono16(gain, left.data(), count, 1);
    ZVAGC_Process_Mono16(gain, right.data(), count, 2);
    hash.values(left);
    hash.values(right);
    gain->target_level = 600000000;
    ZVAGC_Reset(gain);
    auto low = noise<int32_t>(800, 9, 6), high = noise<int32_t>(800, 10);
    ZVAGC_Process_Stereo32(gain, low.data(), high.data(), count);
    ZVAGC_Process_Mono32(gain, low.data(), count, 1);
    for (int32_t n = 0; n < count; n += 100) ZVAGC_ProcessBuffer_Mono32(gain, high.data() + n, 100, 1);
    hash.values(low);
    hash.values(high);
}

// A station at 2050 Hz in 8000 samples a second and a second one beside it, first without and then with gain
// control: the audio, and the first stages of the last block.
static void receive(Hash& hash, uint8_t mode)
{
    constexpr int32_t rate = 8000, block = 250;
    auto band = station(10 * block, rate, 2050, 40, 8000);
    const auto beside = station(band.size(), rate, 1300, 7, 3000);
    for (size_t n = 0; n < band.size(); ++n) band[n] = static_cast<int16_t>(band[n] + beside[n]);
    const zovek::Demodulator radio(ZVDemodulator16_Construct);
    ZVDemodulator_IQDecimation(radio, 2);
    ZVDemodulator_AudioUpsample(radio, 2);
    ZVDemodulator_SamplingRate(radio, rate, 1);
    ZVDemodulator_BufferSize(radio, block, 0);
    ZVDemodulator_PostMixerLength(radio, 63);
    ZVDemodulator_AudioFilterLength(radio, 41);
    ZVDemodulator_ISBFilterLength(radio, 51);
    ZVDemodulator_Mode(radio, mode);
    ZVDemodulator_PostMixerCutOff(radio, 1200);
    if (mode == ZVDemodMode_FM) ZVDemodulator_AudioFilterCutOff(radio, 1500);
    ZVDemodulator_LocalFrequency(radio, 2000);
    radio->noise_measure_enabled = 1;
    radio->audio_gain = 2.5f;
    for (const uint8_t controlled : {0, 1}) {
        radio->iq_agc_enabled = radio->audio_agc_enabled = controlled;
        radio->sideband_sign = controlled ? -1 : 1;
        std::vector<int16_t> audio(2 * block);
        for (size_t at = 0; at < band.size(); at += block) {
            ZVDemodulator16_Process_StereoOut_16_16(radio, band.data() + at, audio.data(), block, 1);
            hash.values(audio);
            hash.value(radio->noise_level);
        }
        constexpr size_t narrow = sizeof(int16_t) * block, filtered = sizeof(int32_t) * block / 2;
        constexpr size_t stages[] = {narrow, narrow, narrow, filtered, filtered}; // input, mixer, filters
        for (int32_t n = 0; n < 5; ++n) hash.bytes(ZVDemodulator16_TestPoint(radio, n), stages[n]);
    }
}

void am(Hash& hash) { receive(hash, ZVDemodMode_AM); }
void synchronous_am(Hash& hash) { receive(hash, ZVDemodMode_SyncAM); }
void isb(Hash& hash) { receive(hash, ZVDemodMode_ISB); }
void ssb(Hash& hash) { receive(hash, ZVDemodMode_SSB); }
void fm(Hash& hash) { receive(hash, ZVDemodMode_FM); }

void pitch_shift(Hash& hash)
{
    const auto signal = station(700, 8000, 900, 11, 12000);
    const zovek::PitchShift shifter(ZVPitchShift1616_Construct);
    ZVPitchShift1616_BufferSize(shifter, 96);
    ZVPitchShift1616_SamplingRate(shifter, 8000);
    ZVPitchShift1616_TapsNum(shifter, 31);
    for (const int32_t shift : {0, 133, -250, 8000}) {
        shifter->shift = shift;
        std::vector<int16_t> out(signal.size());
        ZVPitchShift1616_Process_16_16(shifter, out.data(), signal.data(), int32_t(out.size()), 1);
        hash.values(out);
    }
}
} // namespace client::selftest
