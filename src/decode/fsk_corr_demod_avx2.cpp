// The FSK correlator on AVX2.
#define ZV_SET ZV_AVX2
#include "decode/fsk_corr_demod_kernel.h"

namespace zv::fsk_corr_demod {
ZV_SET void block_avx2(ZVFSKCorrDemod* self, int16_t* out, uint32_t count) { run(self, out, count); }
} // namespace zv::fsk_corr_demod
