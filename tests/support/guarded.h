// Memory that ends (or begins) at an unmapped page, so that a read or write too far stops the test.
#pragma once
#include <cstddef>
#include <cstring>

namespace test {
// An area of whole pages, of which all but the first and the last may be used.
inline constexpr size_t page = 4096;
char* take_fenced(size_t bytes);
void give_fenced(char* area, size_t bytes);

// count elements that end right at an unmapped page (less `gap` bytes), filled with a pattern.
template <class T>
class Guarded {
public:
    explicit Guarded(size_t count, size_t gap = 0, unsigned char fill = 0xA5)
        : pages_((count * sizeof(T) + gap + page - 1) / page * page + 2 * page)
    {
        base_ = take_fenced(pages_);
        std::memset(base_ + page, fill, pages_ - 2 * page);
        first_ = reinterpret_cast<T*>(base_ + pages_ - page - gap - count * sizeof(T));
    }
    ~Guarded() { give_fenced(base_, pages_); }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    T* data() { return first_; }
    T& operator[](size_t k) { return first_[k]; }

private:
    size_t pages_;
    char* base_;
    T* first_;
};
} // namespace test
