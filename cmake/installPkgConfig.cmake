# Installs a .pc file. What it calls its prefix is known when it is installed:
# - Under /usr it is /usr, so that pkg-config leaves out the directories that compilers search anyway (an -L of them
#   could come before the host's own), and puts a PKG_CONFIG_SYSROOT_DIR in front of them.
# - Elsewhere it is found from the file's own place, so that the folder may be moved.
# - From libraries at an absolute place no way leads to the rest, so the prefix is named there, too.

cmake_path(APPEND includedir "\${prefix}" "${CMAKE_INSTALL_INCLUDEDIR}")
cmake_path(APPEND libdir "\${prefix}" "${CMAKE_INSTALL_LIBDIR}")
set(movable_prefix "")
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  file(RELATIVE_PATH up "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
  set(movable_prefix "\${pcfiledir}/${up}")
endif()

function(install_pkg_config library description)
  set(libraries "")
  set(definitions "")
  get_target_property(kind ${library} TYPE)
  if(kind STREQUAL "STATIC_LIBRARY")
    # Its hosts need what C++ compilers link by themselves, and others don't.
    set(libraries ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
    list(FILTER libraries INCLUDE REGEX "^(c\\+\\+|stdc\\+\\+|m)$")
    list(REMOVE_DUPLICATES libraries)
    list(TRANSFORM libraries PREPEND "-l")
    list(JOIN libraries " " libraries)
    set(definitions -DNIVRA_STATIC)
  endif()

  set(prefix "@prefix@")
  set(file ${PROJECT_BINARY_DIR}/${library}.pc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/nivra.pc.in ${file}.in @ONLY)
  install(CODE "
    set(file [[${file}]])
    set(movable_prefix [[${movable_prefix}]])" COMPONENT development)
  install(CODE [[
    set(prefix "${CMAKE_INSTALL_PREFIX}")
    if(movable_prefix AND NOT prefix STREQUAL "/usr")
      set(prefix "${movable_prefix}")
    endif()
    configure_file("${file}.in" "${file}" @ONLY)]] COMPONENT development)
  install(FILES ${file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()
