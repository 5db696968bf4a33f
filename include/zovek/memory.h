/* Memory: a block heap with data aligned to 64 bytes, and the primitives that move and fill memory. */
#ifndef ZOVEK_MEMORY_H
#define ZOVEK_MEMORY_H
#include <zovek/base.h>

ZV_BEGIN
/* --- Block heap. Any thread may call these three; one lock guards the whole heap. --- */

/* A block of at least bytes bytes, aligned to 64 bytes and not cleared; null when the system refuses, and for
 * more than about 4286 million bytes, which is the most that one block holds. 0 bytes give a valid block
 * without data. */
ZV_API void *MemoryAlloc(uint32_t bytes);
/* Gives a block back. Any pointer into the block (header, data or end) finds it; a pointer that lies in no
 * block, null among them, is ignored. So is a block's second release, unless it has been handed out again:
 * then that one is released under its new owner. */
ZV_API void MemoryFree(void *pointer);
/* A block of at least bytes bytes with the old data, perhaps elsewhere. Blocks never shrink: where the
 * present one is large enough its data address comes back. Null allocates; a pointer in no block, or in a
 * released one, comes back as it is. Null when the system refuses, and the old block is then untouched. */
ZV_API void *MemoryReAlloc(void *pointer, uint32_t bytes);

/* --- Primitives. Plain memory operations; sizes in bytes or elements as named. --- */

/* 0 if the areas are equal, else the first differing byte of first less that of second, -255 to 255. */
ZV_API int32_t MemoryCompare(const void *first, const void *second, uint32_t bytes);
/* Copies bytes; the areas may overlap. Returns destination. */
ZV_API void *MemoryCopy(void *destination, const void *source, uint32_t bytes);
/* A new heap block with a copy of the bytes at source, to be released with MemoryFree; null when the system
 * refuses. */
ZV_API void *MemoryDuplicate(const void *source, uint32_t bytes);
/* Programmed input: reads the one 16-bit word at source count times, in groups of four and then singly, and
 * stores the words in order from destination on. Each read reaches the device. */
ZV_API void MemoryRead_PIO_Word(uint16_t *destination, const volatile uint16_t *source, uint32_t count);
/* Store value count times, upward, and return destination. Of value the low 8, 16 or 32 bits are used;
 * count is in elements of that width. MemorySet_DWord writes past the caches on AMD families 6 and 15. */
ZV_API void *MemorySet_Byte(void *destination, uint32_t value, uint32_t count);
ZV_API void *MemorySet_Word(void *destination, uint32_t value, uint32_t count);
ZV_API void *MemorySet_DWord(void *destination, uint32_t value, uint32_t count);

/* Exchange value with the content of target in one atomic step, in full memory order; return what target
 * held. Safe between threads and processors. */
ZV_API uint8_t SafeExchange_Byte(volatile uint8_t *target, uint8_t value);
ZV_API uint32_t SafeExchange_DWord(volatile uint32_t *target, uint32_t value);
ZV_END
#endif
