// The block heap: best fit over pools of whole pages, with immediate merging of free neighbours
// (D. E. Knuth, The Art of Computer Programming, vol. 1, 2.5). One lock guards all of it.
#include "core/heap.h"
#include "platform/platform.h"
#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstring>
#include <zovek/memory.h>

namespace zv::heap {
static MemoryPool* memory_pool_list;      // newest first
static void* memory_system_heap;          // good while there are pools
static std::atomic<uint32_t> memory_lock; // 0 free, 1 held
static constexpr uint32_t in_use = 1;     // bit of flags
static constexpr uint32_t unit = 64;      // blocks, their sizes and their data are multiples of it
static constexpr uint64_t page = 4096;    // pools are asked for in whole pages

// Holds the heap's lock for a scope. Not recursive; a failed try costs a pause, not a spin.
class Lock {
public:
    Lock()
    {
        while (memory_lock.exchange(1) != 0) platform::pause();
    }
    ~Lock() { memory_lock.exchange(0); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
};

static uintptr_t address(const void* p) { return reinterpret_cast<uintptr_t>(p); }
static void* data_of(MemoryBlock* block) { return reinterpret_cast<char*>(block) + header_bytes; }
static bool is_free(const MemoryBlock* block) { return !(block->flags & in_use); }
static MemoryBlock* block_at(uintptr_t at) { return reinterpret_cast<MemoryBlock*>(at); }

static uintptr_t first_block_address(const MemoryPool* pool)
{
    return (address(pool) + sizeof(MemoryPool) + unit - 1) & ~uintptr_t(unit - 1);
}

// Header and data of a request in whole units, or 0 where that passes 32 bits.
static uint32_t need_of(uint32_t bytes)
{
    const uint32_t need = (bytes + header_bytes + unit - 1) & ~(unit - 1);
    return need > bytes ? need : 0;
}

// Gives the block the size need and makes a free block of the rest, if there is a rest.
static void cut(MemoryBlock* block, uint32_t need)
{
    const uint32_t rest = block->size - need;
    block->size = need;
    if (rest == 0) return;
    MemoryBlock* remainder = block_at(address(block) + need);
    *remainder = {.next = block->next, .prev = block, .flags = 0, .size = rest, .pool = block->pool};
    if (remainder->next) remainder->next->prev = remainder;
    block->next = remainder;
}

// Takes the block's higher neighbour into it.
static void absorb_next(MemoryBlock* block)
{
    block->size += block->next->size;
    block->next = block->next->next;
    if (block->next) block->next->prev = block;
}

// The smallest free block that holds need; an exact fit ends the search, the first of equals stays.
static MemoryBlock* best_fit(uint32_t need)
{
    MemoryBlock* best = nullptr;
    for (MemoryPool* pool = memory_pool_list; pool; pool = pool->next) {
        if (pool->free_bytes < need) continue;
        for (MemoryBlock* block = pool->first_block; block; block = block->next) {
            if (!is_free(block) || block->size < need) continue;
            if (block->size == need) return block;
            if (!best || block->size < best->size) best = block;
        }
    }
    return best;
}

// A new pool at the head of the list, all of it one free block that holds need. Null when the system refuses.
static MemoryBlock* new_pool(uint32_t need)
{
    const uint64_t wanted = (uint64_t(need) + sizeof(MemoryPool) + unit - 1 + page - 1) & ~(page - 1);
    if (wanted > UINT32_MAX) return nullptr;
    void* area = platform::arena_take(memory_system_heap, static_cast<size_t>(wanted));
    if (!area) return nullptr;

    auto* pool = static_cast<MemoryPool*>(area);
    const auto total = std::min<uint64_t>(platform::arena_size(memory_system_heap, area), UINT32_MAX);
    MemoryBlock* block = block_at(first_block_address(pool));
    const auto size = static_cast<uint32_t>(address(pool) + total - address(block)) & ~(unit - 1);
    *pool = {.next = memory_pool_list,
             .prev = nullptr,
             .free_bytes = size,
             .total_bytes = static_cast<uint32_t>(total),
             .first_block = block};
    *block = {.next = nullptr, .prev = nullptr, .flags = 0, .size = size, .pool = pool};
    if (memory_pool_list) memory_pool_list->prev = pool;
    memory_pool_list = pool;
    return block;
}

static MemoryBlock* allocate(uint32_t bytes)
{
    const uint32_t need = need_of(bytes);
    if (need == 0) return nullptr;
    if (!memory_pool_list && !(memory_system_heap = platform::arena_create())) return nullptr;
    MemoryBlock* block = best_fit(need);
    if (!block) block = new_pool(need);
    if (!block) {
        if (!memory_pool_list) platform::arena_destroy(memory_system_heap);
        return nullptr;
    }
    block->pool->free_bytes -= need;
    block->flags |= in_use;
    cut(block, need);
    return block;
}

static void release(MemoryBlock* block)
{
    MemoryPool* pool = block->pool;
    pool->free_bytes += block->size;
    block->flags &= ~in_use;
    if (block->prev && is_free(block->prev)) {
        block = block->prev;
        absorb_next(block);
    }
    if (block->next && is_free(block->next)) absorb_next(block);
    if (block->next || block->prev) return;

    if (pool->next) pool->next->prev = pool->prev;
    (pool->prev ? pool->prev->next : memory_pool_list) = pool->next;
    platform::arena_give(memory_system_heap, pool);
    if (!memory_pool_list) platform::arena_destroy(memory_system_heap);
}

// The block that holds p, header and both ends included, or null. A block's end belongs to it and not to its
// neighbour, so that the data address of a block of 0 bytes finds that block.
static MemoryBlock* locate(const void* p)
{
    const uintptr_t at = address(p);
    for (MemoryPool* pool = memory_pool_list; pool; pool = pool->next) {
        if (at < address(pool) || at > address(pool) + pool->total_bytes) continue;
        for (MemoryBlock* block = pool->first_block; block; block = block->next)
            if (at >= address(block) && at <= address(block) + block->size) return block;
        return nullptr;
    }
    return nullptr;
}

static bool pool_is_sound(const MemoryPool* pool)
{
    if (address(pool->first_block) != first_block_address(pool) || pool->first_block->prev) return false;
    uint64_t free_bytes = 0;
    const MemoryBlock* last = nullptr;
    for (const MemoryBlock* block = pool->first_block; block; last = block, block = block->next) {
        const bool tiled = !last || (block->prev == last && address(block) == address(last) + last->size);
        const bool whole = block->size >= header_bytes && block->size % unit == 0 && block->flags <= in_use;
        if (!tiled || !whole || block->pool != pool) return false;
        if (last && is_free(last) && is_free(block)) return false;
        if (is_free(block)) free_bytes += block->size;
    }
    const uintptr_t pool_end = address(pool) + pool->total_bytes, blocks_end = address(last) + last->size;
    const bool wholly_free = is_free(pool->first_block) && !pool->first_block->next;
    return free_bytes == pool->free_bytes && blocks_end <= pool_end && pool_end - blocks_end < unit &&
           !wholly_free;
}

static bool pools_are_sound()
{
    const MemoryPool* newer = nullptr;
    for (const MemoryPool* pool = memory_pool_list; pool; newer = pool, pool = pool->next)
        if (pool->prev != newer || !pool_is_sound(pool)) return false;
    return true;
}

const MemoryPool* newest_pool() { return memory_pool_list; }

bool heap_is_sound()
{
    const Lock lock;
    return pools_are_sound();
}
} // namespace zv::heap

using namespace zv::heap;

void* MemoryAlloc(uint32_t bytes)
{
    const Lock lock;
    MemoryBlock* block = allocate(bytes);
    return block ? data_of(block) : nullptr;
}

void MemoryFree(void* pointer)
{
    const Lock lock;
    MemoryBlock* block = locate(pointer);
    if (!block) return;
    release(block);
    assert(pools_are_sound());
}

void* MemoryReAlloc(void* pointer, uint32_t bytes)
{
    const Lock lock;
    MemoryBlock* old = pointer ? locate(pointer) : nullptr;
    if (pointer && !old) return pointer;
    const uint32_t need = need_of(bytes);
    if (old && need != 0 && need <= old->size) return data_of(old);

    // The new block is taken before the old one is released, so it never lies in the old one's place.
    MemoryBlock* block = allocate(bytes);
    if (!block) return nullptr;
    if (old) {
        std::memcpy(data_of(block), data_of(old), old->size - header_bytes);
        release(old);
        assert(pools_are_sound());
    }
    return data_of(block);
}
