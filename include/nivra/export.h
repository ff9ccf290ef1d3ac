#pragma once

/// @file
/// Marks what the shared library exports; everything else stays hidden.

#if defined(_WIN32) && !defined(NIVRA_STATIC)
#ifdef NIVRA_BUILDING
#define NIVRA_EXPORT __declspec(dllexport)
#else
#define NIVRA_EXPORT __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define NIVRA_EXPORT __attribute__((visibility("default")))
#else
#define NIVRA_EXPORT
#endif

/// Lets GCC and clang check printf-style arguments. Positions count from 1, `this` included.
#if defined(__GNUC__)
#define NIVRA_PRINTF(formatPosition, firstArgument) __attribute__((format(printf, formatPosition, firstArgument)))
#else
#define NIVRA_PRINTF(formatPosition, firstArgument)
#endif
