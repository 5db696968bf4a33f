// A way to call the library on i386: as a program whose stack is aligned to 4 bytes alone.
#pragma once
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace test {
// The arguments start `offset` bytes below a multiple of 16, where compilers of today start them.
struct ForeignCall {
    uint32_t offset;

    template <class R, class... P>
    void operator()(R (*function)(P...), std::type_identity_t<P>... arguments) const
    {
        std::vector<uint32_t> words;
        const auto push = [&](const auto& argument) {
            words.resize(words.size() + (sizeof argument + 3) / 4);
            std::memcpy(&words.back() + 1 - (sizeof argument + 3) / 4, &argument, sizeof argument);
        };
        (push(arguments), ...);
        call(reinterpret_cast<void (*)()>(function), words);
        if constexpr (std::is_floating_point_v<R>) asm volatile("fstp %%st(0)" ::: "st");
    }

private:
    __attribute__((noinline)) void call(void (*function)(), const std::vector<uint32_t>& words) const
    {
        const uint32_t* from = words.data();
        uint32_t count = uint32_t(words.size()), below = 128 + offset;
        asm volatile("movl %%esp, %%ebx\n\t"
                     "andl $-16, %%esp\n\t"
                     "subl %3, %%esp\n\t"
                     "movl %%esp, %%edi\n\t"
                     "rep movsl\n\t"
                     "call *%%eax\n\t"
                     "movl %%ebx, %%esp"
                     : "+a"(function), "+S"(from), "+c"(count), "+d"(below)
                     :
                     : "ebx", "edi", "memory", "cc");
    }
};
} // namespace test
