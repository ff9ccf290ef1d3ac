#include "hostkit/worlds/simulation.h"

#include <fmt/format.h>

#include <string>
#include <variant>

#include "hostkit/errors.h"
#include "hostkit/files/output.h"
#include "hostkit/formats/frameTimes.h"
#include "hostkit/formats/motChallengeFolder.h"
#include "hostkit/worlds/detector.h"

namespace nivra::hostkit {

namespace {

std::string truthLine(int frame, const Figure& figure) {
  return fmt::format("{},{},{},1,{},{:.2f}\n", frame, figure.object, boxColumns(figure.box),
                     traitsOf(figure.kind).truthClass, figure.visibility);
}

/// So that nobody waits for a world that its format then refuses.
void requirePlace(const SimulationOptions& options, const Format& format) {
  const auto refuse = [&](const char* option, const char* what) {
    throw UsageError(fmt::format("{}: {} files have no {}; --to jsonl writes JSON Lines", option, format.title, what));
  };
  if (options.vehicles > 0 && !format.holdsLabels) refuse("--vehicles", "labels to tell them from people");
  if (options.pan > 0.0 && !format.holdsMotion) refuse("--pan", "place for camera motion");
}

void writeRecords(Simulation& simulation, DetectionWriter& detections, Output& truth) {
  Record record;
  while (simulation.read(record)) {
    detections.write(record);
    if (!std::holds_alternative<Frame>(record)) continue;
    for (const Figure& figure : simulation.truth()) truth.write(truthLine(simulation.frameNumber(), figure));
  }
}

}  // namespace

Simulation::Simulation(const SimulationOptions& chosen)
    : options(chosen), random(options.seed), drops(options.seed, 3), world(options, random) {}

bool Simulation::read(Record& record) {
  if (!frameIsDue) {
    if (!advance()) return false;
    const std::int64_t newPan = world.panAt(frame);
    const std::int64_t panned = newPan - pan.value_or(newPan);
    pan = newPan;
    if (panned != 0) {
      frameIsDue = true;
      record = CameraMotion{
          options.camera, options.picture, {1.0, 0.0, static_cast<double>(-panned) / 100.0, 0.0, 1.0, 0.0}};
      return true;
    }
  }
  frameIsDue = false;
  seeFrame(record);
  return true;
}

/// Goes on to the next frame that is not dropped.
bool Simulation::advance() {
  while (frame < options.frames) {
    ++frame;
    if (!drops.chance(options.drop)) return true;
  }
  return false;
}

void Simulation::seeFrame(Record& record) {
  figures = world.figuresAt(frame);
  Frame seen;
  seen.camera = options.camera;
  seen.timestamp = timestampOf(frame, options.frameRate);
  seen.picture = options.picture;
  seen.detections = detect(figures, random, options);
  record = std::move(seen);
}

void simulate(const SimulationOptions& options, const Target& folder, const Format& format) {
  requirePlace(options, format);
  if (folder.path.empty()) throw UsageError("-o: a sequence is a folder of files, which the standard output can't be");
  const auto truth = openInside(folder, "gt/gt.txt");
  Target target = folder;
  target.folders = NewFile::Folders::areMade;
  if (!format.writesFolders) target.path += fmt::format("/detections{}", format.outputExtension);
  const auto detections = format.writeDetections(target, {options.frameRate, 0});

  Simulation simulation(options);
  writeRecords(simulation, *detections, *truth);
  finishAll({[&] { truth->finish(); }, [&] { detections->finish(); }});
}

}  // namespace nivra::hostkit
