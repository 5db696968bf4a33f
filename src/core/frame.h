// The life of an object, once for all families: room for the record, storage that only grows, setters.
//
// A family with storage of variable size writes three routines:
//   bytes(...)     what a layout needs, in 64 bits
//   place(self)    sets the record's pointers from the start of storage
//   rebuild(self)  the record's code pointer: grow, place, silence
// and a setter is its sentence: clamp, compare, reserve, store, rebuild. Because reserve comes before the
// store, a setter that can't get its memory leaves the object as it was.
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <zovek/memory.h>

namespace zv {
// Builds an object: room for the record where self is null, then build(record), which says whether all memory
// could be had. If not, destruct gives back what was taken and the result is null. build must leave every
// owned pointer null or valid before its first chance to fail.
template <class Record, class Build>
Record* construct(Record* self, Build build, void (*destruct)(Record*, uint32_t))
{
    Record* record = self ? self : static_cast<Record*>(MemoryAlloc(sizeof(Record)));
    if (!record) return nullptr;
    if (build(record)) return record;
    destruct(record, self ? 0 : 1);
    return nullptr;
}

// The last step of a Destruct: bit 0 of flags frees the record.
inline void dismiss(void* self, uint32_t flags)
{
    if (flags & 1) MemoryFree(self);
}

// Stores a value; true if it is a new one. Reals compare exactly.
template <class T>
bool change(T& stored, T value)
{
    if (stored == value) return false;
    stored = value;
    return true;
}

// Whether a value is the present one to the bit: of two zeros, or of what is no number, == can't tell.
inline bool same_bits(float a, float b) { return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b); }

// Makes an owned buffer hold bytes bytes, contents kept; true if it does. On failure nothing changes. For a
// buffer whose capacity has no field in the record: the heap knows what the block holds.
template <class T>
bool grow(T*& buffer, uint64_t bytes)
{
    void* grown = bytes <= UINT32_MAX ? MemoryReAlloc(buffer, static_cast<uint32_t>(bytes)) : nullptr;
    if (grown) buffer = static_cast<T*>(grown);
    return grown != nullptr;
}

// The same for a recorded capacity, which is the largest need so far. slack bytes come on top, uncounted: for
// kernels that read past the recorded need, and for private tables.
template <class T>
bool grow(T*& buffer, uint32_t& capacity, uint64_t bytes, uint64_t slack = 0)
{
    if (buffer && bytes <= capacity) return true;
    if (!grow(buffer, bytes + slack)) return false;
    capacity = static_cast<uint32_t>(bytes);
    return true;
}

// Grows an owned buffer as above, and lets the pointers that lie in it follow it to its new place, so that
// what is laid out there stays good.
template <class T, class... Part>
bool grow_laid_out(T*& buffer, uint32_t& capacity, uint64_t bytes, uint64_t slack, Part*&... parts)
{
    const auto old = reinterpret_cast<uintptr_t>(buffer);
    const uint32_t old_bytes = capacity;
    if (!grow(buffer, capacity, bytes, slack)) return false;
    const auto follow = [&](auto*& part) {
        const uintptr_t offset = reinterpret_cast<uintptr_t>(part) - old;
        if (offset < old_bytes)
            part = reinterpret_cast<std::remove_reference_t<decltype(part)>>(reinterpret_cast<char*>(buffer) +
                                                                             offset);
    };
    (follow(parts), ...);
    return true;
}

// Sets count elements to zero.
template <class T>
void silence(T* first, size_t count)
{
    MemorySet_Byte(first, 0, static_cast<uint32_t>(count * sizeof(T)));
}

// An output pointer behind what was just written; null (the object's own output) stays null.
template <class T>
T* advance(T* out, size_t count)
{
    return out ? out + count : nullptr;
}
} // namespace zv
