// The FSK correlator on SSE2.
#define KERNEL block_sse2
#define SET    "sse2"
#include "decode/fsk_corr_demod_kernel.h"
