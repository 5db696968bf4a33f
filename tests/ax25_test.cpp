// AX.25 frames out of levels: the frame's bits made here by another road than they are read, bit by bit.
#include "decoders/packet/ax25.h"
#include <gtest/gtest.h>

using decoders::packet::Deframer;
using decoders::packet::parse_ax25;

namespace {
std::string shifted(const std::string& call, int last_byte)
{
    std::string bytes;
    for (const char c : call) bytes += char(c << 1);
    return bytes + char(last_byte);
}

const std::string head = shifted("QB2BB ", 0xe0) + shifted("QA1AA ", 0x61); // to QB2BB from QA1AA
const std::string ui = head + "\x03\xf0";

// Soft values of a level and then a frame between two flags: NRZI, stuffed, CRC by long division.
std::vector<float> levels(const std::string& frame)
{
    std::string data;
    for (const char byte : frame)
        for (int k = 0; k < 8; ++k) data += byte >> k & 1 ? '1' : '0';
    unsigned crc = 0xffff;
    for (const char bit : data) crc = crc >> 1 ^ ((crc & 1) != unsigned(bit - '0') ? 0x8408 : 0);
    for (int k = 0; k < 16; ++k) data += (~crc >> k & 1) ? '1' : '0';
    std::string sent = "01111110";
    for (const char bit : data) {
        sent += bit;
        if (sent.ends_with("11111")) sent += '0';
    }
    sent += "01111110";
    std::vector<float> soft = {1};
    float level = 1;
    for (const char bit : sent) soft.push_back(level = bit == '1' ? level : -level);
    return soft;
}

std::vector<Deframer::Found> read(const std::vector<float>& soft, bool repair = false)
{
    Deframer deframer(repair);
    std::vector<Deframer::Found> all;
    for (const float value : soft)
        if (auto found = deframer.push(value)) all.push_back(*found);
    return all;
}

TEST(Deframer, ReadsWhatWasSent)
{
    for (const std::string& info : {std::string(), std::string("hello"), std::string(256, '\xff'),
                                    std::string(2048, '\0'), std::string("\x7e\x7e\xfc\x1f\xf8", 5)}) {
        auto soft = levels(ui + info);
        const auto length = int64_t(soft.size());
        const auto again = levels(ui + "second");
        const float turn = soft.back() * again[8]; // one flag between the two
        for (size_t k = 9; k < again.size(); ++k) soft.push_back(turn * again[k]);
        for (const float sign : {1.f, -1.f}) {
            for (float& value : soft) value *= sign;
            const auto found = read(soft);
            ASSERT_EQ(found.size(), 2u);
            EXPECT_EQ(found[0].frame, ui + info);
            EXPECT_EQ(found[0].begin, 9);
            EXPECT_EQ(found[0].end, length);
            EXPECT_EQ(found[1].frame.substr(16), "second");
        }
    }
}

TEST(Deframer, RefusesWhatIsDamaged)
{
    const auto good = levels(ui + "the quick brown fox");
    for (size_t k = 9; k < good.size() - 8; ++k) {
        auto soft = good;
        soft[k] = -soft[k];
        EXPECT_TRUE(read(soft).empty()) << "level " << k;
    }
    EXPECT_TRUE(read(levels(head)).empty()) << "no control field";
    auto aborted = good;
    std::fill(aborted.begin() + 100, aborted.begin() + 110, 1.f);
    EXPECT_TRUE(read(aborted).empty());
    EXPECT_EQ(read(std::vector<float>(100000, 1.f)).size(), 0u);
}

TEST(Deframer, MendsTheWeakestLevels)
{
    const auto good = levels(ui + "the quick brown fox jumps over the lazy dog");
    const auto flipped = [&](const std::vector<size_t>& at, float strength) {
        auto soft = good;
        for (const size_t k : at) soft[k] *= -strength;
        return read(soft, true);
    };
    for (const std::vector<size_t>& at :
         {std::vector<size_t>{60}, {60, 61}, {100, 200, 300}, {60, 61, 200, 202, 300, 301}}) {
        const auto found = flipped(at, 0.1f);
        ASSERT_EQ(found.size(), 1u);
        EXPECT_EQ(found[0].frame.substr(16), "the quick brown fox jumps over the lazy dog");
        EXPECT_EQ(found[0].flipped, int(at.size()));
    }
    EXPECT_TRUE(flipped({60, 100, 200, 300}, 0.1f).empty()) << "four";
    EXPECT_TRUE(flipped({300}, 2).empty()) << "a strong one";
    // Right ones among the weak.
    auto weak = good;
    for (size_t k = 0; k < 8; ++k) weak[210 + 10 * k] *= 0.02f;
    for (const size_t k : {100, 150, 170}) weak[k] *= k == 170 ? -0.04f : -0.01f;
    EXPECT_EQ(read(weak, true).size(), 1u);
    // Stuffed bits that come and go. (A flag in the midst would end the frame.)
    const std::string stuffed = "~~~?~~o~~|>~~~?~~o~~|>~~";
    const auto tight = levels(ui + stuffed);
    size_t places = 0, mended = 0;
    for (size_t k = 10; k + 60 < tight.size(); ++k) {
        auto three = tight;
        for (const size_t at : {k, k + 3, k + 50}) three[at] *= -0.1f;
        std::string bits;
        for (size_t at = 1; at < three.size(); ++at)
            bits += (three[at] > 0) == (three[at - 1] > 0) ? '1' : '0';
        if (bits.find("01111110", 1) + 8 < bits.size()) continue;
        ++places;
        const auto found = read(three, true);
        mended += found.size() == 1 && found[0].frame == ui + stuffed;
    }
    EXPECT_GT(places, 200u);
    EXPECT_EQ(mended, places);
    // Frames that no person sends as text are not made up.
    auto soft = levels(head + "\x3f");
    soft[60] *= -0.1f;
    EXPECT_TRUE(read(soft, true).empty());
}

TEST(Ax25, TellsAddressesAndKinds)
{
    const std::string to = shifted("QB2BB ", 0xe0), from = shifted("QA1AA ", 0x60 | 9 << 1);
    const auto via = [&](int first, int second) {
        return to + from + shifted("QC3CC ", 0x62 | first) + shifted("WIDE2 ", 0x63 | second) + "\x03\xf0!";
    };
    const std::pair<std::string, const char*> rows[] = {
        {ui + "hello", "QA1AA>QB2BB:hello"},
        {via(0, 0), "QA1AA-9>QB2BB,QC3CC-1,WIDE2-1:!"},
        {via(0x80, 0), "QA1AA-9>QB2BB,QC3CC-1*,WIDE2-1:!"},
        {via(0x80, 0x80), "QA1AA-9>QB2BB,QC3CC-1,WIDE2-1*:!"},
        {head + "\x3f", "QA1AA>QB2BB:<SABM>"},
        {head + "\x73", "QA1AA>QB2BB:<UA>"},
        {head + "\x1f", "QA1AA>QB2BB:<DM>"},
        {head + "\x53", "QA1AA>QB2BB:<DISC>"},
        {head + "\x41", "QA1AA>QB2BB:<RR>"},
        {head + "\x59", "QA1AA>QB2BB:<REJ>"},
        {head + "\x42\xf0"
                "data",
         "QA1AA>QB2BB:<I>data"},
        {shifted("Q B2B ", 0xe2) + shifted(" qa\1- ", 0x61) + "\x03\xf0!", " qa\1->Q B2B-1:!"},
        {shifted("      ", 0xe0) + head.substr(7) + "\x03\xf0!", "QA1AA>:!"},
    };
    for (const auto& [frame, text] : rows) {
        const auto fields = parse_ax25(frame);
        ASSERT_TRUE(fields) << text;
        EXPECT_EQ(fields->monitor(), text);
    }
    std::string many = to + from;
    for (int k = 0; k < 9; ++k) many += shifted("QC3CC ", 0x62);
    for (const std::string& wrong :
         {std::string(), to, to + from, shifted("QB2BB ", 0xe1) + "\x03\xf0 long enough",
          std::string("\x01").append(ui, 1), many + "\x03\xf0!"})
        EXPECT_FALSE(parse_ax25(wrong));
}

TEST(Ax25, KnowsTextFromNoise)
{
    EXPECT_TRUE(parse_ax25(ui + "`Yq]=;6s\x1c\r")->plausible());
    for (const std::string& frame : {ui, ui + "\x01text", ui + "\xe9",
                                     head + "\x03\xcf"
                                            "text",
                                     head + "\x3f", shifted("Q B2B ", 0xe0) + ui.substr(7) + "text",
                                     shifted("      ", 0xe0) + ui.substr(7) + "text"})
        EXPECT_FALSE(parse_ax25(frame)->plausible());
}
} // namespace
