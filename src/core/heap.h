// The block heap's records, and a walker for tests and debug builds.
//
//   pool:  MemoryPool | a bit for each 64 bytes | pad to 64 | block | block | ... | tail < 64 bytes
//   block: header, 64 bytes | data, a multiple of 64 bytes
//
// Blocks tile their pool in address order, no two neighbours are both free, and a pool that is wholly free
// goes back to the system at once.
#pragma once
#include <cstdint>

namespace zv::heap {
struct MemoryBlock;

struct MemoryPool {
    MemoryPool* next;         // next older pool; null at the end
    MemoryPool* prev;         // next newer pool; null for the newest
    uint32_t free_bytes;      // sum of the sizes of the free blocks, headers included
    uint32_t total_bytes;     // size of the pool as the system reports it
    MemoryBlock* first_block; // the block with the lowest address
    uint64_t age;             // of two pools, the newer one has the larger
    // Bit u: a block starts u * 64 bytes behind first_block.
    uint64_t* starts() { return reinterpret_cast<uint64_t*>(this + 1); }
};

struct MemoryBlock {
    MemoryBlock* next; // block at the next higher address; null for the last
    MemoryBlock* prev; // block at the next lower address; null for the first
    uint32_t flags;    // bit 0: in use
    uint32_t size;     // bytes, header included; a multiple of 64
    MemoryPool* pool;  // the pool that holds the block
};

inline constexpr uint32_t header_bytes = 64; // of a block; the fields are its beginning

// The newest pool, null when there are none. Stable only while no other thread uses the heap.
const MemoryPool* newest_pool();
// Walks all pools and blocks and checks every invariant, and that the indices tell the same. Takes the heap's
// lock.
bool heap_is_sound();
} // namespace zv::heap
