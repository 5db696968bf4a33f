// The DLL from a program's side, by its import library: notifications of threads, extended precision in
// threads of any kind, arguments and results.
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>
#include <vector>
#include <windows.h>
#include <zovek/zovek.h>

namespace {
// A thread of the system's own, which no run-time library prepares.
class BareThread {
public:
    explicit BareThread(std::function<void()> work) : work_(std::move(work))
    {
        handle_ = CreateThread(nullptr, 0, run, this, 0, nullptr);
    }
    ~BareThread() { join(); }
    void join()
    {
        WaitForSingleObject(handle_, INFINITE); // notifications included: the thread is gone
    }

private:
    static DWORD WINAPI run(void* self)
    {
        static_cast<BareThread*>(self)->work_();
        return 0;
    }
    std::function<void()> work_;
    HANDLE handle_;
};

// A second copy of the DLL, loaded while a thread is already there: the load counts 1, that thread's end
// takes it back to 0, and the next thread's begin identifies the processor anew.
TEST(Dll, CountsProcessAndThreads)
{
    HANDLE runs = CreateEventA(nullptr, TRUE, FALSE, nullptr),
           go = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    BareThread earlier([=] {
        SetEvent(runs);
        WaitForSingleObject(go, INFINITE);
    });
    WaitForSingleObject(runs, INFINITE); // else the copy may hear of its begin
    ASSERT_TRUE(CopyFileA("zovek.dll", "zovek_copy.dll", FALSE));
    const HMODULE copy = LoadLibraryA("zovek_copy.dll");
    ASSERT_TRUE(copy);
    const auto record_of =
        reinterpret_cast<decltype(&_CPU)>(reinterpret_cast<void*>(GetProcAddress(copy, "_CPU")));
    ZVCPUInfo& record = *record_of();
    EXPECT_NE(&record, _CPU());
    EXPECT_EQ(record.classification, _CPU()->classification);
    EXPECT_STREQ(record.brand, _CPU()->brand);
    const uint32_t truth = record.signature;

    record.signature = ~truth;
    {
        BareThread later([] {});
    } // 2 and back to 1
    EXPECT_EQ(record.signature, ~truth);
    SetEvent(go);
    earlier.join(); // 0
    EXPECT_EQ(record.signature, ~truth);
    {
        BareThread later([] {});
    } // 1 again, and identified
    EXPECT_EQ(record.signature, truth);
    CloseHandle(runs);
    CloseHandle(go);
    FreeLibrary(copy);
    DeleteFileA("zovek_copy.dll");
}

uint16_t control_word()
{
    uint16_t word;
    asm volatile("fnstcw %0" : "=m"(word));
    return word;
}
void set_control_word(uint16_t word) { asm volatile("fldcw %0" ::"m"(word)); }

// Numbers that come out 1e-17 off in 53 bits. The rounding direction is the caller's.
void expect_extended_results(const char* where)
{
    SCOPED_TRACE(where);
    const uint16_t before = control_word();
    const long double e = Exp_Double(1), third = StringToDouble("0.333333333333333333333333");
    EXPECT_EQ(control_word(), before);
    set_control_word(before | 0x300); // to compare in full
    EXPECT_LT(fabsl(e - std::numbers::e_v<long double>), 1e-18L);
    EXPECT_LT(fabsl(third - 1.0L / 3), 1e-18L);
    set_control_word(before);
}

TEST(Dll, IsExtendedInEveryThreadAndKeepsItsControlWord)
{
    const uint16_t at_start = control_word();
    expect_extended_results("the first thread");
    BareThread bare([] {
        EXPECT_EQ(control_word() & 0x300, 0x200) << "the system starts threads at 53 bits";
        expect_extended_results("a bare thread");
        set_control_word(0x0C7F); // 24 bits, toward zero
        expect_extended_results("a thread at 24 bits");
    });
    bare.join();
    EXPECT_EQ(control_word(), at_start);
}

// The results are given through hidden pointers, by registers and by stack: a way in must hand all of them
// on.
TEST(Dll, HandsOnArgumentsAndResultsOfEveryKind)
{
    EXPECT_EQ(Div_UI64UI32_UI32(1ull << 40, 1 << 20), 1u << 20);
    EXPECT_EQ(Log10_F80_I32(1e10L), 10);
    ZVFIR fir;
    ASSERT_EQ(ZVFIR1616_Construct(&fir), &fir);
    ZVFIR_TapsNum(&fir, 33);
    EXPECT_EQ(fir.taps_count, 33);
    std::vector<int16_t> in(2000, 1000), out(1000);
    ZVFIR1616_Process_16_16(&fir, out.data(), in.data(), 2000, 2,
                            1); // six arguments, two of them on the stack
    std::vector<int16_t> plain(1000, 1000), out2(1000);
    ZVFIR other;
    ZVFIR1616_Construct(&other);
    ZVFIR_TapsNum(&other, 33);
    ZVFIR1616_Process_16_16(&other, out2.data(), plain.data(), 1000, 1, 1);
    EXPECT_EQ(out, out2);
    EXPECT_NE(out.back(), 0);
    ZVFIR_Destruct(&fir, 0);
    ZVFIR_Destruct(&other, 0);
}
} // namespace
