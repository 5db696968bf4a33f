#include "io/converter.h"
#include <algorithm>
#include <new>

namespace client {
Converter::Converter(int64_t over, int64_t under, int64_t taps)
{
    // Beside blocks of a bounded size, both ways, the block's position must fit into 31 bits.
    const int64_t block = std::min((INT32_MAX - under) / over, 65536 * under / over);
    ZVResampler32_BufferSize(resampler_, int32_t(std::clamp<int64_t>(block, 1, 1024)));
    ZVResampler32_Setup(resampler_, float(under), float(over), 0, uint32_t(taps));
    if (resampler_->over != over || resampler_->under != under) throw std::bad_alloc();
    // An output falls on the recording's first sample, which the filter's middle meets at this position.
    resampler_->phase = int32_t(ahead() % under);
}

void Converter::run(const int32_t* in, size_t count, size_t step, std::vector<int32_t>& out)
{
    while (count > 0) {
        const size_t block = std::min(count, size_t(resampler_->buffer_size));
        for (size_t k = 0; k < block; ++k) resampler_->input_write[k] = in[k * step];
        const uint32_t made = ZVResampler32_ProcessIn(resampler_, nullptr, uint32_t(block));
        out.insert(out.end(), resampler_->output_buffer, resampler_->output_buffer + made);
        in += block * step;
        count -= block;
    }
}

// An output meets the history_length samples behind its own position, and its own is the filter's middle.
int64_t Converter::ahead() const
{
    return int64_t(resampler_->history_length) * resampler_->over - (resampler_->taps_count - 1) / 2;
}
} // namespace client
