// The block heap: which block is taken, how blocks merge, what pointers find, and what a refusal does.
#include "core/heap.h"
#include "support/platform.h"
#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>
#include <zovek/memory.h>

namespace {
using namespace zv::heap;
using test::platform_calls;

uint32_t block_size(const void* data)
{
    return reinterpret_cast<const MemoryBlock*>(static_cast<const char*>(data) - header_bytes)->size;
}

// Tests start and end with an empty heap.
class Heap : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(newest_pool(), nullptr); }
    void TearDown() override
    {
        EXPECT_TRUE(heap_is_sound());
        EXPECT_EQ(newest_pool(), nullptr);
        EXPECT_EQ(platform_calls.areas, 0);
        EXPECT_EQ(platform_calls.arenas, 0);
    }
};

TEST_F(Heap, BlocksHaveAHeaderAndWholeUnits)
{
    const uint32_t sizes[][2] = {{0, 64}, {1, 128}, {64, 128}, {65, 192}, {128, 192}, {4000, 4096}};
    for (const auto& [bytes, size] : sizes) {
        void* p = MemoryAlloc(bytes);
        EXPECT_EQ(uintptr_t(p) % 64, 0u) << bytes;
        EXPECT_EQ(block_size(p), size) << bytes;
        MemoryFree(p);
    }
}

TEST_F(Heap, TheFirstBlockTakesAPoolOfOnePageAndLeavesTheRestFree)
{
    void* p = MemoryAlloc(1);
    EXPECT_EQ(platform_calls.arenas, 1);
    const MemoryPool* pool = newest_pool();
    EXPECT_EQ(pool->total_bytes, platform_calls.last_size);
    EXPECT_GE(pool->total_bytes, 4096u);
    EXPECT_LT(pool->total_bytes, 8192u);
    const MemoryBlock* rest = pool->first_block->next;
    ASSERT_TRUE(rest);
    EXPECT_EQ(rest->size, pool->free_bytes);
    EXPECT_EQ(rest->next, nullptr);
    MemoryFree(p);
}

TEST_F(Heap, AnyPointerIntoABlockFindsIt)
{
    char* zero = static_cast<char*>(MemoryAlloc(0));
    char* one = static_cast<char*>(MemoryAlloc(100));
    char* two = static_cast<char*>(MemoryAlloc(100));
    MemoryFree(zero); // its data address is the next block's address
    EXPECT_EQ(block_size(one), 192u);
    EXPECT_EQ(MemoryReAlloc(one + 70, 128), one); // interior pointer, no growth: the data address
    EXPECT_EQ(MemoryReAlloc(one, 5), one);        // never shrinks
    EXPECT_EQ(block_size(one), 192u);
    int foreign = 0;
    MemoryFree(&foreign);
    MemoryFree(nullptr);
    EXPECT_EQ(MemoryReAlloc(&foreign, 1000), &foreign);
    MemoryFree(one + 37);
    MemoryFree(two - 63); // in its header; the header's first address is the end of the block before
}

// Released twice, whatever has become of its neighbours by then: the second time it is no block. One that is
// handed out again is another's.
TEST_F(Heap, ASecondReleaseIsIgnored)
{
    for (const uint32_t bytes : {0u, 1u, 200u})
        for (int before = 0; before < 8;
             ++before) { // which of the neighbours are free by then: below, above, both
            void* all[7];
            for (void*& p : all) p = MemoryAlloc(bytes);
            const uint32_t total = newest_pool()->free_bytes;
            std::vector<int> released = {3};
            if (before & 1) released.insert(released.begin(), 2);
            if (before & 2) released.insert(released.begin(), 4);
            if (before & 4)
                released.push_back(2), released.push_back(4); // one that merges afterwards, or twice
            for (const int k : released) MemoryFree(all[size_t(k)]);
            const uint32_t free_bytes = newest_pool()->free_bytes;
            EXPECT_GT(free_bytes, total);
            for (const int k : released) {
                MemoryFree(all[size_t(k)]);
                EXPECT_EQ(MemoryReAlloc(all[size_t(k)], 5000), all[size_t(k)]);
                EXPECT_EQ(MemoryReAlloc(all[size_t(k)], 0), all[size_t(k)]);
                EXPECT_EQ(newest_pool()->free_bytes, free_bytes);
                ASSERT_TRUE(heap_is_sound()) << bytes << ' ' << before;
            }
            for (void* p : all) MemoryFree(p); // some for the third time
            EXPECT_EQ(newest_pool(), nullptr);
        }
    void* const held = MemoryAlloc(64);
    void* const p = MemoryAlloc(64);
    MemoryFree(p);
    void* const again = MemoryAlloc(64);
    EXPECT_EQ(again, p);
    MemoryFree(p);
    MemoryFree(again);
    MemoryFree(held);
    MemoryFree(held); // its pool is gone
}

TEST_F(Heap, ReallocationCopiesTheWholeBlockToANewPlace)
{
    auto* p = static_cast<unsigned char*>(MemoryReAlloc(nullptr, 100));
    for (int k = 0; k < 128; ++k) p[k] = static_cast<unsigned char>(k);
    auto* q = static_cast<unsigned char*>(MemoryReAlloc(p, 129));
    EXPECT_NE(q, p);
    EXPECT_TRUE(std::all_of(q, q + 128, [&, k = 0](int v) mutable { return v == k++; }));
    MemoryFree(q);
    EXPECT_EQ(MemoryReAlloc(q, 10), q); // no pool is left: a foreign pointer
}

TEST_F(Heap, ARefusalGivesNullAndChangesNothing)
{
    const uint32_t too_large[] = {0xFFFFFFFF, 0xFFFFFF81, 0xFFFFFF80, 0xFFFFF000};
    for (const uint32_t bytes : too_large) EXPECT_EQ(MemoryAlloc(bytes), nullptr) << bytes;
    {
        const test::Refusing refusing;
        EXPECT_EQ(MemoryAlloc(1), nullptr);
    }
    char* p = static_cast<char*>(MemoryAlloc(100));
    p[99] = 'z';
    {
        const test::Refusing refusing;
        EXPECT_EQ(MemoryReAlloc(p, 1 << 20), nullptr);
        EXPECT_EQ(MemoryReAlloc(p, 0xFFFFFFFF), nullptr);
        void* small = MemoryAlloc(10); // the present pool has room
        EXPECT_NE(small, nullptr);
        MemoryFree(small);
    }
    EXPECT_EQ(p[99], 'z');
    MemoryFree(p);
}

// The block that a walk over all pools and blocks takes for a need: the smallest that holds it, an exact fit
// at once, the first of equals. Null where a new pool is due.
const void* walk_for(uint32_t need)
{
    const MemoryBlock* best = nullptr;
    for (const MemoryPool* pool = newest_pool(); pool; pool = pool->next)
        for (const MemoryBlock* block = pool->first_block; block; block = block->next) {
            if (block->flags != 0 || block->size < need) continue;
            if (block->size == need) return block;
            if (!best || block->size < best->size) best = block;
        }
    return best;
}

// Seeded random work against a plain model of what each block holds; the walker runs after each step.
TEST_F(Heap, RandomWorkKeepsEveryInvariant)
{
    struct Held {
        unsigned char* data;
        uint32_t bytes;
        unsigned char mark;
    };
    std::vector<Held> held;
    std::mt19937 random(7);
    const auto intact = [](const Held& h) {
        return std::all_of(h.data, h.data + h.bytes, [&](unsigned char v) { return v == h.mark; });
    };
    for (int step = 0; step < 6000; ++step) {
        const uint32_t most[] = {600, 600, 600, 600,   600,
                                 600, 600, 600, 20000, step % 500 == 0 ? 900000u : 0};
        const uint32_t bytes = random() % (most[random() % 10] + 1);
        const size_t pick = held.empty() ? 0 : random() % held.size();
        if (held.empty() || random() % 100 < 45) {
            const void* wanted = walk_for((bytes + 127) / 64 * 64);
            held.push_back({static_cast<unsigned char*>(MemoryAlloc(bytes)), bytes, uint8_t(random())});
            ASSERT_TRUE(!wanted || held.back().data - header_bytes == wanted) << "step " << step;
            std::fill_n(held.back().data, bytes, held.back().mark);
        } else if (random() % 3 == 0) {
            Held& h = held[pick];
            h.data = static_cast<unsigned char*>(MemoryReAlloc(h.data, bytes));
            ASSERT_TRUE(intact({h.data, std::min(bytes, h.bytes), h.mark}));
            h.bytes = bytes;
            std::fill_n(h.data, bytes, h.mark);
        } else {
            ASSERT_TRUE(intact(held[pick]));
            MemoryFree(held[pick].data - 63 + random() % (64 + held[pick].bytes)); // anywhere in the block
            held.erase(held.begin() + ptrdiff_t(pick));
        }
        ASSERT_TRUE(heap_is_sound()) << "step " << step;
    }
    std::shuffle(held.begin(), held.end(), random);
    for (const Held& h : held) {
        ASSERT_TRUE(intact(h));
        MemoryFree(h.data);
    }
}

// Thousands of pools of all sizes, twice: what was kept of the first time is gone.
TEST_F(Heap, ManyPoolsComeAndGo)
{
    for (const uint32_t seed : {1, 2}) {
        std::mt19937 random(seed);
        std::vector<void*> held(3000);
        for (void*& p : held) p = MemoryAlloc(random() % (1u << random() % 17));
        ASSERT_TRUE(heap_is_sound());
        std::shuffle(held.begin(), held.end(), random);
        for (size_t k = 0; k < held.size(); ++k) {
            MemoryFree(held[k]);
            ASSERT_TRUE(k % 100 != 0 || heap_is_sound());
        }
    }
}

TEST_F(Heap, ThreadsShareIt)
{
    std::atomic<int> spoiled = 0;
    const auto work = [&](uint32_t seed) {
        std::mt19937 random(seed);
        for (int k = 0; k < 300; ++k) {
            const uint32_t bytes = random() % 3000;
            auto* p = static_cast<unsigned char*>(MemoryAlloc(bytes));
            std::fill_n(p, bytes, uint8_t(seed));
            spoiled += !std::all_of(p, p + bytes, [&](unsigned char v) { return v == uint8_t(seed); });
            MemoryFree(p);
        }
    };
    {
        std::vector<std::jthread> threads;
        for (uint32_t seed = 1; seed <= 4; ++seed) threads.emplace_back(work, seed);
    }
    EXPECT_EQ(spoiled, 0);
}
} // namespace
