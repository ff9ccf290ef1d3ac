# Fails unless the umbrella header includes every other public header, and unless sources that join include the header
# that has fmt::join since fmt 11; older releases have it in fmt/format.h as well. Run as
# cmake -D SOURCE_DIR=<checkout> -P headers.cmake
cmake_minimum_required(VERSION 3.20)
file(GLOB_RECURSE headers RELATIVE "${SOURCE_DIR}/include" "${SOURCE_DIR}/include/nivra/*.h")
list(REMOVE_ITEM headers nivra/nivra.h)
file(STRINGS "${SOURCE_DIR}/include/nivra/nivra.h" includes REGEX "^#include ")
foreach(header IN LISTS headers)
  if(NOT "#include \"${header}\"" IN_LIST includes)
    message(SEND_ERROR "nivra/nivra.h does not include ${header}")
  endif()
endforeach()

foreach(folder hostkit tools tests bench fuzz)
  file(GLOB_RECURSE sources "${SOURCE_DIR}/${folder}/*.cpp" "${SOURCE_DIR}/${folder}/*.h")
  foreach(source IN LISTS sources)
    file(READ "${source}" text)
    if(text MATCHES "fmt::join" AND NOT text MATCHES "#include <fmt/ranges.h>")
      message(SEND_ERROR "${source} does not include fmt/ranges.h")
    endif()
  endforeach()
endforeach()
