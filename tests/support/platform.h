// The tests' own platform layer: it counts what the library asks for and refuses on command.
#pragma once
#include <cstddef>
#include <deque>
#include <string>

namespace test {
struct PlatformCalls {
    int arenas = 0;       // arenas that stand now
    int areas = 0;        // areas handed out and not given back
    int taken = 0;        // areas ever handed out
    size_t last_size = 0; // true size of the last area
};
extern PlatformCalls platform_calls;

// Refuses pools (and arenas) after this many more; below 0, never. Blocks that fit in present pools still
// succeed.
extern int pools_left;

// What the current directory is at each question; the last one stays. Empty, or an empty name: unknown.
extern std::deque<std::string> directories;

// For a scope, the heap has no room: each request beyond the present pools' free blocks is refused after
// `granted` more pools.
struct Refusing {
    explicit Refusing(int granted = 0) { pools_left = granted; }
    ~Refusing() { pools_left = -1; }
};

// A record as it lies in memory, to show that a refused call wrote nothing.
inline std::string bytes_of(const auto& r) { return {reinterpret_cast<const char*>(&r), sizeof r}; }
} // namespace test
