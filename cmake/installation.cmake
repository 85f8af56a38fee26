# What `cmake --install` puts where. Two parts, which become two Debian packages: `command` is all that people need who
# run vordta or a program that was linked with the library; `development` is what building such programs needs.
#
# Everything works from a moved prefix: the command finds the module by its own place, programs by the run path that
# the CMake package and the pkg-config file give them.
include(CMakePackageConfigHelpers)

set(module_directory ${CMAKE_INSTALL_LIBDIR}/vordta)
set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/vorhost)
set(pkgconfig_directory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(completion_directory ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
set(zsh_directory ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)

# The command, with the module it loads.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME command)
install(TARGETS vordta RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS vorimdta LIBRARY DESTINATION ${module_directory})
install(FILES cli/vordta.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES cli/completions/vordta.bash DESTINATION ${completion_directory} RENAME vordta)
install(FILES cli/completions/vordta.zsh DESTINATION ${zsh_directory} RENAME _vordta)
install(FILES cli/completions/vordta.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The host library, the headers and what finds them.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
target_compile_features(vorhost PUBLIC cxx_std_20)
target_link_options(vorhost INTERFACE $<INSTALL_INTERFACE:LINKER:-rpath,$<INSTALL_PREFIX>/${module_directory}>)
install(TARGETS vorabi vorhost EXPORT vorhost ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY abi/vor host/include/vorhost DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS vordta_c vordta_sqlite LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES examples/read_rows.cpp examples/drive_module.cpp examples/read_stream.c DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(EXPORT vorhost NAMESPACE vorhost:: FILE vorhost-targets.cmake DESTINATION ${package_directory})

configure_package_config_file(cmake/vorhost-config.cmake.in ${CMAKE_BINARY_DIR}/vorhost-config.cmake
  INSTALL_DESTINATION ${package_directory} NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vorhost-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vorhost-config.cmake ${CMAKE_BINARY_DIR}/vorhost-config-version.cmake
  DESTINATION ${package_directory})

string(REGEX REPLACE "[^/]+" ".." pkgconfig_to_prefix ${pkgconfig_directory})
configure_file(cmake/vorhost.pc.in ${CMAKE_BINARY_DIR}/vorhost.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vorhost.pc DESTINATION ${pkgconfig_directory})
