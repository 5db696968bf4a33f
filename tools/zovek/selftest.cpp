// zovek selftest: whether the library computes on this processor what it computes on every other.
#include "selftest/selftest.h"
#include "command.h"
#include "line/options.h"

namespace client {
Run add_selftest(CommandLine& line)
{
    const auto json = std::make_shared<bool>(false);
    line.flag("--json", *json, "as JSON");
    return [json] { return selftest::report(selftest::run(), *json); };
}
} // namespace client
