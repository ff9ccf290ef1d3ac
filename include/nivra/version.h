#pragma once

/// @file
/// The release of these headers. The build reads its version number from here.

#define NIVRA_VERSION_MAJOR 0
#define NIVRA_VERSION_MINOR 1
#define NIVRA_VERSION_PATCH 0
