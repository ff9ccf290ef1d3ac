# Fails unless the umbrella header includes every other public header. Run as
# cmake -D INCLUDE_DIR=<include folder> -P headers.cmake
cmake_minimum_required(VERSION 3.20)
file(GLOB_RECURSE headers RELATIVE "${INCLUDE_DIR}" "${INCLUDE_DIR}/nivra/*.h")
list(REMOVE_ITEM headers nivra/nivra.h)
file(STRINGS "${INCLUDE_DIR}/nivra/nivra.h" includes REGEX "^#include ")
foreach(header IN LISTS headers)
  if(NOT "#include \"${header}\"" IN_LIST includes)
    message(SEND_ERROR "nivra/nivra.h does not include ${header}")
  endif()
endforeach()
