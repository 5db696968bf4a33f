#include "core/heap_index.h"
#include "platform/platform.h"
#include <algorithm>
#include <utility>

namespace zv::heap {
// ---- Pools by address ----
void Directory::place(MemoryPool* pool)
{
    const uintptr_t key = key_of(pool);
    uint32_t k = home(key);
    while (entries_[k].pool) k = (k + 1) & (capacity_ - 1);
    entries_[k] = {key, pool};
}

bool Directory::make_room(void* arena)
{
    if (2 * (count_ + 1) <= capacity_) return true;
    const uint32_t old_capacity = capacity_;
    const size_t bytes = 2 * size_t(old_capacity) * sizeof(Entry);
    auto* larger = static_cast<Entry*>(platform::arena_take(arena, bytes));
    if (!larger) return false;
    Entry* old = entries_;
    entries_ = larger;
    capacity_ = 2 * old_capacity;
    std::fill_n(entries_, capacity_, Entry{});
    for (uint32_t k = 0; k < old_capacity; ++k)
        if (old[k].pool) place(old[k].pool);
    if (old != first_) platform::arena_give(arena, old);
    return true;
}

void Directory::add(MemoryPool* pool)
{
    place(pool);
    ++count_;
    const uint32_t level = level_of(pool);
    ++of_level_[level];
    levels_ |= 1u << level;
}

void Directory::remove(MemoryPool* pool)
{
    const uint32_t mask = capacity_ - 1, level = level_of(pool);
    uint32_t hole = home(key_of(pool));
    while (entries_[hole].pool != pool) hole = (hole + 1) & mask;
    // Entries behind the hole move up, as long as that takes none before its home.
    for (uint32_t k = (hole + 1) & mask; entries_[k].pool; k = (k + 1) & mask)
        if (((k - home(entries_[k].key)) & mask) >= ((k - hole) & mask)) {
            entries_[hole] = entries_[k];
            hole = k;
        }
    entries_[hole] = {};
    --count_;
    if (--of_level_[level] == 0) levels_ &= ~(1u << level);
}

MemoryPool* Directory::find(uintptr_t at) const
{
    for (uint32_t left = levels_; left != 0; left &= left - 1) {
        const auto level = static_cast<uint32_t>(std::countr_zero(left));
        for (uintptr_t back = 0; back <= 2; ++back) {
            const uintptr_t key = key_of((at >> level) - back, level);
            for (uint32_t k = home(key); entries_[k].pool; k = (k + 1) & (capacity_ - 1)) {
                if (entries_[k].key != key) continue;
                const auto start = reinterpret_cast<uintptr_t>(entries_[k].pool);
                if (at >= start && at - start <= entries_[k].pool->total_bytes) return entries_[k].pool;
                break;
            }
        }
    }
    return nullptr;
}

void Directory::dismiss(void* arena)
{
    if (entries_ == first_) return;
    platform::arena_give(arena, entries_);
    entries_ = first_;
    capacity_ = at_first;
    std::fill_n(first_, at_first, Entry{});
}

// ---- Free blocks ----
static uint32_t priority(const FreeBlock* block)
{
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(block) / unit) * 0x9E3779B1u;
}

static bool before(const FreeBlock* a, const FreeBlock* b)
{
    if (a->size != b->size) return a->size < b->size;
    return a->age != b->age ? a->age > b->age : a < b;
}

namespace treap {
static void add(FreeBlock*& root, FreeBlock* added)
{
    FreeBlock** at = &root;
    while (*at && priority(*at) >= priority(added)) at = before(added, *at) ? &(*at)->left : &(*at)->right;
    FreeBlock* rest = *at; // is split: what comes before the block, and what behind
    *at = added;
    FreeBlock **earlier = &added->left, **later = &added->right;
    while (rest)
        if (before(rest, added)) {
            *earlier = rest;
            earlier = &rest->right;
            rest = *earlier;
        } else {
            *later = rest;
            later = &rest->left;
            rest = *later;
        }
    *earlier = *later = nullptr;
}

static void remove(FreeBlock*& root, const FreeBlock* removed)
{
    FreeBlock** at = &root;
    while (*at != removed) at = before(removed, *at) ? &(*at)->left : &(*at)->right;
    FreeBlock *earlier = removed->left, *later = removed->right;
    while (earlier && later)
        if (priority(earlier) >= priority(later)) {
            *at = earlier;
            at = &earlier->right;
            earlier = *at;
        } else {
            *at = later;
            at = &later->left;
            later = *at;
        }
    *at = earlier ? earlier : later;
}

static FreeBlock* at_least(FreeBlock* at, uint32_t bytes)
{
    FreeBlock* found = nullptr;
    while (at)
        if (at->size >= bytes) {
            found = at;
            at = at->left;
        } else
            at = at->right;
    return found;
}

static bool is_sound(const FreeBlock* block, uint32_t& count)
{
    if (!block) return true;
    ++count;
    const FreeBlock *left = block->left, *right = block->right;
    return (!left || (before(left, block) && priority(left) <= priority(block))) &&
           (!right || (before(block, right) && priority(right) <= priority(block))) &&
           is_sound(left, count) && is_sound(right, count);
}
} // namespace treap

namespace pairing_heap {
// Two roots become one: the later one the first child of the other.
static FreeBlock* meld(FreeBlock* a, FreeBlock* b)
{
    if (before(b, a)) std::swap(a, b);
    b->right = a->left;
    if (b->right) b->right->prev_link = b;
    b->prev_link = a;
    a->left = b;
    return a;
}

// Siblings become one root: in pairs from the first on, then the pairs from the last on.
static FreeBlock* meld_all(FreeBlock* first)
{
    FreeBlock *pairs = nullptr, *root = nullptr;
    while (first) {
        FreeBlock *a = first, *b = a->right;
        first = b ? b->right : nullptr;
        FreeBlock* pair = b ? meld(a, b) : a;
        pair->right = pairs;
        pairs = pair;
    }
    while (pairs) {
        FreeBlock* next = pairs->right;
        root = root ? meld(root, pairs) : pairs;
        pairs = next;
    }
    return root;
}

static void add(FreeBlock*& root, FreeBlock* added)
{
    added->left = nullptr;
    root = root ? meld(root, added) : added;
}

static void remove(FreeBlock*& root, const FreeBlock* removed)
{
    FreeBlock* below = meld_all(removed->left);
    if (removed == root) {
        root = below;
        return;
    }
    FreeBlock* before_it = removed->prev_link;
    (before_it->left == removed ? before_it->left : before_it->right) = removed->right;
    if (removed->right) removed->right->prev_link = before_it;
    if (below) root = meld(root, below);
}

static bool is_sound(const FreeBlock* parent, uint32_t& count)
{
    if (!parent) return true;
    ++count;
    const FreeBlock* last = parent;
    for (const FreeBlock* child = parent->left; child; last = child, child = child->right)
        if (child->prev_link != last || child->size != parent->size || !before(parent, child) ||
            !is_sound(child, count))
            return false;
    return true;
}
} // namespace pairing_heap

void FreeBlocks::add(MemoryBlock* block)
{
    auto* added = static_cast<FreeBlock*>(block);
    added->age = block->pool->age;
    const uint32_t bin = bin_of(block->size);
    filled_ |= uint64_t(1) << bin;
    bin == large ? treap::add(roots_[bin], added) : pairing_heap::add(roots_[bin], added);
}

void FreeBlocks::remove(MemoryBlock* block)
{
    const auto* removed = static_cast<FreeBlock*>(block);
    const uint32_t bin = bin_of(block->size);
    bin == large ? treap::remove(roots_[bin], removed) : pairing_heap::remove(roots_[bin], removed);
    if (!roots_[bin]) filled_ &= ~(uint64_t(1) << bin);
}

MemoryBlock* FreeBlocks::fit(uint32_t bytes) const
{
    const uint64_t possible = filled_ >> bin_of(bytes) << bin_of(bytes);
    if (possible == 0) return nullptr;
    const auto bin = static_cast<uint32_t>(std::countr_zero(possible));
    return bin == large ? treap::at_least(roots_[bin], bytes) : roots_[bin];
}

bool FreeBlocks::are_sound(uint32_t& count) const
{
    count = 0;
    for (uint32_t bin = 0; bin < bins; ++bin) {
        const FreeBlock* root = roots_[bin];
        const bool sound = bin == large ? treap::is_sound(root, count) : pairing_heap::is_sound(root, count);
        if (!sound || (filled_ >> bin & 1) != (root != nullptr) || (root && bin_of(root->size) != bin))
            return false;
    }
    return true;
}
} // namespace zv::heap
