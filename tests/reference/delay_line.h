// Sample delay: out[k] = x[k - delay], silence before the stream.
#pragma once
#include "fixed.h"

namespace reference {
template <class Sample>
struct DelayLine {
    int32_t buffer_size = 1024, delay = 1; // samples
    std::vector<Sample> past;              // all samples since the last change of size or delay

    void set_buffer_size(int32_t samples) { change(buffer_size, samples < 1 ? 1 : samples); }
    void set_delay(int32_t samples) { change(delay, samples < 0 ? 0 : samples); }

    std::vector<Sample> process(const std::vector<Sample>& x)
    {
        std::vector<Sample> out(x.size());
        for (size_t k = 0; k < x.size(); ++k) out[k] = sample_at(x, past, ptrdiff_t(k) - delay);
        past.insert(past.end(), x.begin(), x.end());
        return out;
    }

private:
    void change(int32_t& field, int32_t value)
    {
        if (field != value) past.clear();
        field = value;
    }
};
} // namespace reference
