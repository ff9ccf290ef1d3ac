# What the cross builds by Debian's compilers have in common; the including file sets `triplet`,
# `architecture` as Debian names it, and `emulator`.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator};-L;/usr/${triplet})
# GCC notes every call whose parameters its older versions passed otherwise.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

# The target's libraries are where scripts/install-dependencies.sh unpacked them; the host's must not stand in for them.
set(CMAKE_FIND_ROOT_PATH ${CMAKE_CURRENT_LIST_DIR}/../../build/debian/${architecture})
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
# The package's libz.so is a link to an absolute path, which leads out of the folder.
set(ZLIB_USE_STATIC_LIBS ON)

# Packages that are headers alone serve every target. Of these two the host's libraries are installed, so stand-ins
# take their place.
set(fmt_DIR ${CMAKE_CURRENT_LIST_DIR}/packages)
set(GTest_DIR ${CMAKE_CURRENT_LIST_DIR}/packages)
