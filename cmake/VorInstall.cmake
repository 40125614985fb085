# What is installed: the library with its headers, a pkg-config file and a CMake package, the command
# and the format modules. The installed tree may be moved as a whole.
include(CMakePackageConfigHelpers)

set(headers_dir ${CMAKE_INSTALL_INCLUDEDIR}/vor-6.0)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vor-6.0)

# The public headers are those that the umbrella header includes, in the folders that they have in
# the sources.
set(umbrella ${PROJECT_SOURCE_DIR}/src/libvor.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${umbrella})
file(STRINGS ${umbrella} includes REGEX "^#include \"")
list(TRANSFORM includes REPLACE "^#include \"(.*)\".*" "\\1" OUTPUT_VARIABLE VOR_PUBLIC_HEADERS)
foreach(header vor_api.h libvor.h ${VOR_PUBLIC_HEADERS})
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${PROJECT_SOURCE_DIR}/src/${header} DESTINATION ${headers_dir}/${folder})
endforeach()

install(TARGETS vor EXPORT vor LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT vor NAMESPACE vor:: DESTINATION ${package_dir} FILE vor-targets.cmake)
file(WRITE ${PROJECT_BINARY_DIR}/vor-config.cmake
  "include(\${CMAKE_CURRENT_LIST_DIR}/vor-targets.cmake)\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vor-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/vor-config.cmake ${PROJECT_BINARY_DIR}/vor-config-version.cmake
  DESTINATION ${package_dir})

file(RELATIVE_PATH VOR_PC_TO_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/vor-6.0.pc.in ${PROJECT_BINARY_DIR}/vor-6.0.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vor-6.0.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(VOR_BUILD_TOOLS)
  file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(vor_command PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
  install(TARGETS vor_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

  # A program's modules are looked for beside the directory of the program.
  set(plugins_dir ${CMAKE_INSTALL_PREFIX}/${VOR_PLUGINS_DIR})
  file(RELATIVE_PATH plugins_to_lib ${plugins_dir} ${CMAKE_INSTALL_FULL_LIBDIR})
  get_property(modules GLOBAL PROPERTY VOR_MODULES)
  set_target_properties(${modules} PROPERTIES INSTALL_RPATH "$ORIGIN/${plugins_to_lib}")
  install(TARGETS ${modules} LIBRARY DESTINATION ${VOR_PLUGINS_DIR})

  if(TARGET vor_manual)
    set(manual ${PROJECT_BINARY_DIR}/manual)
    set(completions ${manual}/completions)
    install(DIRECTORY ${manual}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR})
    install(FILES ${completions}/bash/vor
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES ${completions}/zsh/_vor DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    install(FILES ${completions}/fish/vor.fish
      DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  endif()
endif()
