#pragma once

/// @file
/// The whole library in one include.

#include "nivra/attributeFilter.h"
#include "nivra/export.h"
#include "nivra/geometry.h"
#include "nivra/kalmanBoxFilter.h"
#include "nivra/kalmanFilter1D.h"
#include "nivra/kalmanParams.h"
#include "nivra/motionTrackerServer.h"
#include "nivra/objectDetection.h"
#include "nivra/objectTracker.h"
#include "nivra/parameterMap.h"
#include "nivra/parameterTables.h"
#include "nivra/trackedObjectDetection.h"
#include "nivra/trackerFactory.h"
#include "nivra/trackerLogger.h"
#include "nivra/trackerParams.h"
#include "nivra/vanilla/objectTrack.h"
#include "nivra/vanilla/vanillaTracker.h"
#include "nivra/version.h"
