#pragma once

/// @file
/// The release of these headers. The build reads its version number from here.

/// Raised when hosts have to be changed.
#define NIVRA_VERSION_MAJOR 0
/// Raised when there is something new; before 1.0 also when hosts have to be built anew.
#define NIVRA_VERSION_MINOR 1
/// Raised when something is mended.
#define NIVRA_VERSION_PATCH 0
