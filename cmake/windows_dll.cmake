# zovek.dll: its export lists and its ways in (src/platform/windows_dll.cpp), all made of the names in src/zovek.map.
file(STRINGS src/zovek.map zovek_names REGEX "^    [A-Za-z_0-9]+;$")
list(TRANSFORM zovek_names REPLACE "[ ;]" "")
set(exports "")
set(linked "")
set(entries "")
foreach(name ${zovek_names})
    string(APPEND exports "    ${name}\n")
    string(APPEND linked "    ${name} = enter_${name}\n")
    string(APPEND entries "ZV_ENTER(${name})\n")
endforeach()
file(CONFIGURE OUTPUT zovek.def CONTENT "LIBRARY zovek.dll\nEXPORTS\n${exports}") # for import libraries of other tools
file(CONFIGURE OUTPUT windows_entries.def CONTENT "LIBRARY zovek.dll\nEXPORTS\n${linked}")
file(CONFIGURE OUTPUT windows_entries.inc CONTENT "${entries}")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS src/zovek.map)

add_library(zovek_edge OBJECT src/platform/windows_dll.cpp) # not the DLL's own source, which would make it C++
target_include_directories(zovek_edge PRIVATE include src ${CMAKE_CURRENT_BINARY_DIR})
target_compile_definitions(zovek_edge PRIVATE ZV_BUILDING)
target_compile_options(zovek_edge PRIVATE -fno-exceptions -fno-rtti)
target_sources(zovek PRIVATE $<TARGET_OBJECTS:zovek_edge> ${CMAKE_CURRENT_BINARY_DIR}/windows_entries.def)
target_link_libraries(zovek PRIVATE gcc) # the static one, ahead of what CMake adds for the objects' language
set_target_properties(zovek PROPERTIES PREFIX "")

# The system keeps the stack at 16 bytes, and compilers are known to spill wider registers there with moves that
# want 32 or 64: the assembler writes them as unaligned ones, which cost nothing more.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-Wa,-muse-unaligned-vector-move has_unaligned_moves)
if(has_unaligned_moves)
    target_compile_options(zovek_objects PRIVATE -Wa,-muse-unaligned-vector-move)
endif()

install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zovek.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
