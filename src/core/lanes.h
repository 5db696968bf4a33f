// Vectors by element type and number of lanes. The operators of the language work on them lane by lane.
#pragma once
#include <cstdint>
#include <type_traits>

namespace zv::wide {
template <class T, int n>
struct LanesOf {
    typedef T type __attribute__((vector_size(n * sizeof(T))));
};
template <class T, int n>
using Lanes = typename LanesOf<T, n>::type;

template <class V>
using Lane = std::remove_reference_t<decltype(V{}[0])>;
template <class V>
constexpr int width = sizeof(V) / sizeof(Lane<V>);
} // namespace zv::wide
