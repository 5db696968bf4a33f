# Toolchain: programs for 64-bit Windows, built on another system by MinGW-w64 GCC and run there under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static) # programs carry the run-time libraries of C++ and of its threads
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(zovek_target windows)
include(${CMAKE_CURRENT_LIST_DIR}/libraries.cmake)
