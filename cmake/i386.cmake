# Toolchain: 32-bit programs for this system, for the i486 and its x87; kernels alone use more.
set(CMAKE_C_FLAGS_INIT "-m32 -march=i486 -mfpmath=387")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
set(zovek_target i386)
include(${CMAKE_CURRENT_LIST_DIR}/libraries.cmake)
