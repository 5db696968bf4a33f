// How the heap finds blocks without walking its lists. The lists say what is; these say where, in a time that
// grows with the logarithm of the number of blocks at most.
#pragma once
#include "core/heap.h"
#include <bit>

namespace zv::heap {
inline constexpr uint32_t unit = 64; // blocks, their sizes and their data are multiples of it

// ---- Which block a pointer belongs to ----

// A pool has a bit for each unit from its first block on, set where a block starts.
class Starts {
public:
    explicit Starts(MemoryPool* pool)
        : words_(pool->starts()), first_(reinterpret_cast<uintptr_t>(pool->first_block))
    {
    }

    // Words of 64 bits that a pool of so many bytes has.
    static uint32_t words(uint64_t bytes)
    {
        return static_cast<uint32_t>((bytes - sizeof(MemoryPool)) / unit / 64 + 1);
    }

    void set(const MemoryBlock* block) { words_[place(block) / 64] |= uint64_t(1) << place(block) % 64; }
    void clear(const MemoryBlock* block) { words_[place(block) / 64] &= ~(uint64_t(1) << place(block) % 64); }
    bool has(const MemoryBlock* block) const { return words_[place(block) / 64] >> place(block) % 64 & 1; }

    // The block with the highest start below at, which is above the first block's, or is it.
    MemoryBlock* last_before(uintptr_t at) const
    {
        const uintptr_t u = at == first_ ? 0 : (at - first_ - 1) / unit;
        uintptr_t w = u / 64;
        uint64_t bits = words_[w] << (63 - u % 64) >> (63 - u % 64);
        while (bits == 0) bits = words_[--w]; // ends at the first block
        return reinterpret_cast<MemoryBlock*>(first_ +
                                              (w * 64 + 63 - uintptr_t(std::countl_zero(bits))) * unit);
    }

private:
    uintptr_t place(const MemoryBlock* block) const
    {
        return (reinterpret_cast<uintptr_t>(block) - first_) / unit;
    }

    uint64_t* words_;
    uintptr_t first_;
};

// The pool that holds an address, both ends included: a hash table with one entry a pool. A pool of 2^n to
// 2^(n+1) - 1 bytes stands under its start in steps of 2^n bytes, where no other of its size can start, and
// reaches into the two steps behind it at most.
class Directory {
public:
    // Makes sure that one pool more can be added; false when the system refuses the memory.
    bool make_room(void* arena);
    void add(MemoryPool* pool);
    void remove(MemoryPool* pool);
    MemoryPool* find(uintptr_t at) const;
    uint32_t count() const { return count_; }
    // Gives the memory back; the directory is empty and good.
    void dismiss(void* arena);

private:
    struct Entry {
        uintptr_t key; // step of the start | n
        MemoryPool* pool;
    };
    static uint32_t level_of(const MemoryPool* pool)
    {
        return 31 - uint32_t(std::countl_zero(pool->total_bytes | 1));
    }
    static uintptr_t key_of(uintptr_t step, uint32_t level) { return step << 6 | level; }
    static uintptr_t key_of(const MemoryPool* pool)
    {
        return key_of(reinterpret_cast<uintptr_t>(pool) >> level_of(pool), level_of(pool));
    }
    uint32_t home(uintptr_t key) const
    {
        return static_cast<uint32_t>(key * 0x9E3779B97F4A7C15u >> 32) & (capacity_ - 1);
    }
    void place(MemoryPool* pool);

    static constexpr uint32_t at_first = 64;
    Entry first_[at_first] = {};
    Entry* entries_ = first_;
    uint32_t capacity_ = at_first; // a power of 2, at least twice count_
    uint32_t count_ = 0;
    uint32_t of_level_[32] = {}; // pools of each size
    uint32_t levels_ = 0;        // bit n: there are pools of 2^n bytes and more
};

// ---- Which free block a request takes ----

// A free block keeps its links in its header, behind the fields.
struct FreeBlock : MemoryBlock {
    uint64_t age;            // of its pool
    FreeBlock *left, *right; // of a treap; in a pairing heap the first child and the next sibling
    FreeBlock* prev_link;    // in a pairing heap the sibling before, or the parent
};
static_assert(sizeof(FreeBlock) <= header_bytes);

// All free blocks in the order in which they are taken: smaller ones first, then those of newer pools, then
// lower ones. Blocks of each size up to bins - 2 units are a pairing heap (M. L. Fredman, R. Sedgewick, D. D.
// Sleator, R. E. Tarjan, 1986), whose root is the next one. All that are larger are a treap, so that a size
// can be looked up; a block's priority is a hash of its address (C. R. Aragon, R. G. Seidel, Randomized
// search trees, 1989).
class FreeBlocks {
public:
    void add(MemoryBlock* block);
    void remove(MemoryBlock* block);
    // The first block of at least so many bytes, or null.
    MemoryBlock* fit(uint32_t bytes) const;
    // The blocks are in order and of their bins; their number.
    bool are_sound(uint32_t& count) const;

private:
    static constexpr uint32_t bins = 64, large = bins - 1;
    static uint32_t bin_of(uint32_t bytes) { return bytes / unit < large ? bytes / unit : large; }

    FreeBlock* roots_[bins] = {};
    uint64_t filled_ = 0; // bit n: bin n has blocks
};
} // namespace zv::heap
