// Memory that ends (or begins) at an unmapped page, so that a read or write too far stops the test.
#pragma once
#include <cstddef>
#include <cstring>
#include <sys/mman.h>

namespace test {
// count elements that end right at an unmapped page (less `gap` bytes), filled with a pattern.
template <class T>
class Guarded {
public:
    explicit Guarded(size_t count, size_t gap = 0, unsigned char fill = 0xA5)
        : pages_((count * sizeof(T) + gap + page - 1) / page * page + 2 * page)
    {
        base_ = static_cast<char*>(mmap(nullptr, pages_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(base_ + page, pages_ - 2 * page, PROT_READ | PROT_WRITE);
        std::memset(base_ + page, fill, pages_ - 2 * page);
        first_ = reinterpret_cast<T*>(base_ + pages_ - page - gap - count * sizeof(T));
    }
    ~Guarded() { munmap(base_, pages_); }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    T* data() { return first_; }
    T& operator[](size_t k) { return first_[k]; }

private:
    static constexpr size_t page = 4096;
    size_t pages_;
    char* base_;
    T* first_;
};
} // namespace test
