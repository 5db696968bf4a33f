// Options that several commands have.
#pragma once
#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

namespace client {
// A sampling rate in whole Hz, 1 to 2^31 - 1, with k or M behind the number.
CLI::Option* add_rate(CLI::App& app, const std::string& names, int32_t& rate, const std::string& help);
} // namespace client
