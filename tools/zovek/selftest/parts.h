// The parts by name; parts.cpp lists them with what they must give.
#pragma once
#include "selftest.h"

namespace client::selftest {
// clang-format off
void memory(Hash&); void arithmetic(Hash&); // core.cpp
void fir_16_16(Hash&); void fir_16_32(Hash&); void fir_32_32(Hash&); void fir_process2(Hash&); // filter.cpp
void fir_designs(Hash&); void delay_lines(Hash&); void notch(Hash&); void lms(Hash&);
void agc(Hash&); void am(Hash&); void synchronous_am(Hash&); void isb(Hash&); void ssb(Hash&); void fm(Hash&);
void pitch_shift(Hash&); // receiver.cpp
void fsk_corr_demod(Hash&); void fsk_delay_demod(Hash&); void data_formatter(Hash&);
void tone_detector_corr(Hash&); // decode.cpp
void resample_push_16(Hash&); void resample_push_32(Hash&); void resample_pull(Hash&); // resample.cpp
void pixmaps(Hash&); void colours(Hash&); // graphics.cpp
void texts(Hash&); void strings(Hash&); void string_lists(Hash&); // text.cpp
void exponentials(Reals&); void numbers_of_texts(Reals&); void spectrum_double(Reals&); // real.cpp
void spectrum_float(Reals&); void band_float(Reals&); void tone_detector(Reals&);
void autocorrelation(Reals&); void envelope(Reals&); void frequency(Reals&);
// clang-format on
} // namespace client::selftest
