/* What every header of Zovek shares: linkage, version, sample formats.
 *
 * Sample formats
 *   16-bit sample  int16_t, full scale +32767 / -32768
 *   32-bit sample  int32_t, the same signal left-justified: a 16-bit sample v is v * 65536,
 *                  and the upper half of a 32-bit sample is its 16-bit value
 *   8-bit sample   uint8_t, 128 is zero
 *
 * Objects are records with open fields, in the order given, followed by nothing. Construct(null)
 * takes the record from the library's heap, Construct(p) builds it in the caller's memory; either
 * returns the object, or null when its memory can't be had. Destruct(self, flags) gives back all
 * that the object owns, and with bit 0 of flags the record as well; a null self does nothing.
 * Setters clamp, compare and re-derive at once; a setter that can't get its memory leaves the object
 * as it was. Nothing reports it: read the field back, which has the old value then, and the bound where a
 * value was clamped. Process calls never allocate. One object serves one thread at a time.
 *
 * Pointers of a record into its own memory (where samples go, its output, taps and tables) change when that
 * memory is laid out anew. Read them again after a setter, a refused one too: part of it may have moved.
 *
 * Code pointers of a record are the client's to replace, by routines that may go on to the library's own:
 * what is said to go through one does. When a setter calls a rebuild, the new value is stored, and there is
 * room for what the library's own lays out.
 *
 * Calls over a client's samples take in[0], in[step], ... and write contiguous results. The arguments stand
 * as out, in, length, step; in fsk_corr_demod.h, tone_detector_corr.h and demodulator.h in stands before out,
 * in agc.h and notch_filter.h one buffer is both. length counts elements of in. Where it is no multiple of
 * step, the rest holds one more sample for ZVFIR1632, delay line, LMS filter, pushes into a resampler, data
 * formatter and gain control, and is left out by all others. out may be in only where the function says so.
 *
 * Survived by all families: a null self in Destruct; a null hook or callback; a step or decimation below 1
 * and a length or count of 0, with which a call takes nothing, changes nothing and gives nothing (DPLL and
 * Process of the data formatter always take in[0]). Calls on samples that stand in the object already are
 * different: there a count of 0 asks for a whole block, buffer_size samples, and a larger count is cut to
 * that. What else is survived stands at its function; all other misuse is not. */
#ifndef ZOVEK_BASE_H
#define ZOVEK_BASE_H
#include <stdint.h>

#define ZV_VERSION_MAJOR 1
#define ZV_VERSION_MINOR 0
#define ZV_VERSION_PATCH 0
/* The same as text, "1.0.0", to be told without a call. */
#define ZOVEK_VERSION ZV_TEXT(ZV_VERSION_MAJOR) "." ZV_TEXT(ZV_VERSION_MINOR) "." ZV_TEXT(ZV_VERSION_PATCH)
#define ZV_TEXT(value) ZV_TEXT_OF(value)
#define ZV_TEXT_OF(value) #value

#ifdef __cplusplus
#define ZV_BEGIN extern "C" {
#define ZV_END   }
#else
#define ZV_BEGIN
#define ZV_END
#endif

/* ZV_BUILDING is defined while the library itself is compiled, ZV_STATIC for users of libzovek.a on
 * Windows, where a list of names makes the exports. On i386 a foreign caller may keep the stack at 4 bytes,
 * so exports realign it. */
#if defined(_WIN32) && (defined(ZV_BUILDING) || defined(ZV_STATIC))
#define ZV_VISIBLE
#elif defined(_WIN32)
#define ZV_VISIBLE __declspec(dllimport)
#elif defined(__GNUC__)
#define ZV_VISIBLE __attribute__((visibility("default")))
#else
#define ZV_VISIBLE
#endif
#if defined(__i386__) && defined(ZV_BUILDING)
#define ZV_API ZV_VISIBLE __attribute__((force_align_arg_pointer))
#else
#define ZV_API ZV_VISIBLE
#endif

#endif
