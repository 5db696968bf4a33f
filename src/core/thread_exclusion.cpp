// Recursive lock on two words. owner_thread holds a thread's identity only while that thread holds the lock,
// and only that thread writes it there. So a thread that finds itself named is inside, whatever others do
// meanwhile, and everyone else has to take the count from 0 to 1.
#include "core/frame.h"
#include "platform/platform.h"
#include <atomic>
#include <zovek/thread_exclusion.h>

using namespace zv;

static constexpr uint32_t nobody = 0; // no thread's identity

ZVThreadExclusion* ZVThreadExclusion_Construct(ZVThreadExclusion* self)
{
    const auto build = [](ZVThreadExclusion* lock) {
        *lock = {.entry_count = 0, .owner_thread = nobody};
        return true;
    };
    return construct(self, build, ZVThreadExclusion_Destruct);
}

void ZVThreadExclusion_Destruct(ZVThreadExclusion* self, uint32_t flags)
{
    if (self) dismiss(self, flags);
}

void ZVThreadExclusion_Enter(ZVThreadExclusion* self)
{
    const std::atomic_ref entries(self->entry_count);
    const std::atomic_ref owner(self->owner_thread);
    const uint32_t caller = platform::thread_identity();
    if (owner.load(std::memory_order_relaxed) == caller) {
        entries.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    const auto take = [&] {
        int32_t free = 0;
        return entries.compare_exchange_strong(free, 1, std::memory_order_acquire, std::memory_order_relaxed);
    };
    while (!take()) platform::pause();
    owner.store(caller, std::memory_order_relaxed);
}

void ZVThreadExclusion_Leave(ZVThreadExclusion* self)
{
    const std::atomic_ref entries(self->entry_count);
    const std::atomic_ref owner(self->owner_thread);
    if (entries.load(std::memory_order_relaxed) == 1) owner.store(nobody, std::memory_order_relaxed);
    entries.fetch_sub(1, std::memory_order_release);
}
