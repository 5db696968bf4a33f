// Memory primitives: results, exact extents against unmapped pages, reads that reach a device, atomicity.
#include "core/memory_kernels.h"
#include "support/guarded.h"
#include "support/platform.h"
#include "support/processors.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <thread>
#include <vector>
#include <zovek/memory.h>
#if defined(__linux__)
#include <csignal>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>
#endif

namespace {
using test::Guarded;

TEST(MemoryCompare, GivesTheFirstDifferenceAtEveryPlace)
{
    for (uint32_t bytes = 0; bytes <= 41; bytes++) {
        Guarded<uint8_t> a(bytes), b(bytes);
        EXPECT_EQ(MemoryCompare(a.data(), b.data(), bytes), 0);
        for (uint32_t place = bytes; place-- > 0;) { // from the end, so that later differences stand behind
            a[place] = place % 2 ? 0xFF : 3;
            b[place] = place % 2 ? 0x01 : 4;
            EXPECT_EQ(MemoryCompare(a.data(), b.data(), bytes), place % 2 ? 254 : -1) << place;
        }
    }
}

TEST(MemoryCopy, KeepsTheSourceBytesWhateverTheOverlap)
{
    for (uint32_t bytes = 0; bytes <= 40; bytes++)
        for (int shift = -45; shift <= 45; shift++) {
            std::vector<uint8_t> area(160), wanted;
            std::iota(area.begin(), area.end(), uint8_t(1));
            wanted = area;
            for (uint32_t n = 0; n < bytes; n++) wanted[60 + shift + n] = area[60 + n];
            uint8_t* destination = &area[60 + shift];
            EXPECT_EQ(MemoryCopy(destination, &area[60], bytes), destination);
            EXPECT_EQ(area, wanted) << bytes << " bytes by " << shift;
        }
}

TEST(MemoryDuplicate, IsABlockOfItsOwnOrNull)
{
    const char text[] = "seventy bytes of text, more than one of the units of 64 that blocks have";
    char* copy = static_cast<char*>(MemoryDuplicate(text, sizeof text));
    EXPECT_STREQ(copy, text);
    MemoryFree(copy);
    EXPECT_EQ(test::platform_calls.areas, 0);
    const test::Refusing refusing;
    EXPECT_EQ(MemoryDuplicate(text, sizeof text), nullptr);
}

// Runs set on element 1 of an area that ends at an unmapped page, less gap bytes that must stay.
template <class Element, class Set>
void expect_exact_fill(Set set, uint32_t value)
{
    constexpr uint8_t untouched = 0xA5;
    for (const size_t gap : {0, 4, 8, 12})
        for (uint32_t count = 0; count <= 70; count++) {
            Guarded<Element> area(count + 1, gap, untouched);
            Element* first = &area[1];
            ASSERT_EQ(set(first, value, count), first);
            ASSERT_TRUE(std::all_of(first, first + count, [=](Element e) { return e == Element(value); }))
                << count;
            const auto* bytes = reinterpret_cast<const uint8_t*>(&area[0]);
            const auto* behind = reinterpret_cast<const uint8_t*>(first + count);
            ASSERT_TRUE(
                std::all_of(bytes, bytes + sizeof(Element), [](uint8_t b) { return b == untouched; }));
            ASSERT_TRUE(std::all_of(behind, behind + gap, [](uint8_t b) { return b == untouched; })) << count;
        }
}

TEST(MemorySet, StoresTheLowBitsInExactlyCountElements)
{
    expect_exact_fill<uint8_t>(MemorySet_Byte, 0xFFFFFF12);
    expect_exact_fill<uint16_t>(MemorySet_Word, 0xFFFF1234);
    expect_exact_fill<uint32_t>(MemorySet_DWord, 0x89ABCDEF);
    for (const auto& row : test::running_here(zv::memory::fill_rows)) {
        SCOPED_TRACE(row.name);
        const auto fill = [&](void* to, uint32_t value, uint32_t count) {
            row.kernel(to, value, count);
            return to;
        };
        expect_exact_fill<uint32_t>(fill, 0x89ABCDEF);
        volatile long double one = 1; // not a number if the MMX state were left behind
        EXPECT_EQ(one + one, 2);
    }
    EXPECT_EQ(MemorySet_Byte(nullptr, 1, 0), nullptr);
}

#if defined(__linux__)
// A device register in a page without access: a read faults, the next value is put in place, the one
// instruction runs in single step, and the page closes again.
struct Register {
    static inline volatile uint16_t* device; // the page that the reader sees
    static inline uint16_t* latch;           // the same page, always open
    static inline volatile uint16_t reads;

    static constexpr size_t page = 4096;
    static constexpr long trap_flag = 0x100;

    static void on_read(int, siginfo_t* info, void* context)
    {
        if (info->si_addr != const_cast<uint16_t*>(device)) _exit(99); // a fault of another kind
        reads = reads + 1;
        *latch = reads;
        mprotect(const_cast<uint16_t*>(device), page, PROT_READ);
        static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] |= trap_flag;
    }
    static void after_read(int, siginfo_t*, void* context)
    {
        mprotect(const_cast<uint16_t*>(device), page, PROT_NONE);
        static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] &= ~trap_flag;
    }

    Register()
    {
        const int file = memfd_create("register", 0);
        EXPECT_EQ(ftruncate(file, page), 0);
        device = static_cast<uint16_t*>(mmap(nullptr, page, PROT_NONE, MAP_SHARED, file, 0));
        latch = static_cast<uint16_t*>(mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
        close(file);
        reads = 0;
        struct sigaction action = {};
        action.sa_flags = SA_SIGINFO;
        action.sa_sigaction = on_read;
        sigaction(SIGSEGV, &action, &old_[0]);
        action.sa_sigaction = after_read;
        sigaction(SIGTRAP, &action, &old_[1]);
    }
    ~Register()
    {
        sigaction(SIGSEGV, &old_[0], nullptr);
        sigaction(SIGTRAP, &old_[1], nullptr);
        munmap(const_cast<uint16_t*>(device), page);
        munmap(latch, page);
    }

private:
    struct sigaction old_[2];
};

TEST(MemoryReadPio, ReadsTheRegisterOnceForEachWordInOrder)
{
    for (const uint32_t count : {0, 1, 3, 4, 5, 8, 11}) {
        std::vector<uint16_t> words(count + 1, 0xFFFF), wanted(count + 1, 0xFFFF);
        std::iota(wanted.begin(), wanted.end() - 1, uint16_t(1));
        const Register source;
        MemoryRead_PIO_Word(words.data(), source.device, count);
        EXPECT_EQ(source.reads, count);
        EXPECT_EQ(words, wanted);
    }
}
#endif

// Four threads pass 5 tokens through a slot and their own hands: none is lost, none is doubled.
template <class Word>
void expect_no_token_lost(Word (*exchange)(volatile Word*, Word))
{
    struct {
        Word before, slot, after;
    } area = {0x11, 1, 0x22};
    Word hands[4] = {2, 3, 4, 5};
    std::vector<std::thread> threads;
    for (Word& hand : hands)
        threads.emplace_back([&] {
            for (int n = 0; n < 100'000; n++) hand = exchange(&area.slot, hand);
        });
    for (std::thread& thread : threads) thread.join();
    std::vector<Word> tokens(std::begin(hands), std::end(hands));
    tokens.push_back(area.slot);
    std::sort(tokens.begin(), tokens.end());
    EXPECT_EQ(tokens, (std::vector<Word>{1, 2, 3, 4, 5}));
    EXPECT_EQ(area.before + area.after, 0x33);
}

TEST(SafeExchange, IsOneStepBetweenThreads)
{
    expect_no_token_lost<uint8_t>(SafeExchange_Byte);
    expect_no_token_lost<uint32_t>(SafeExchange_DWord);
}
} // namespace
