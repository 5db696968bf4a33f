#include "io/talk.h"
#include "io/system.h"
#include "line/failure.h"
#include <cstdio>

namespace client {
bool told_to_be_quiet = false;

void complain(const std::string& line) { std::fputs(("zovek: " + line + "\n").c_str(), stderr); }

void say(const std::string& line)
{
    if (!told_to_be_quiet) complain(line);
}

void report(const words::JsonObject& summary) { std::fputs((summary.text() + "\n").c_str(), stderr); }

void deliver()
{
    if (!system::flush()) throw Failure("standard output", system::reason());
}
} // namespace client
