// The heap beside the C library's: one free and one allocation together while so many blocks live, of 1 to
// 1000 bytes; and a sorted list of texts, each in blocks of its own.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>
#include <zovek/zovek.h>

namespace {
template <auto Allocate, auto Free>
void free_and_allocate(benchmark::State& state)
{
    std::mt19937 random(1);
    std::vector<void*> live(size_t(state.range(0)));
    const auto bytes = [&] { return 1 + random() % 1000; };
    for (void*& p : live) p = Allocate(bytes());
    std::vector<std::pair<uint32_t, uint32_t>> steps(1 << 16); // which block, and the size of its successor
    for (auto& [pick, size] : steps) pick = uint32_t(random() % live.size()), size = uint32_t(bytes());
    for (size_t k = 0; auto _ : state) {
        const auto& [pick, size] = steps[k++ % steps.size()];
        Free(live[pick]);
        live[pick] = Allocate(size);
        benchmark::DoNotOptimize(live[pick]);
    }
    for (void* p : live) Free(p);
}

// In multiples of the alignment, as aligned_alloc asks for it.
void* aligned(uint32_t bytes) { return std::aligned_alloc(64, (bytes + 63) & ~63u); }

void ours(benchmark::State& state) { free_and_allocate<MemoryAlloc, MemoryFree>(state); }
void c_library(benchmark::State& state) { free_and_allocate<aligned, std::free>(state); }
BENCHMARK(ours)->ArgName("live")->RangeMultiplier(10)->Range(10, 100'000);
BENCHMARK(c_library)->ArgName("live")->RangeMultiplier(10)->Range(10, 100'000);

void sorted_list(benchmark::State& state)
{
    std::mt19937 random(1);
    char text[16];
    for (auto _ : state) {
        ZVStringList* list = ZVStringList_Construct(nullptr);
        ZVStringList_Sorting(list, 1);
        for (int64_t k = 0; k < state.range(0); ++k) {
            std::snprintf(text, sizeof text, "%08x", unsigned(random()));
            ZVStringList_Add_String(list, text);
        }
        ZVStringList_Destruct(list, 1);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(sorted_list)->ArgName("texts")->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
} // namespace
