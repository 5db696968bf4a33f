// The edge of the DLL: notifications of threads, and the way in to each exported function. Windows starts a
// thread with the x87 unit at 53-bit significands, and only some run-time libraries widen them; a way in
// widens them for the time of the call, so that extended arithmetic is the same in every thread of every
// program.
#include "core/cpu.h"
#include <windows.h>
#include <zovek/zovek.h>

namespace zv::dll {
// The x87 unit at 64-bit significands for a scope; its other settings stay the caller's.
class ExtendedPrecision {
public:
    ExtendedPrecision()
    {
        asm volatile("fnstcw %0" : "=m"(callers_)::"memory");
        if (is_narrow()) load(callers_ | precision_bits);
    }
    ~ExtendedPrecision()
    {
        if (is_narrow()) load(callers_);
    }
    ExtendedPrecision(const ExtendedPrecision&) = delete;
    ExtendedPrecision& operator=(const ExtendedPrecision&) = delete;

private:
    static constexpr uint16_t precision_bits = 0x300; // both set: 64-bit significands
    bool is_narrow() const { return (callers_ & precision_bits) != precision_bits; }
    static void load(uint16_t control) { asm volatile("fldcw %0" ::"m"(control) : "memory"); }
    uint16_t callers_;
};

template <auto function>
struct Entry;
template <class Result, class... Arguments, Result (*function)(Arguments...)>
struct Entry<function> {
    static Result enter(Arguments... arguments)
    {
        const ExtendedPrecision scope;
        return function(arguments...);
    }
    static constexpr Result (*way_in)(Arguments...) = enter;
};
} // namespace zv::dll

// A plain name for each way in, which the export list gives out under the function's own.
#define ZV_ENTER(name)                                                                                       \
    extern "C" __attribute__((naked)) void enter_##name()                                                    \
    {                                                                                                        \
        asm("jmp *%0" ::"m"(zv::dll::Entry<name>::way_in));                                                  \
    }
#include "windows_entries.inc"

// The process's own attach and detach come to the constructor and destructor beside the record, by the
// start-up code of the C library. All notifications stand under the system's loader lock.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_THREAD_ATTACH) zv::attach();
    if (reason == DLL_THREAD_DETACH) zv::detach();
    return TRUE;
}
