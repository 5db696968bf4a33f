// Sound files and streams of whatever libsndfile knows.
#pragma once
#include "io/input.h"
#include <sndfile.h>

namespace client {
// Opens and reads as far as the header. name is for messages. Fails with the reason.
std::unique_ptr<Input> open_sound_file(const std::string& path, const std::string& name);

namespace system {
// A file by its name, in libsndfile's own way; null: it can't. system_posix.cpp and system_windows.cpp.
SNDFILE* open_sound(const std::string& path, SF_INFO* info);
} // namespace system
} // namespace client
