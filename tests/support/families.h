// A family of objects as a row of a table: its life without its type.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

namespace test {
struct Family {
    std::string name;
    size_t record_bytes;
    void* (*construct)(void*);
    void (*destruct)(void*, uint32_t);
};

template <auto Construct, auto Destruct, class Record>
Family family(const char* name, Record* (*)(Record*))
{
    return {name, sizeof(Record), [](void* p) -> void* { return Construct(static_cast<Record*>(p)); },
            [](void* p, uint32_t flags) { Destruct(static_cast<Record*>(p), flags); }};
}
} // namespace test

#define FAMILY(construct, destruct) test::family<construct, destruct>(#construct, construct)
