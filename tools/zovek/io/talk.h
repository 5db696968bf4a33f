// What a command says beside its results. Any thread may.
#pragma once
#include "words/words.h"
#include <string>

namespace client {
// One line on standard error: of talk, which --quiet silences, or of what failed.
void say(const std::string& line);
void complain(const std::string& line);

// A summary as one line of JSON on standard error, which --quiet leaves.
void report(const words::JsonObject& summary);

// The line that a person sees while work goes on, empty to take it off. What is said takes its place.
void show(const std::string& line);

extern bool told_to_be_quiet;

// Fails if what was printed on standard output didn't get there.
void deliver();
} // namespace client
