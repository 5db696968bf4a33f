// What the owners of a delay line ask beyond its exports.
#pragma once
#include <zovek/delay_line.h>

namespace zv::delay_line {
// Makes storage hold the layout for these sizes, which a later setter then gets for certain. The present
// layout and its history stay; false and no change when memory can't be had.
bool reserve(ZVDelayLine* self, int32_t block, int32_t delay);
} // namespace zv::delay_line
