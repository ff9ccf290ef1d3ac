# Installs nivra.pc. What it calls its prefix is known when it is installed:
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

# A static library's hosts need what C++ compilers link by themselves, and others don't.
set(libraries ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER libraries INCLUDE REGEX "^(c\\+\\+|stdc\\+\\+|m)$")
list(REMOVE_DUPLICATES libraries)
list(TRANSFORM libraries PREPEND "-l")
list(JOIN libraries " " libraries)
set(definitions "")
if(NIVRA_LIBRARY_KIND STREQUAL "STATIC")
  set(definitions -DNIVRA_STATIC)
endif()

set(prefix "@prefix@")
configure_file(${CMAKE_CURRENT_LIST_DIR}/nivra.pc.in nivra.pc.in @ONLY)
install(CODE "
  set(nivra_pc [[${CMAKE_CURRENT_BINARY_DIR}/nivra.pc]])
  set(movable_prefix [[${movable_prefix}]])" COMPONENT development)
install(CODE [[
  set(prefix "${CMAKE_INSTALL_PREFIX}")
  if(movable_prefix AND NOT prefix STREQUAL "/usr")
    set(prefix "${movable_prefix}")
  endif()
  configure_file("${nivra_pc}.in" "${nivra_pc}" @ONLY)]] COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/nivra.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
