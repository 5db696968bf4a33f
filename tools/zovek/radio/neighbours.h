// The width of a station by what stands beside it. A default is as wide as a clean station is worth; a strong
// neighbour is kept out by a second filter behind the decimation, narrower and steeper.
#pragma once
#include "radio/plan.h"
#include <cstdint>
#include <span>

namespace client {
// The plan for a station of this default width, by the first second of its band, Q31: with channel filter and
// width of a narrower one where a neighbour does the wider one harm, else as it is.
Plan beside_neighbours(Plan plan, std::span<const int32_t> band);
} // namespace client
