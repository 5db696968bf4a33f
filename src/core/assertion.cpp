// The report of a broken precondition, where the standard library's assertions are on (_GLIBCXX_ASSERTIONS):
// its own one is in the C++ run-time library, which this one must not need.
#include <cstdint>
#if defined(__GLIBCXX__) && defined(_GLIBCXX_ASSERTIONS)
#include <cstdio>
#include <cstdlib>

namespace zv {
// std::__glibcxx_assert_fail. Weak, as a program with the C++ run-time library linked in has that one's too.
extern "C" [[noreturn, gnu::weak, gnu::visibility("hidden")]] void
assertion_failed(const char* file, int line, const char* function,
                 const char* condition) asm("_ZSt21__glibcxx_assert_failPKciS0_S0_");

void assertion_failed(const char* file, int line, const char* function, const char* condition)
{
    std::fprintf(stderr, "%s:%d: %s: Assertion '%s' failed.\n", file ? file : "", line,
                 function ? function : "", condition ? condition : "");
    std::abort();
}
} // namespace zv
#endif
