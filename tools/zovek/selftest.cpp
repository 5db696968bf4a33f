// zovek selftest: whether the library computes on this processor what it computes on every other.
#include "selftest/selftest.h"
#include "command.h"
#include "kernels.h"
#include <CLI/CLI.hpp>

namespace client {
Run add_selftest(CLI::App& app)
{
    const auto json = std::make_shared<bool>(false);
    app.add_flag("--json", *json, "as JSON");
    return [json] { return selftest::report(selftest::run(wider_sets()), *json); };
}
} // namespace client
