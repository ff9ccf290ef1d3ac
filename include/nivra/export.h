#pragma once

/// @file
/// Marks what the shared library exports; everything else stays hidden, and of a static library (NIVRA_STATIC) all.

/// Shows a name to hosts.
#ifdef NIVRA_STATIC
#define NIVRA_EXPORT
#else
#define NIVRA_EXPORT __attribute__((visibility("default")))
#endif

/// Keeps a member of an exported class to the library: hosts see it, since it is of a value type, but can't call it.
#define NIVRA_HIDDEN __attribute__((visibility("hidden")))

/// Lets GCC and clang check printf-style arguments. Positions count from 1, `this` included.
#if defined(__GNUC__)
#define NIVRA_PRINTF(formatPosition, firstArgument) __attribute__((format(printf, formatPosition, firstArgument)))
#else
#define NIVRA_PRINTF(formatPosition, firstArgument)
#endif
