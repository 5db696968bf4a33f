# Toolchain: this machine's own, with the flags that Debian builds its packages with, the standard library's assertions, and
# library and client optimised as they are linked, where types of one name that differ are seen.
function(flags_of variable)
    execute_process(COMMAND dpkg-buildflags --get ${variable} OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE
                    COMMAND_ERROR_IS_FATAL ANY)
    set(${variable} "${flags}" PARENT_SCOPE)
endfunction()
foreach(variable CPPFLAGS CFLAGS CXXFLAGS LDFLAGS)
    flags_of(${variable})
endforeach()
set(CMAKE_C_FLAGS_INIT "${CFLAGS} ${CPPFLAGS}")
set(CMAKE_CXX_FLAGS_INIT "${CXXFLAGS} ${CPPFLAGS} -D_GLIBCXX_ASSERTIONS")
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "${LDFLAGS}")
endforeach()
set(CMAKE_C_FLAGS_RELEASE "" CACHE STRING "Those of the distribution alone")
set(CMAKE_CXX_FLAGS_RELEASE "" CACHE STRING "Those of the distribution alone")
set(ZOVEK_LTO ON CACHE BOOL "Optimise library and client as they are linked")
