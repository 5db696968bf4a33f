# What is installed, and how programs find it: by pkg-config, by find_package(zovek) and by the system's loader.
include(CMakePackageConfigHelpers)

# ---- Places, as seen from each other: what is installed can be moved as a whole ----
set(folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH zovek_prefix ${folder} ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH zovek_libdir ${folder} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH zovek_includedir ${folder} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/zovek.pc.in zovek.pc @ONLY)

if(TARGET zovek_client)
    install(TARGETS zovek_client)
endif()
if(TARGET zovek_pages) # where they were built
    set(pages ${CMAKE_CURRENT_BINARY_DIR}/pages)
    install(DIRECTORY ${pages}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 OPTIONAL FILES_MATCHING PATTERN "*.1")
    install(FILES ${pages}/zovek.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME zovek OPTIONAL)
    install(FILES ${pages}/_zovek DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions OPTIONAL)
    install(FILES ${pages}/zovek.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d OPTIONAL)
endif()
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})

install(TARGETS zovek zovek_static EXPORT zovek)
install(DIRECTORY include/zovek bindings/cpp/ TYPE INCLUDE)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zovek.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/zovek)
install(EXPORT zovek NAMESPACE zovek:: FILE zovek-config.cmake DESTINATION ${package})
write_basic_package_version_file(zovek-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zovek-config-version.cmake DESTINATION ${package})

# ---- The loader's cache; and the way back ----
configure_file(cmake/loader.cmake.in loader.cmake @ONLY)
configure_file(cmake/uninstall.cmake.in uninstall.cmake @ONLY)
if(NOT CMAKE_CROSSCOMPILING)
    install(SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/loader.cmake)
endif()
if(PROJECT_IS_TOP_LEVEL)
    add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -P uninstall.cmake)
endif()
