#include "decoders/keyed/alphabet.h"
#include <bit>

namespace decoders::keyed {
namespace {
// By code, of which the lowest bit is sent first. Those that steer the printer have a zero.
constexpr int null_code = 0, figures_code = 27, letters_code = 31;
// clang-format off
constexpr char letters[]    = "\0E\nA SIU\rDRJNFCKTZLWHYPQOBG\0MXV";
constexpr char figures[]    = "\0003\n- '87\r\0054\a,!:(5+)2#6019?&\0./=";
constexpr char us_figures[] = "\0003\n- \a87\r$4',!:(5\")2#6019?&\0./;";
// clang-format on

// Logarithms of how likely characters are, against those of plain text.
constexpr float empty_tape = -3; // five spaces
constexpr float no_text = -4;    // control characters, and codes above ASCII
constexpr float wrong_parity = -6;
} // namespace

Frame Ita2::frame() const
{
    Frame frame{.bits = 5, .stop = options_.stop, .prior = std::vector<float>(32)};
    frame.prior[null_code] = empty_tape;
    return frame;
}

std::optional<char> Ita2::read(int character)
{
    if (character == figures_code || character == letters_code) shifted_ = character == figures_code;
    const char* const shift = !shifted_ ? letters : options_.us ? us_figures : figures;
    if (shift[character] == 0) return std::nullopt;
    if (shift[character] == ' ' && options_.unshift) shifted_ = false;
    return shift[character];
}

Frame Ascii::frame() const
{
    const bool parity = options_.parity != Parity::none;
    Frame frame{.bits = options_.bits + parity, .stop = options_.stop};
    for (unsigned k = 0; k < 1u << frame.bits; ++k) {
        const unsigned code = k & ((1u << options_.bits) - 1);
        const bool text = (code >= ' ' && code < 127) || code == '\r' || code == '\n';
        const bool odd = std::popcount(k) % 2;
        frame.prior.push_back((text ? 0 : no_text) +
                              (parity && odd != (options_.parity == Parity::odd) ? wrong_parity : 0));
    }
    return frame;
}

std::optional<char> Ascii::read(int character)
{
    const int code = character & ((1 << options_.bits) - 1);
    if (code == 0 || code == 127) return std::nullopt; // they fill time
    return char(code);
}
} // namespace decoders::keyed
