/* String: a growing text in one block of the library's heap.
 *
 * Read text and length directly. The text is always terminated: text[length] is 0, and length + 1 is at most
 * capacity. A byte 0 among the characters is kept by Add_Character, Set_ZVString and Add_ZVString.
 *
 * An operation that lengthens the text first sees to the bytes it needs, terminator included: past capacity
 * the block grows to that need, rounded up to a multiple of 64, and text may move. Nothing shrinks the block.
 * An operation that can't get its memory leaves the text as it was, unless it says otherwise.
 *
 * Sources must not be null, and what is added must not lie in the object's own text. */
#ifndef ZOVEK_STRING_H
#define ZOVEK_STRING_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVString ZVString;
struct ZVString {
    char    *text;     /* owned: the characters and a terminator; empty at first. Any lengthening can move it */
    int32_t  length;   /* characters, without the terminator; 0 at first */
    uint32_t capacity; /* bytes that text holds, a multiple of 64; 64 at first. Grows, never shrinks */
};

/* An empty text, or a copy of source in the smallest block. A null self takes the record from the heap. Both
 * return self, or null when memory can't be had. */
ZV_API ZVString *ZVString_Construct(ZVString *self);
ZV_API ZVString *ZVString_Construct_String(ZVString *self, const char *source);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVString_Destruct(ZVString *self, uint32_t flags);

/* Replace the text and return self. source may be self or lie in its text. */
ZV_API ZVString *ZVString_Set_String(ZVString *self, const char *source);
ZV_API ZVString *ZVString_Set_ZVString(ZVString *self, const ZVString *source);
/* The name of the process's current directory. Where the system can't tell it the text stays. */
ZV_API ZVString *ZVString_Set_CurrentDirectory(ZVString *self);

/* Keys that are always open, as root of Set_FromRegistry; on Windows the system's own handles, and any open
 * handle will do as well. */
#define ZV_HKEY(low_bits)      ((void *)(intptr_t)(-0x7FFFFFFF - 1 + (low_bits)))
#define ZV_HKEY_CLASSES_ROOT   ZV_HKEY(0)
#define ZV_HKEY_CURRENT_USER   ZV_HKEY(1)
#define ZV_HKEY_LOCAL_MACHINE  ZV_HKEY(2)
#define ZV_HKEY_USERS          ZV_HKEY(3)
#define ZV_HKEY_CURRENT_CONFIG ZV_HKEY(5)
/* The value value_name of the key subkey ("Company\\Program") below root, its last byte taken as the
 * terminator; an empty text on any failure, missing memory among them. On Linux a key is a folder and a value
 * a text file (one line end at its end is no part of it) below $XDG_CONFIG_HOME/zovek/registry, by default
 * ~/.config/zovek/registry: there HKEY_CURRENT_USER/Company/Program/value_name. */
ZV_API void ZVString_Set_FromRegistry(ZVString *self, void *root, const char *subkey, const char *value_name);

/* Append and return self. Numbers are written as by IntegerToString and Int64ToString, with the minimum of
 * digits bounded to 33 and 65; a base out of range appends nothing. */
ZV_API ZVString *ZVString_Add_Character(ZVString *self, char character);
ZV_API ZVString *ZVString_Add_String(ZVString *self, const char *source);
ZV_API ZVString *ZVString_Add_ZVString(ZVString *self, const ZVString *source);
ZV_API ZVString *ZVString_Add_Integer(ZVString *self, int32_t value, uint32_t base, uint32_t minimum_digits);
ZV_API ZVString *ZVString_Add_Integer64(ZVString *self, int64_t value, uint32_t base, uint32_t minimum_digits);
/* Appends an AX.25 call sign, "AB1CD-7". address: six plain characters (not shifted as on the air), of which
 * blanks are left out, and the SSID byte as on the air: bits 1 to 4 are the SSID, 0 to 15; 0 has no
 * suffix. */
ZV_API ZVString *ZVString_Add_AX25CallSign(ZVString *self, const uint8_t *address);

/* Inserts before the character at index; an index out of the text, a negative one too, appends. */
ZV_API void ZVString_Insert_Character(ZVString *self, int32_t index, char character);
/* Puts replacement wherever find stands, and returns self. */
ZV_API ZVString *ZVString_Replace_Character(ZVString *self, char find, char replacement);
/* An index out of the text does nothing. */
ZV_API void ZVString_Delete_Character(ZVString *self, int32_t index);
/* Deletes first to last, both included, as far as they lie in the text. If there is something to delete, the
 * text then ends at its first byte 0. */
ZV_API void ZVString_Delete_Range(ZVString *self, int32_t first, int32_t last);
/* Cuts the text to length characters if it has more. */
ZV_API void ZVString_Truncate(ZVString *self, uint32_t length);
ZV_END
#endif
