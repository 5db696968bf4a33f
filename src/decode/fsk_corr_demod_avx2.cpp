// The FSK correlator on AVX2.
#define KERNEL block_avx2
#define SET    "avx2"
#include "decode/fsk_corr_demod_kernel.h"
