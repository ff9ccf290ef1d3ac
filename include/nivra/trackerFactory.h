#pragma once

/// @file
/// The usual way to obtain a tracker.

#include <memory>
#include <string_view>

#include "nivra/export.h"
#include "nivra/motionTrackerServer.h"
#include "nivra/objectTracker.h"
#include "nivra/parameterMap.h"
#include "nivra/stateArchive.h"

namespace nivra {

/// Makes a tracker, which subscribes to the process-wide camera motion server of this moment, if there is one.
///
/// Hosts whose cameras are on several threads use the other overload: the process-wide server may be that of another
/// thread's camera.
///
/// @param selector 0 vanilla, 1 re-identification, 2 hybrid, 3 low frame rate.
/// @param params Textual parameters; what is absent keeps its default.
/// @param labelAssociations For each track label, the detection labels that a track may take. Detections of a label
///   without an entry start new tracks in every frame (see `LabelAssociations`).
/// @param aspectRatio Picture width divided by picture height.
/// @return The tracker, or null for any other selector (the parameters are not looked at then).
/// @throws std::invalid_argument "Unused tracker parameters: ..." for keys that this variant doesn't read,
///   std::out_of_range "Bad parameter: <name>" for an unknown name in one of its sections, and what the
///   standard conversions throw ("stof", "stoull", "stoi") for values that are no numbers.
NIVRA_EXPORT std::unique_ptr<ObjectTracker> makeTracker(int selector, ParameterMap params,
                                                        const LabelAssociations& labelAssociations, float aspectRatio);

/// The same, but the tracker subscribes to the server that it is handed, and nothing process-wide is read. May run on
/// several threads at once, each with a server of its own.
///
/// @param motionServer The server of the tracker's camera; null for a camera that doesn't move.
NIVRA_EXPORT std::unique_ptr<ObjectTracker> makeTracker(int selector, ParameterMap params,
                                                        const LabelAssociations& labelAssociations, float aspectRatio,
                                                        MotionTrackerServer* motionServer);

/// Makes a tracker of what `ObjectTracker::saveState` wrote, which goes on from there. It has the parameters and label
/// associations of the tracker that wrote it.
///
/// @param motionServer As above: the state doesn't say where the camera's movements come from. It has room for one
///   tracker of a kind, so one that goes on from itself ends before.
/// @throws StateError when the bytes are no state of a tracker, damaged, cut or of a later release. Bytes that somebody
///   else made up on purpose may pass, and make a tracker that tracks nonsense, but does nothing else.
NIVRA_EXPORT std::unique_ptr<ObjectTracker> restoreTracker(std::string_view state, MotionTrackerServer* motionServer);

/// The same, for a state of the tracker that the last five arguments would make.
///
/// @return The tracker, or null for a selector that there isn't.
/// @throws StateError as above, and when the state is of another tracker, other parameters or other label associations;
///   what `makeTracker` throws.
NIVRA_EXPORT std::unique_ptr<ObjectTracker> restoreTracker(std::string_view state, int selector, ParameterMap params,
                                                           const LabelAssociations& labelAssociations,
                                                           float aspectRatio, MotionTrackerServer* motionServer);

}  // namespace nivra
