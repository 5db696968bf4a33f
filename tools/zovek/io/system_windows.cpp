// The client's requests to the operating system, by the calls of Windows: files and consoles by handles,
// names in UTF-16, and no more of the C library than that it leaves line ends alone.
#include "io/sound_file.h"
#include "io/stop.h"
#include "io/system.h"
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <iterator>
#include <system_error>
#include <utility>
#include <windows.h>

// Of the C library, declared in none of its headers: arguments as it gives them to wmain, with file names in
// place of patterns if asked.
extern "C" _CRTIMP int __wgetmainargs(int*, wchar_t***, wchar_t***, int patterns, void* startup_info);

namespace client {
namespace {
std::atomic<int> asked = 0;
std::atomic<bool> waiting = false; // the main thread reads
HANDLE main_thread;
thread_local bool is_beside = false; // this thread is

// Called in a thread of its own when the user or the system wants an end.
BOOL WINAPI stop(DWORD event)
{
    const bool user = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
    if (asked.exchange(user ? SIGINT : SIGTERM)) return FALSE;  // not the first time
    for (; waiting; Sleep(1)) CancelSynchronousIo(main_thread); // it may be on its way to the wait
    if (!user) Sleep(INFINITE);                                 // the end of this call would end the program
    return TRUE;
}
} // namespace

void watch_for_stop()
{
    if (main_thread) return;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &main_thread, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    SetConsoleCtrlHandler(nullptr, FALSE); // whatever the parent does with Ctrl-C
    SetConsoleCtrlHandler(stop, TRUE);
}

int stop_signal() { return asked; }

std::jthread beside(std::function<void()> work)
{
    return std::jthread([work = std::move(work)] {
        is_beside = true;
        work();
    });
}
} // namespace client

namespace client::system {
namespace {
thread_local std::error_code error;

std::wstring wide(const std::string& text)
{
    std::wstring result(text.size(), 0); // never more units than bytes
    const int length =
        MultiByteToWideChar(CP_UTF8, 0, text.data(), int(text.size()), result.data(), int(result.size()));
    result.resize(size_t(length));
    return result;
}

std::string narrow(const std::wstring& text)
{
    std::string result(3 * text.size(), 0);
    const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), result.data(),
                                           int(result.size()), nullptr, nullptr);
    result.resize(size_t(length));
    return result;
}

HANDLE of(Handle handle) { return reinterpret_cast<HANDLE>(handle); }

// Keeps the reason of what failed.
template <class Result>
Result or_reason(Result result, bool good)
{
    if (!good) error = std::error_code(int(GetLastError()), std::system_category());
    return result;
}
bool or_reason(bool good) { return or_reason(good, good); }

bool is_folder(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

Handle open(const std::string& path, DWORD access, DWORD disposition)
{
    const HANDLE handle =
        CreateFileW(wide(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    or_reason(handle != INVALID_HANDLE_VALUE);
    if (handle == INVALID_HANDLE_VALUE && is_folder(wide(path)))
        error = std::make_error_code(std::errc::is_a_directory);
    return reinterpret_cast<Handle>(handle);
}

// The reader at the other end of a pipe has gone: the exit status is what shells tell of SIGPIPE.
void end_if_nobody_reads(DWORD code)
{
    constexpr DWORD gone[] = {ERROR_BROKEN_PIPE, ERROR_NO_DATA, ERROR_PIPE_NOT_CONNECTED};
    if (!is_beside && std::ranges::find(gone, code) != std::end(gone)) ExitProcess(128 + 13);
}

// Consoles take UTF-8 and the sequences of terminals, and are left as they were.
class Consoles {
public:
    Consoles() : code_page_(GetConsoleOutputCP())
    {
        SetConsoleOutputCP(CP_UTF8);
        for (Screen& screen : screens_)
            if (GetConsoleMode(screen.handle, &screen.mode))
                SetConsoleMode(screen.handle, screen.mode | ENABLE_PROCESSED_OUTPUT |
                                                  ENABLE_WRAP_AT_EOL_OUTPUT |
                                                  ENABLE_VIRTUAL_TERMINAL_PROCESSING);
            else
                screen.handle = nullptr;
    }
    ~Consoles()
    {
        for (const Screen& screen : screens_)
            if (screen.handle) SetConsoleMode(screen.handle, screen.mode);
        if (code_page_) SetConsoleOutputCP(code_page_);
    }

private:
    struct Screen {
        HANDLE handle;
        DWORD mode;
    };
    const UINT code_page_;
    Screen screens_[2] = {{GetStdHandle(STD_OUTPUT_HANDLE), 0}, {GetStdHandle(STD_ERROR_HANDLE), 0}};
};
} // namespace

std::vector<std::string> begin(int argc, char** argv)
{
    for (FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
    static const Consoles consoles;
    wchar_t **arguments, **environment;
    int startup_info = 0; // no new mode for memory
    if (__wgetmainargs(&argc, &arguments, &environment, 1, &startup_info) != 0)
        return {argv + (argc > 0), argv + argc};
    std::vector<std::string> result;
    std::transform(arguments + (argc > 0), arguments + argc, std::back_inserter(result), narrow);
    return result;
}

// In the words of POSIX where they tell as much.
std::string reason() { return error.default_error_condition().message(); }

Handle standard_input() { return reinterpret_cast<Handle>(GetStdHandle(STD_INPUT_HANDLE)); }
Handle standard_output() { return reinterpret_cast<Handle>(GetStdHandle(STD_OUTPUT_HANDLE)); }
Handle standard_error() { return reinterpret_cast<Handle>(GetStdHandle(STD_ERROR_HANDLE)); }

Handle open_to_read(const std::string& path) { return open(path, GENERIC_READ, OPEN_EXISTING); }
Handle open_to_write(const std::string& path) { return open(path, GENERIC_WRITE, OPEN_EXISTING); }
bool close(Handle handle) { return or_reason(CloseHandle(of(handle)) != 0); }

int64_t read(Handle handle, void* to, size_t bytes)
{
    DWORD got = 0, code = ERROR_OPERATION_ABORTED;
    waiting = true;
    while (code == ERROR_OPERATION_ABORTED && !stop_signal())
        code = ReadFile(of(handle), to, DWORD(std::min<size_t>(bytes, 1 << 30)), &got, nullptr)
                   ? ERROR_SUCCESS
                   : GetLastError();
    waiting = false;
    constexpr DWORD ends[] = {ERROR_SUCCESS, ERROR_OPERATION_ABORTED, ERROR_BROKEN_PIPE, ERROR_HANDLE_EOF};
    if (std::ranges::find(ends, code) != std::end(ends)) return got;
    SetLastError(code);
    return or_reason(-1, false);
}

bool write(Handle handle, const void* from, size_t bytes)
{
    const char* at = static_cast<const char*>(from);
    while (bytes > 0) {
        DWORD written = 0;
        const auto piece = DWORD(std::min<size_t>(bytes, 1 << 15)); // consoles take no more
        if (!or_reason(WriteFile(of(handle), at, piece, &written, nullptr) != 0)) {
            end_if_nobody_reads(DWORD(error.value()));
            return false;
        }
        at += written;
        bytes -= written;
    }
    return true;
}

bool flush()
{
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return true;
    SetLastError(_doserrno); // of the call that failed, be it this one or one before
    end_if_nobody_reads(_doserrno);
    return or_reason(false);
}

bool is_at_start_of_file(Handle handle)
{
    LARGE_INTEGER position;
    return GetFileType(of(handle)) == FILE_TYPE_DISK &&
           SetFilePointerEx(of(handle), {}, &position, FILE_CURRENT) && position.QuadPart == 0;
}

int64_t length(Handle handle)
{
    LARGE_INTEGER size = {};
    GetFileSizeEx(of(handle), &size);
    return size.QuadPart;
}

bool seek(Handle handle, int64_t position)
{
    LARGE_INTEGER to;
    to.QuadPart = position;
    return or_reason(SetFilePointerEx(of(handle), to, nullptr, FILE_BEGIN) != 0);
}

bool cut(Handle handle, int64_t bytes)
{
    return seek(handle, bytes) && or_reason(SetEndOfFile(of(handle)) != 0);
}

Found look(const std::string& path)
{
    const std::wstring name = wide(path);
    if (is_folder(name) || name.starts_with(L"\\\\.\\")) return Found::other;
    const HANDLE handle = CreateFileW(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, 0, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return GetFileAttributesW(name.c_str()) == INVALID_FILE_ATTRIBUTES ? Found::nothing : Found::file;
    const bool file = GetFileType(handle) == FILE_TYPE_DISK;
    CloseHandle(handle);
    return file ? Found::file : Found::other;
}

bool find_target(std::string& path)
{
    const Handle handle = open_to_write(path);
    if (handle == none) return GetFileAttributesW(wide(path).c_str()) == INVALID_FILE_ATTRIBUTES;
    std::wstring real(32768, 0); // no path is longer
    real.resize(GetFinalPathNameByHandleW(of(handle), real.data(), DWORD(real.size()), 0));
    CloseHandle(of(handle));
    if (!real.empty()) path = narrow(real);
    return true;
}

Handle create(const std::string& path, const std::string&, bool& taken)
{
    const Handle handle = open(path, GENERIC_WRITE, CREATE_NEW);
    taken = handle == none && error.value() == ERROR_FILE_EXISTS;
    return handle;
}

bool rename(const std::string& from, const std::string& to)
{
    return or_reason(MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0);
}

void remove(const std::string& path) { DeleteFileW(wide(path).c_str()); }

SNDFILE* open_sound(const std::string& path, SF_INFO* info)
{
    return sf_wchar_open(wide(path).c_str(), SFM_READ, info);
}

bool is_terminal(Handle handle)
{
    DWORD mode;
    return GetConsoleMode(of(handle), &mode) != 0;
}

std::optional<Size> terminal_size()
{
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(of(standard_output()), &info)) return {};
    return Size{info.srWindow.Right - info.srWindow.Left + 1, info.srWindow.Bottom - info.srWindow.Top + 1};
}
} // namespace client::system
