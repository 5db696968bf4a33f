/* String list: an array of texts, each a private copy, that can keep itself in order.
 *
 * Read items and count directly. The order is StringCompare's: by unsigned byte value, so capitals stand
 * before small letters; equal texts keep the order in which they stood. Adding may move items; a text lives,
 * perhaps at another index, until it is removed, replaced or cleared. Lists find their memory before they
 * change: an operation that can't get it leaves the list as it was.
 *
 * A client may write sorting, and change texts within their length, itself: the next add or replace sorts the
 * whole list anew. An add to more than 4096 entries looks at those alone that it meets on the way to the new
 * text's place: it finds a list that has never been sorted, but hardly a single text out of place. There
 * ZVStringList_Sorting(list, list->sorting) sorts at once. */
#ifndef ZOVEK_STRING_LIST_H
#define ZOVEK_STRING_LIST_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVStringList ZVStringList;
struct ZVStringList {
    char  **items;   /* owned, like the texts: entries 0 to count - 1. Grows by 128 entries, never shrinks;
                        Remove, Clear, and Set from a list that fits leave the block where it is */
    int32_t count;   /* entries in use; 0 at first */
    int32_t sorting; /* 0 keeps the order of insertion, 1 ascending, all else descending; 0 at first */
};

/* An empty list. A null self takes the record from the heap. Returns self, or null when memory can't be
 * had. */
ZV_API ZVStringList *ZVStringList_Construct(ZVStringList *self);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVStringList_Destruct(ZVStringList *self, uint32_t flags);

/* Adds a copy of text, behind the others or where the order puts it. Returns self. */
ZV_API ZVStringList *ZVStringList_Add_String(ZVStringList *self, const char *text);
/* Removes all entries; sorting stays. */
ZV_API void ZVStringList_Clear(ZVStringList *self);
/* The lowest index with this text, case included, or -1. -1 for null. Looks at the entries one by one. */
ZV_API int32_t ZVStringList_IndexOf(const ZVStringList *self, const char *text);
/* An index outside the list does nothing. In a list that is kept in order a replaced entry may move. Both
 * return self. */
ZV_API ZVStringList *ZVStringList_Remove(ZVStringList *self, int32_t index);
ZV_API ZVStringList *ZVStringList_Replace_Index(ZVStringList *self, int32_t index, const char *text);
/* Makes the entries copies of source's, in source's order or by self's own sorting, which stays. source may
 * be self. Returns self. */
ZV_API ZVStringList *ZVStringList_Set_ZVStringList(ZVStringList *self, const ZVStringList *source);
/* Sets the order and sorts at once; 0 leaves the entries where they are. Returns self. */
ZV_API ZVStringList *ZVStringList_Sorting(ZVStringList *self, int32_t mode);
ZV_END
#endif
