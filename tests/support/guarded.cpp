#include "support/guarded.h"
#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#endif

namespace test {
#if defined(_WIN32)
char* take_fenced(size_t bytes)
{
    DWORD before;
    auto* area = static_cast<char*>(VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS));
    VirtualProtect(area + page, bytes - 2 * page, PAGE_READWRITE, &before);
    return area;
}
void give_fenced(char* area, size_t) { VirtualFree(area, 0, MEM_RELEASE); }
#else
char* take_fenced(size_t bytes)
{
    auto* area = static_cast<char*>(mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(area + page, bytes - 2 * page, PROT_READ | PROT_WRITE);
    return area;
}
void give_fenced(char* area, size_t bytes) { munmap(area, bytes); }
#endif
} // namespace test
