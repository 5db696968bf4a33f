// The recursive lock: counting on one thread, waiting on another, and exclusion under a storm of short
// entries.
#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>
#include <vector>
#include <zovek/thread_exclusion.h>

namespace {
using namespace std::chrono_literals;

class ThreadExclusion : public testing::Test {
protected:
    ThreadExclusion() { ZVThreadExclusion_Construct(&lock); }
    void enter() { ZVThreadExclusion_Enter(&lock); }
    void leave() { ZVThreadExclusion_Leave(&lock); }
    ZVThreadExclusion lock = {7, 7}; // whatever stood there
};

TEST_F(ThreadExclusion, AnotherThreadWaitsForTheLastLeave)
{
    enter();
    EXPECT_EQ(lock.entry_count, 1);
    enter();
    EXPECT_EQ(lock.entry_count, 2);
    std::atomic<bool> inside = false;
    std::jthread other([&] {
        enter();
        inside = true;
        leave();
    });
    leave();
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(inside);
    leave();
    other.join();
    EXPECT_TRUE(inside);
    EXPECT_EQ(lock.entry_count, 0);
    enter(); // free again for the first thread, at once
    leave();
    EXPECT_EQ(lock.entry_count, 0);
}

// Memory that named this thread before the lock was built there must not let it in beside the holder.
TEST_F(ThreadExclusion, WhatStoodInTheMemoryIsNoOwner)
{
    enter();
    const uint32_t identity = lock.owner_thread;
    leave();
    ZVThreadExclusion reused = {5, identity};
    ZVThreadExclusion_Construct(&reused);
    EXPECT_NE(reused.owner_thread, identity);
}

// The dangerous moment is when a thread has won the lock and not yet put its name there, and the holder
// before enters again: it must not take itself for nested. Short entries meet it many times a second. Nested
// ones come second, because a lock that fails the first round would hang in them.
TEST_F(ThreadExclusion, NoTwoThreadsAreEverInside)
{
    for (const bool nested : {false, true}) {
        std::atomic<int> holder = 0, intrusions = 0;
        std::atomic<bool> stop = false;
        int32_t entries = 0; // guarded by the lock
        std::atomic<int32_t> entered = 0;
        const auto work = [&](int me) {
            int32_t mine = 0;
            for (; !stop; ++mine) {
                enter();
                if (holder.exchange(me, std::memory_order_relaxed) != 0) ++intrusions;
                if (nested) {
                    enter();
                    leave();
                }
                ++entries;
                if (holder.exchange(0, std::memory_order_relaxed) != me) ++intrusions;
                leave();
            }
            entered += mine;
        };
        {
            std::vector<std::jthread> threads;
            for (int me = 1; me <= 3; ++me) threads.emplace_back(work, me);
            std::this_thread::sleep_for(700ms);
            stop = true;
        }
        ASSERT_EQ(intrusions, 0);
        EXPECT_EQ(entries, entered);
        EXPECT_GT(entries, 1000);
        EXPECT_EQ(lock.entry_count, 0);
    }
}
} // namespace
