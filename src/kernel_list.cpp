#include "kernel_list.h"
#include "core/memory_kernels.h"
#include "decode/extract_kernels.h"
#include "decode/fsk_corr_demod.h"
#include "decode/tone_detector_corr_kernels.h"
#include "filter/fir_kernels.h"
#include "filter/lms_kernels.h"
#include "receiver/demodulator_kernels.h"
#include "resample/resampler_kernels.h"
#include "spectrum/fft_kernels.h"

namespace zv {
template <class Kernel>
static ChosenKernel choose(Rows<Kernel> rows, const ZVCPUInfo& cpu, uint32_t wider)
{
    const Row<Kernel>& row = select(rows, cpu, wider);
    return {row.name, row.words, reinterpret_cast<const void*>(row.kernel)};
}

template <const auto& rows>
static ChosenKernel from(const ZVCPUInfo& cpu, uint32_t wider)
{
    return choose(rows, cpu, wider);
}

// By the layout that a new table gets.
static ChosenKernel correlator(const ZVCPUInfo& cpu, uint32_t wider)
{
    return choose(tone_detector_corr::rows(tone_detector_corr::layout_on(cpu)), cpu, wider);
}

static constexpr KernelFamily families[] = {
    {"ZVFIR1616", from<fir::rows_1616>},
    {"ZVFIR1632", from<fir::rows_1632>},
    {"ZVFIR3232", from<fir::rows_3232>},
    {"ZVFIR3232_Process2", from<fir::rows_process2>},
    {"ZVLMS1616", from<lms::rows>},
    {"ZVFFT", from<fft::double_rows>},
    {"ZVFFT2Float", from<fft::float_rows>},
    {"ZVDemodulator16", from<demodulator::rows>},
    {"ZVFSKCorrDemod16", from<fsk_corr_demod::rows>},
    {"ZVToneDetectorCorr16", correlator},
    {"Correlate_Float_Float", from<extract::correlate_rows>},
    {"ExtractAmplitude_16_Float", from<extract::amplitude_rows>},
    {"ExtractFrequency_16_Float", from<extract::frequency_rows>},
    {"ZVResampler32, 16 bits", from<resampler::narrow_rows>},
    {"ZVResampler32, 32 bits", from<resampler::wide_rows>},
    {"MemorySet_DWord", from<memory::fill_rows>},
};
std::span<const KernelFamily> kernel_families() { return families; }
} // namespace zv
