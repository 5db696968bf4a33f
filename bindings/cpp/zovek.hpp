// C++ owners of the library's records: made on its heap, given back with their owner, moved and never copied.
// A record stays open, and the functions of the library take an owner as they take a pointer to it:
//
//     zovek::FIR filter(ZVFIR1616_Construct);
//     ZVFIR_TapsNum(filter, 63);
//     int32_t taps = filter->taps_count; // 63
#ifndef ZOVEK_HPP
#define ZOVEK_HPP
#include <memory>
#include <new>
#include <zovek/zovek.h>

namespace zovek {
template <class Record, auto Destruct>
class Owner {
public:
    Owner() = default; // of nothing, until another one is moved in
    // One of the Construct functions of the record. Throws std::bad_alloc if the heap has no room.
    explicit Owner(Record* (*construct)(Record*)) : record_(construct(nullptr))
    {
        if (!record_) throw std::bad_alloc();
    }

    // Null if nothing is owned. The record stays its owner's.
    Record* get() const { return record_.get(); }
    Record& operator*() const { return *get(); }
    operator Record*() const& { return get(); }
    operator Record*() const&& = delete; // it would be gone before it could be used
    Record* operator->() const { return get(); }

private:
    struct End {
        void operator()(Record* record) const { Destruct(record, 1); } // 1: and free it
    };
    std::unique_ptr<Record, End> record_;
};

// ---- One a family; where there are several Construct functions any of them will do ----
using AGC = Owner<ZVAGC, ZVAGC_Destruct>;
using DataFormatter = Owner<ZVDataFormatter2, ZVDataFormatter2_Destruct>;
using DelayLine = Owner<ZVDelayLine, ZVDelayLine_Destruct>;
using Demodulator = Owner<ZVDemodulator, ZVDemodulator_Destruct>;
using FFT = Owner<ZVFFT, ZVFFT_Destruct>;
using FIR = Owner<ZVFIR, ZVFIR_Destruct>;
using FSKCorrDemod = Owner<ZVFSKCorrDemod, ZVFSKCorrDemod_Destruct>;
using FSKDelayDemod = Owner<ZVFSKDelayDemod, ZVFSKDelayDemod_Destruct>;
using LMS = Owner<ZVLMS1616, ZVLMS_Destruct>;
using NotchFilter = Owner<ZVNotchFilter2, ZVNotchFilter2_Destruct>;
using PitchShift = Owner<ZVPitchShift, ZVPitchShift_Destruct>;
using PixMap = Owner<ZVDynamicPixMap, ZVDynamicPixMap_Destruct>;
using Resampler = Owner<ZVResampler32, ZVResampler32_Destruct>;
using String = Owner<ZVString, ZVString_Destruct>;
using StringList = Owner<ZVStringList, ZVStringList_Destruct>;
using ThreadExclusion = Owner<ZVThreadExclusion, ZVThreadExclusion_Destruct>;
using ToneDetector = Owner<ZVToneDetector, ZVToneDetector_Destruct>;
using ToneDetectorCorr = Owner<ZVToneDetectorCorr, ZVToneDetectorCorr_Destruct>;
} // namespace zovek
#endif
