#include "io/talk.h"
#include "io/system.h"
#include "line/failure.h"
#include <cstdio>
#include <mutex>
#include <utility>

namespace client {
bool told_to_be_quiet = false;

namespace {
// Text on standard error in the place of the shown line.
void put(const std::string& text, bool shows)
{
    static std::mutex talking;
    static bool shown = false;
    const std::lock_guard lock(talking);
    std::fputs(((shown ? "\r\033[K" : "") + text).c_str(), stderr);
    shown = shows;
}
} // namespace

void complain(const std::string& line) { put("zovek: " + line + "\n", false); }

void say(const std::string& line)
{
    if (!told_to_be_quiet) complain(line);
}

void report(const words::JsonObject& summary) { put(summary.text() + "\n", false); }

void show(const std::string& line) { put(line, !line.empty()); }

void deliver()
{
    if (!system::flush()) throw Failure("standard output", system::reason());
}
} // namespace client
