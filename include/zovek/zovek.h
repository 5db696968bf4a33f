/* All of Zovek. Each family's header can be included alone as well. */
#ifndef ZOVEK_ZOVEK_H
#define ZOVEK_ZOVEK_H
#include <zovek/agc.h>
#include <zovek/arithmetic.h>
#include <zovek/base.h>
#include <zovek/color.h>
#include <zovek/cpu.h>
#include <zovek/data_formatter.h>
#include <zovek/delay_line.h>
#include <zovek/demodulator.h>
#include <zovek/extract.h>
#include <zovek/fft.h>
#include <zovek/fft2_float.h>
#include <zovek/fir.h>
#include <zovek/fsk_corr_demod.h>
#include <zovek/fsk_delay_demod.h>
#include <zovek/lms.h>
#include <zovek/memory.h>
#include <zovek/notch_filter.h>
#include <zovek/pitch_shift.h>
#include <zovek/pixmap.h>
#include <zovek/resampler.h>
#include <zovek/text.h>
#include <zovek/thread_exclusion.h>
#include <zovek/tone_detector.h>
#include <zovek/tone_detector_corr.h>
#endif
