// What every part must give. A new or changed part: run with --json, read the new result there, and make sure
// that two rows of the matrix of processors with different kernels agree before it goes in here.
#include "parts.h"

namespace client::selftest {
// clang-format off
static const IntegerPart integers[] = {
    {"memory",               "MemorySet_DWord",        memory,             0x687F08EBF451B0D9},
    {"arithmetic",           nullptr,                  arithmetic,         0x55C5711125B57AEE},
    {"fir 16 to 16",         "ZVFIR1616",              fir_16_16,          0xCF8B81AA5C1B2F31},
    {"fir 16 to 32",         "ZVFIR1632",              fir_16_32,          0x2C901A1DAC68DDDD},
    {"fir 32 to 32",         "ZVFIR3232",              fir_32_32,          0xDD2C4F4352C73795, "exact"},
    {"fir 32 to 32",         "ZVFIR3232",              fir_32_32,          0x314FFF826323C6A5, "high"},
    {"fir every second",     "ZVFIR3232_Process2",     fir_process2,       0xFBF1753D30FDE307, "exact"},
    {"fir every second",     "ZVFIR3232_Process2",     fir_process2,       0x1CFC054E0CAAE08A, "high"},
    {"fir designs",          nullptr,                  fir_designs,        0x82C8A8CD14C581DB},
    {"delay lines",          nullptr,                  delay_lines,        0x7D451BE4C4875F07},
    {"notch filter",         nullptr,                  notch,              0xD724BC5B8D1E656F},
    {"lms",                  "ZVLMS1616",              lms,                0xEFEF448A33A2504D},
    {"gain control",         nullptr,                  agc,                0x5C520ED2A46B5750},
    {"demodulator, am",      "ZVDemodulator16",        am,                 0x2BA42474047D9972},
    {"demodulator, sync am", "ZVDemodulator16",        synchronous_am,     0xFDA5A2D9B7CE3DEA},
    {"demodulator, isb",     "ZVDemodulator16",        isb,                0x7EF41A8194A874AF},
    {"demodulator, ssb",     "ZVDemodulator16",        ssb,                0x55B8A677C480254A},
    {"demodulator, fm",      "ZVDemodulator16",        fm,                 0x91AF2BCC31FF61B1},
    {"pitch shift",          "ZVFIR1616",              pitch_shift,        0xC3B1BE8708901A7A},
    {"fsk by correlation",   "ZVFSKCorrDemod16",       fsk_corr_demod,     0x5541FA0A086AB949},
    {"fsk by delay",         "ZVFIR1616",              fsk_delay_demod,    0xA56231FCA9943D60},
    {"data formatter",       nullptr,                  data_formatter,     0x23758A3D0A41EE0C},
    {"tone by correlation",  "ZVToneDetectorCorr16",   tone_detector_corr, 0xF9805243C6D3DD3F},
    {"resampler, 16 bits",   "ZVResampler32, 16 bits", resample_push_16,   0xFC58359271A811D1},
    {"resampler, 32 bits",   "ZVResampler32, 32 bits", resample_push_32,   0x8525E59CBEFFFF21},
    {"resampler, pulled",    "ZVResampler32, 16 bits", resample_pull,      0x5CC986A8674B0C4B},
    {"pixmaps",              nullptr,                  pixmaps,            0x2C2C65FB25D08696},
    {"colours",              nullptr,                  colours,            0x19B54F1614FE025D},
    {"texts",                nullptr,                  texts,              0x1CBB09CDE6FA2828},
    {"strings",              nullptr,                  strings,            0x29D2E8513D9ACFC5},
    {"string lists",         nullptr,                  string_lists,       0xA10EB002DD1A8E85},
};
const std::span<const IntegerPart> integer_parts = integers;

// As the portable forms give them, but for the autocorrelation, whose lags begin at 1 in its 3DNow! form.
static constexpr double exponentials_expected[] = {0x1.57a3afeed00abp-30, 0x1.57a3afeed00abp-30,
    0x1.c3d6a24ed8222p-1, 0x1.c3d6a24ed8222p-1, 0x1.5bf0a8b145769p+1, 0x1.5bf0a8b145769p+1,
    0x1.223251387247cp+11, 0x1.223251387247cp+11, -0x1.0db90e68b8abfp+1, -0x1.ffbfc2bbc7803p-4,
    0x1.e8927964fd5fdp-2, 0x1.8p+2};
static constexpr double numbers_expected[] = {0x1.921fb54442d11p+1, -0x1p-4, 0x1.b69b4ba630f35p+56,
    0x1.6666666666666p-1};
static constexpr double double_expected[] = {0x1.f68effdbe812p+12, 0, -0x1.8ff97b67e9eebp+21,
    -0x1.745d70a33ed4p+9, 0x1.8fbdf7456bc9ap+20, 0x1.3e41ab6d68164p+15, -0x1.1225147c7f85ap+19,
    -0x1.1a720ea406a7fp+8, 0x1.f66c236eb9cep+12, 0, -0x1.1ae349b1ea056p+21, -0x1.1ac29e2574268p+21,
    0x1.13d10bd333856p+20, 0x1.218355d500dbp+20, 0x1.837fd98382b53p+18, -0x1.83e42a35e6666p+18,
    -0x1.e092674549p+6, -0x1.195d5c1f136p+8, 0x1.508cbdc8ddp+8, -0x1.6fac84eb988p+6, -0x1.36a5d79a885b7p+3,
    -0x1.888787776b9aep+8, 0x1.008023ff82p+6, 0x1.28fb853777cp+7};
static constexpr double float_expected[] = {0x1.f41278p+12, 0, -0x1.8ff93ap+21, -0x1.6d1e1cp+9,
    0x1.dbe80ap+20, 0x1.7a03dap+15, -0x1.122336p+19, -0x1.8f386cp+7, 0x1.f3fd06p+12, 0, -0x1.1ae2b2p+21,
    -0x1.1ac2dep+21, 0x1.485974p+20, 0x1.58b186p+20, 0x1.838b9cp+18, -0x1.83d29cp+18, -0x1.552eap+7,
    -0x1.68242p+8, 0x1.2b994cp+8, -0x1.d20fp+5, 0x1.3b86c2p+4, -0x1.4ffe0cp+8, 0x1.7a2a6p+5, 0x1.9c4c4p+7};
static constexpr double band_expected[] = {0, 0, -0x1.02f3acp+8, -0x1.8ffe22p+20, 0x1.0c9d8p+8,
    -0x1.7f15c6p+7, 0, 0};
static constexpr double tone_expected[] = {0x1.29e8e4p+23, 0x1.2ae99475de7b1p+23};
static constexpr double correlation_expected[] = {0x1.784808p-1, 0x1.0f910ep-1, 0x1.09ad1ap-6,
    0x1.0e532ap-1, 0x1.a575ccp-1, 0x1.2ee8fcp-1, 0x1.2ab178p-6, 0x1.2c5f48p-1, 0x1.d31df2p-1, 0x1.4eafdcp-1,
    0x1.4b7108p-6, 0x1.4a0958p-1, 0x1p+0, 0x1.6cfda8p-1, 0x1.568874p-6, 0x1.67914ep-1};
static constexpr double correlation_3dnow[] = {0x1.f351c2p-2, 0x1.e87d24p-7, 0x1.f10942p-2, 0x1.837622p-1,
    0x1.167986p-1, 0x1.129918p-6, 0x1.14243ap-1, 0x1.ad6f68p-1, 0x1.33b02cp-1, 0x1.30b45ep-6, 0x1.2f69bp-1,
    0x1.d6b294p-1, 0x1.4f8c2ap-1, 0x1.3ae6bcp-6, 0x1.4a8fcep-1, 0x1.fffffep-1};
static constexpr double envelope_expected[] = {0x1.ac46fp-2, 0x1.2a8644p-2, 0x1.6e363p-2, 0x1.da189p-2,
    0x1.1ad158p-2, 0x1.44c3a8p-1, 0x1.a1471cp-3};
static constexpr double frequency_expected[] = {0x1.4ec974p+10, -0x1.4ec974p+10, -0x1.00e4ccp+10,
    -0x1.0998eep+10, -0x1.194ed6p+10, -0x1.0def08p+10, -0x1.036c06p+10};

static const RealPart reals[] = {
    {"exponentials",     nullptr,                     exponentials,     53, 1, false, exponentials_expected},
    {"numbers of texts", nullptr,                     numbers_of_texts, 53, 1, false, numbers_expected},
    {"spectrum, double", "ZVFFT",                     spectrum_double,  53, 4, true,  double_expected},
    {"spectrum, float",  "ZVFFT2Float",               spectrum_float,   24, 2, true,  float_expected},
    {"band, float",      "ZVFFT2Float",               band_float,       24, 2, true,  band_expected},
    {"tone detector",    nullptr,                     tone_detector,    53, 4, false, tone_expected},
    {"autocorrelation",  "Correlate_Float_Float",     autocorrelation,  24, 1, false, correlation_3dnow, "3dnow"},
    {"autocorrelation",  "Correlate_Float_Float",     autocorrelation,  24, 1, false, correlation_expected},
    {"envelope",         "ExtractAmplitude_16_Float", envelope,         24, 1, false, envelope_expected},
    {"frequency",        "ExtractFrequency_16_Float", frequency,        24, 1, false, frequency_expected},
};
const std::span<const RealPart> real_parts = reals;
// clang-format on
} // namespace client::selftest
