// What the client asks of the operating system, beside stop.h: system_posix.cpp and system_windows.cpp. Names
// of files are UTF-8, bytes pass as they are, and a reader that has gone ends the program quietly.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace client::system {
// Comes before all else. Returns the arguments behind the program's name.
std::vector<std::string> begin(int argc, char** argv);

// Why the call before failed: "No such file or directory".
std::string reason();

// ---- Files, devices, pipes and terminals that are open ----
using Handle = intptr_t;
constexpr Handle none = -1;
Handle standard_input();
Handle standard_output();
Handle standard_error();

Handle open_to_read(const std::string& path);  // none: failed; folders do
Handle open_to_write(const std::string& path); // the same, what is there already
bool close(Handle handle);

// At least one byte, waiting for it; 0 at the end or when a stop is asked for, -1 if it fails.
int64_t read(Handle handle, void* to, size_t bytes);
// All of them, or it fails.
bool write(Handle handle, const void* from, size_t bytes);
// What stdio holds of standard output; fails too if something that it held before was lost.
bool flush();

bool is_at_start_of_file(Handle handle);
int64_t length(Handle handle);              // bytes of a file
bool seek(Handle handle, int64_t position); // bytes
bool cut(Handle handle, int64_t bytes);     // a file to a length; where it is written next stays open

// ---- Names of files ----
enum class Found { nothing, file, other };
Found look(const std::string& path);
// Follows links to the file itself, which may be missing; fails if it is there and may not be written. On
// Windows a link to nothing fails.
bool find_target(std::string& path);
// A new file, with the permissions of another one if that is there; taken: something has the name.
Handle create(const std::string& path, const std::string& like, bool& taken);
// At once and whole; what had the name before is gone.
bool rename(const std::string& from, const std::string& to);
void remove(const std::string& path);

// ---- Terminals ----
bool is_terminal(Handle handle);
struct Size {
    int columns, lines;
    bool operator==(const Size&) const = default;
};
std::optional<Size> terminal_size(); // of standard output; nothing where it is none
} // namespace client::system
