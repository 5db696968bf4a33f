// The registry of Windows, read only. A value of any type is taken as its bytes, the last of which counts as
// the terminator.
#include "platform/platform.h"
#include <windows.h>

namespace zv::platform {
uint32_t registry_value(void* root, const char* subkey, const char* name, uint32_t size, char* buffer)
{
    HKEY key;
    if (RegOpenKeyExA(static_cast<HKEY>(root), subkey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) return 0;
    DWORD need = size;
    BYTE* const data = size != 0 ? reinterpret_cast<BYTE*>(buffer) : nullptr;
    const LSTATUS status = RegQueryValueExA(key, name, nullptr, nullptr, data, &need);
    RegCloseKey(key);
    return status == ERROR_SUCCESS || status == ERROR_MORE_DATA ? need : 0;
}
} // namespace zv::platform
