# What the cross builds by Debian's compilers have in common; the including file sets `triplet` and `emulator`.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator};-L;/usr/${triplet})
# GCC notes every call whose parameters its older versions passed otherwise.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

# Packages that are headers alone serve every target. Of these two the host's libraries are installed, so stand-ins
# take their place.
set(fmt_DIR ${CMAKE_CURRENT_LIST_DIR}/packages)
set(GTest_DIR ${CMAKE_CURRENT_LIST_DIR}/packages)

# Of these the target's own libraries are needed: NIVRA_CROSS_LIBRARIES is where Debian's packages for it were unpacked.
# The folder is only known where the project is configured, not where CMake tries the compiler.
if(NIVRA_CROSS_LIBRARIES)
  set(simdjson_DIR ${NIVRA_CROSS_LIBRARIES}/usr/lib/${triplet}/cmake/simdjson)
  set(ZLIB_INCLUDE_DIR ${NIVRA_CROSS_LIBRARIES}/usr/include)
  set(ZLIB_LIBRARY ${NIVRA_CROSS_LIBRARIES}/usr/lib/${triplet}/libz.a)
endif()
