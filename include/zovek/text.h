/* Text: plain functions on zero-terminated byte strings, and numbers to and from text.
 *
 * A character is a byte; only the 26 ASCII letters have a case, and no locale enters. No pointer may be null.
 * The functions take no buffer sizes: the caller sees to it that a target is large enough. */
#ifndef ZOVEK_TEXT_H
#define ZOVEK_TEXT_H
#include <zovek/base.h>

ZV_BEGIN
/* Bytes before the terminator. */
ZV_API uint32_t StringLength(const char *text);
/* Copies source with its terminator and returns target. The two may overlap, so it can close a gap within one
 * text. */
ZV_API char *StringCopy(char *target, const char *source);
/* A copy on the library's heap, length + 1 bytes, to be released with MemoryFree; null when the system
 * refuses. */
ZV_API char *StringDuplicate(const char *text);
/* Turns text round in place and returns it. */
ZV_API char *StringReverse(char *text);
/* At the first place where the texts differ, the byte of a less that of b, both unsigned: -255 to 255. 0 for
 * equal texts; the beginning of a text is below the text. */
ZV_API int32_t StringCompare(const char *a, const char *b);
/* The same with small letters taken as capitals. */
ZV_API int32_t StringCompareI(const char *a, const char *b);
/* The first place in text where pattern stands, or null. An empty pattern stands at the start of any text but
 * the empty one, in which nothing stands. */
ZV_API char *StringString(const char *text, const char *pattern);

/* Write value in base 2 to 36 with the digits 0-9 and A-Z, at least minimum_digits of them, and return
 * target. In base 10 a negative value has a "-", not counted as a digit; every other base takes the bits as
 * an unsigned number. A base out of range gives an empty text. target must hold 2 bytes more than the digits,
 * of which there are at most 32 (64) or the minimum. */
ZV_API char *IntegerToString(int32_t value, uint32_t base, char *target, uint32_t minimum_digits);
ZV_API char *Int64ToString(int64_t value, uint32_t base, char *target, uint32_t minimum_digits);
/* Reads blanks and tabs, an optional "+" or "-", digits, and optionally "." or "," and more digits, in
 * extended precision; there is no exponent. Stops at the first character that doesn't fit. Without digits the
 * value is 0, after a "-" negative zero. */
ZV_API long double StringToDouble(const char *text);
ZV_END
#endif
