// The block heap: best fit over pools of whole pages, with immediate merging of free neighbours
// (D. E. Knuth, The Art of Computer Programming, vol. 1, 2.5). One lock guards all of it.
#include "core/heap_index.h"
#include "core/round_up.h"
#include "platform/platform.h"
#include <algorithm>
#include <atomic>
#include <bit>
#include <cassert>
#include <cstring>
#include <zovek/memory.h>

namespace zv::heap {
static MemoryPool* memory_pool_list;      // newest first
static void* memory_system_heap;          // good while there are pools
static std::atomic<uint32_t> memory_lock; // 0 free, 1 held
static constexpr uint32_t in_use = 1;     // bit of flags
static constexpr uint64_t page = 4096;    // pools are asked for in whole pages

// What finds blocks and pools: always as the lists are.
static constinit FreeBlocks free_blocks;
static constinit Directory directory;

// Holds the heap's lock for a scope. Not recursive; a failed try costs a pause, not a spin.
class Lock {
public:
    Lock()
    {
        while (memory_lock.exchange(1) != 0) platform::pause();
    }
    ~Lock() { memory_lock.store(0, std::memory_order_release); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
};

static uintptr_t address(const void* p) { return reinterpret_cast<uintptr_t>(p); }
static void* data_of(MemoryBlock* block) { return reinterpret_cast<char*>(block) + header_bytes; }
static bool is_free(const MemoryBlock* block) { return !(block->flags & in_use); }
static MemoryBlock* block_at(uintptr_t at) { return reinterpret_cast<MemoryBlock*>(at); }

static uintptr_t first_block_address(const MemoryPool* pool)
{
    const size_t front = sizeof(MemoryPool) + sizeof(uint64_t) * Starts::words(pool->total_bytes);
    return round_up<unit>(address(pool) + front);
}

// Header and data of a request in whole units, or 0 where that passes 32 bits.
static uint32_t need_of(uint32_t bytes)
{
    const uint32_t need = round_up<unit>(bytes + header_bytes);
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
    Starts(block->pool).set(remainder);
    free_blocks.add(remainder);
}

// Takes the block's higher neighbour into it.
static void absorb_next(MemoryBlock* block)
{
    Starts(block->pool).clear(block->next);
    block->size += block->next->size;
    block->next = block->next->next;
    if (block->next) block->next->prev = block;
}

// The smallest free block that holds need, of equals one of the newest pool, of its blocks the lowest.
static MemoryBlock* best_fit(uint32_t need)
{
    MemoryBlock* block = free_blocks.fit(need);
    if (block) free_blocks.remove(block);
    return block;
}

// A new pool at the head of the list, all of it one free block that holds need. Null when the system refuses.
static MemoryBlock* new_pool(uint32_t need)
{
    static uint64_t age;
    const uint64_t least = uint64_t(need) + sizeof(MemoryPool) + unit - 1;
    const uint64_t starts = least / 500 + 16; // more than a 512th of whatever comes
    const uint64_t wanted = round_up<page>(least + starts);
    if (wanted > UINT32_MAX || !directory.make_room(memory_system_heap)) return nullptr;
    void* area = platform::arena_take(memory_system_heap, static_cast<size_t>(wanted));
    if (!area) return nullptr;

    auto* pool = static_cast<MemoryPool*>(area);
    const auto total = std::min<uint64_t>(platform::arena_size(memory_system_heap, area), UINT32_MAX);
    *pool = {.next = memory_pool_list,
             .prev = nullptr,
             .free_bytes = 0,
             .total_bytes = static_cast<uint32_t>(total),
             .first_block = nullptr,
             .age = ++age};
    MemoryBlock* block = pool->first_block = block_at(first_block_address(pool));
    pool->free_bytes = static_cast<uint32_t>(address(pool) + total - address(block)) & ~(unit - 1);
    *block = {.next = nullptr, .prev = nullptr, .flags = 0, .size = pool->free_bytes, .pool = pool};
    std::fill_n(pool->starts(), Starts::words(total), 0);
    Starts(pool).set(block);
    if (memory_pool_list) memory_pool_list->prev = pool;
    memory_pool_list = pool;
    directory.add(pool);
    return block;
}

// The last pool is gone, or never came.
static void leave_system()
{
    directory.dismiss(memory_system_heap);
    platform::arena_destroy(memory_system_heap);
}

static MemoryBlock* allocate(uint32_t bytes)
{
    const uint32_t need = need_of(bytes);
    if (need == 0) return nullptr;
    if (!memory_pool_list && !(memory_system_heap = platform::arena_create())) return nullptr;
    MemoryBlock* block = best_fit(need);
    if (!block) block = new_pool(need);
    if (!block) {
        if (!memory_pool_list) leave_system();
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
        free_blocks.remove(block);
        absorb_next(block);
    }
    if (block->next && is_free(block->next)) {
        free_blocks.remove(block->next);
        absorb_next(block);
    }
    if (block->next || block->prev) {
        free_blocks.add(block);
        return;
    }

    if (pool->next) pool->next->prev = pool->prev;
    (pool->prev ? pool->prev->next : memory_pool_list) = pool->next;
    directory.remove(pool);
    platform::arena_give(memory_system_heap, pool);
    if (!memory_pool_list) leave_system();
}

// The block in use that holds p, header and both ends included, or null. A block's end belongs to it and not
// to its neighbour, so that the data address of a block of 0 bytes finds that block. What was released lies
// in a free block, merged or not, or in no pool at all.
static MemoryBlock* locate(const void* p)
{
    const uintptr_t at = address(p);
    MemoryPool* pool = directory.find(at);
    if (!pool || at < address(pool->first_block)) return nullptr;
    MemoryBlock* block = Starts(pool).last_before(at);
    return at <= address(block) + block->size && !is_free(block) ? block : nullptr;
}

static bool pool_is_sound(MemoryPool* pool, uint32_t& free_count)
{
    if (address(pool->first_block) != first_block_address(pool) || pool->first_block->prev) return false;
    uint64_t free_bytes = 0;
    const MemoryBlock* last = nullptr;
    uint32_t count = 0, starts = 0;
    for (const MemoryBlock* block = pool->first_block; block; last = block, block = block->next, ++count) {
        const bool tiled = !last || (block->prev == last && address(block) == address(last) + last->size);
        const bool whole = block->size >= header_bytes && block->size % unit == 0 && block->flags <= in_use;
        if (!tiled || !whole || block->pool != pool || !Starts(pool).has(block)) return false;
        if (last && is_free(last) && is_free(block)) return false;
        if (is_free(block)) free_bytes += block->size, ++free_count;
    }
    for (uint32_t w = 0; w < Starts::words(pool->total_bytes); ++w)
        starts += uint32_t(std::popcount(pool->starts()[w]));
    if (starts != count || directory.find(address(pool)) != pool) return false;
    const uintptr_t pool_end = address(pool) + pool->total_bytes, blocks_end = address(last) + last->size;
    const bool wholly_free = is_free(pool->first_block) && !pool->first_block->next;
    return free_bytes == pool->free_bytes && blocks_end <= pool_end && pool_end - blocks_end < unit &&
           !wholly_free;
}

static bool pools_are_sound()
{
    const MemoryPool* newer = nullptr;
    uint32_t pools = 0, free_count = 0, indexed;
    for (MemoryPool* pool = memory_pool_list; pool; newer = pool, pool = pool->next, ++pools)
        if (pool->prev != newer || (newer && newer->age <= pool->age) || !pool_is_sound(pool, free_count))
            return false;
    return free_blocks.are_sound(indexed) && indexed == free_count && directory.count() == pools;
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
