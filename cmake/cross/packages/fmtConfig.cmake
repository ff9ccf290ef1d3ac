# No include directory: Debian's cross compilers search /usr/include by themselves, after the target's own headers.
add_library(fmt::fmt INTERFACE IMPORTED)
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
