#include "decoders/modes.h"
#include <utility>

namespace decoders {
Modes modes()
{
    constexpr Modes (*families[])() = {packet::modes, tones::modes, bulletins::modes, pages::modes,
                                       keyed::modes};
    Modes all;
    for (const auto family : families)
        for (Mode& mode : family()) all.push_back(std::move(mode));
    return all;
}

std::string spelled(const std::string& text, std::string (*rule)(const std::string& name))
{
    std::string result;
    size_t from = 0;
    for (size_t open; (open = text.find('{', from)) != std::string::npos;) {
        const size_t close = text.find('}', open);
        if (close == std::string::npos) break;
        result += text.substr(from, open - from) + rule(text.substr(open + 1, close - open - 1));
        from = close + 1;
    }
    return result + text.substr(from);
}

words::JsonObject told(const char* mode, const Message& message)
{
    words::JsonObject object;
    object.add("mode", mode);
    if (message.level) object.add("level", tenth(*message.level));
    if (message.snr) object.add("snr", tenth(*message.snr));
    return object.add("text", words::printable(message.text)).append(message.fields);
}
} // namespace decoders
