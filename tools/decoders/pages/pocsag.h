// Pagers.
#pragma once
#include "decoders/decoder.h"
#include "decoders/pages/pocsag_pages.h"

namespace decoders::pages {
struct Settings {
    std::optional<int> baud;           // 512, 1200 or 2400 alone; all at once
    PageText as = PageText::automatic; // how messages are read
};

// A message a page, out of what an FM discriminator gives, either way up.
MadeDecoder make_pocsag(double rate, const Settings& settings, Emit emit);
} // namespace decoders::pages
