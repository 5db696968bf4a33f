# For a toolchain: libraries are those that scripts/libraries built for the target, and never this machine's own.
cmake_path(SET zovek_libraries NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/libraries/${zovek_target})
list(PREPEND CMAKE_FIND_ROOT_PATH ${zovek_libraries})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${zovek_libraries}/lib/pkgconfig:${zovek_libraries}/share/pkgconfig)
set(PKG_CONFIG_ARGN --static CACHE STRING "Arguments of pkg-config")
if(NOT EXISTS ${zovek_libraries}/built AND NOT DEFINED CACHE{ZOVEK_CLIENT})
    set(ZOVEK_CLIENT OFF) # as long as the script hasn't run
endif()
