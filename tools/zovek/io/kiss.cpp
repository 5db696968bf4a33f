#include "io/kiss.h"
#include "io/talk.h"

namespace client {
void Kiss::attend()
{
    if (!server_.attend() || told_) return;
    told_ = true;
    say("decode: a KISS client sends frames: they are dropped, this receives alone");
}

std::string Kiss::framed(const std::string& frame)
{
    constexpr char end = '\xC0', escape = '\xDB', escaped_end = '\xDC', escaped_escape = '\xDD', data = 0;
    std::string bytes{end, data};
    for (const char byte : frame) {
        if (byte == end || byte == escape) bytes += escape;
        bytes += byte == end ? escaped_end : byte == escape ? escaped_escape : byte;
    }
    return bytes + end;
}
} // namespace client
