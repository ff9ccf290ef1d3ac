#include "nivra/cameraMotionEstimator.h"

#include <cmath>
#include <optional>
#include <utility>

#include "cameraMotion/movementFit.h"
#include "cameraMotion/movementJudge.h"
#include "cameraMotion/movementVotes.h"
#include "core/frameTime.h"
#include "states/fields.h"

namespace nivra {

namespace {

constexpr StateKind kEstimatorState = {0x4D43564EU, 1, "camera motion estimator"};  // "NVCM"

constexpr double kLongestStep = 1.0;  // seconds; velocities don't tell where people are after more
constexpr std::size_t kFewestSupporters = 3;
constexpr std::size_t kFewestForACut = 4;
// A lens that zooms by a fifth within a second is a quick one.
constexpr double kZoomSpeed = 0.2;
// Velocities that all tracks learned from the camera before it was found to move: this share of them is left to their
// filters to unlearn.
constexpr double kUnlearned = 0.3;
// Votes beyond three and a half standard deviations count for half in the movement.
constexpr double kTolerance = 12.0;
constexpr int kReweightings = 2;

/// One over the variance of the zoom that so many seconds may bring.
double zoomPrecisionOf(double elapsed) { return 1.0 / (kZoomSpeed * kZoomSpeed * elapsed * elapsed); }

}  // namespace

void moveTracks(MotionTrackerServer& server, const std::function<Point(const Point&)>& map) {
  auto source = map;  // handed back as it is, but not const
  server.setCameraMotionTracker(&source, 0, [](void* movement, int, Point& point) {
    point = (*static_cast<decltype(source)*>(movement))(point);
    return true;
  });
  server.updateClients();
  server.setCameraMotionTracker(nullptr, 0, nullptr);
}

class CameraMotionEstimator::Body {
 public:
  NIVRA_HIDDEN CameraMotionEstimate estimate(const std::vector<ObjectDetection>& detections,
                                             unsigned long long timestamp);
  NIVRA_HIDDEN void follow(const std::vector<TrackReport>& tracks) { votes.remember(tracks); }

  /// What a stored state holds: the boxes before those of the latest frame are not needed any more.
  template <class Archive>
  NIVRA_HIDDEN void fields(Archive& archive) {
    archive(now, votes, judgement, lastTimestamp);
  }

 private:
  NIVRA_HIDDEN double secondsSinceLast(unsigned long long timestamp);
  NIVRA_HIDDEN CameraMotionEstimate::Verdict judge(double elapsed);
  NIVRA_HIDDEN bool isCut() const;
  NIVRA_HIDDEN void measure(double elapsed, CameraMotionEstimate& result) const;

  BoxTable before;
  BoxTable now;
  MovementVotes votes;
  MovementJudge judgement;
  std::optional<unsigned long long> lastTimestamp;
};

CameraMotionEstimate CameraMotionEstimator::Body::estimate(const std::vector<ObjectDetection>& detections,
                                                           unsigned long long timestamp) {
  const double elapsed = secondsSinceLast(timestamp);
  std::swap(before, now);
  now.fill(detections);
  CameraMotionEstimate result;
  if (elapsed > 0.0 && elapsed <= kLongestStep) {
    result.verdict = judge(elapsed);
    result.voters = static_cast<std::int32_t>(votes.askedCount());
    result.supporters = static_cast<std::int32_t>(votes.size());
    if (result.verdict == CameraMotionEstimate::Verdict::moving) measure(elapsed, result);
  } else {
    votes.forget();
    judgement.forgetSpeed();
  }
  result.movingProbability = static_cast<float>(judgement.probability());
  return result;
}

/// @return 0 for a first frame, or one that is not newer.
double CameraMotionEstimator::Body::secondsSinceLast(unsigned long long timestamp) {
  const auto last = std::exchange(lastTimestamp, timestamp);
  if (!last || timestamp <= *last) return 0.0;
  return static_cast<double>(secondsBetween(*last, timestamp));
}

CameraMotionEstimate::Verdict CameraMotionEstimator::Body::judge(double elapsed) {
  using Verdict = CameraMotionEstimate::Verdict;
  judgement.pass(elapsed);
  const double zoomPrecision = zoomPrecisionOf(elapsed);
  const Movement expected = judgement.probability() < 0.5 ? Movement() : judgement.expected(elapsed);
  votes.collect(before, now, expected, elapsed);
  votes.agree(expected, judgement.precision(), zoomPrecision);
  if (isCut()) {
    judgement.forgetSpeed();
    return Verdict::cut;
  }
  if (votes.size() < kFewestSupporters || 2 * votes.size() < votes.voterCount()) return Verdict::unknown;
  judgement.weigh(votes, zoomPrecision, elapsed);
  return judgement.probability() < 0.5 ? Verdict::still : Verdict::moving;
}

/// Whether there would be enough objects to agree, and hardly any do. Not if the detector has just lost most of them.
bool CameraMotionEstimator::Body::isCut() const {
  const std::size_t tracks = votes.askedCount();
  return tracks >= kFewestForACut && now.size() >= kFewestForACut && 2 * now.size() >= tracks &&
         3 * votes.size() <= tracks;
}

/// The movement from the tracks themselves to their new detections: what they lagged behind before is made good.
void CameraMotionEstimator::Body::measure(double elapsed, CameraMotionEstimate& result) const {
  const double zoomPrecision = zoomPrecisionOf(elapsed);
  const Precision precision = judgement.precision();
  Movement movement;
  for (int i = 0; i <= kReweightings; ++i) {
    MovementFit fit;
    for (const MovementVote& vote : votes) {
      const MovementVoter& voter = votes.voterOf(vote);
      const double seenX = vote.seenX + voter.lagX + kUnlearned * voter.stepX;
      const double seenY = vote.seenY + voter.lagY + kUnlearned * voter.stepY;
      double weightX = voter.weightX(precision);
      double weightY = voter.weightY(precision);
      if (i > 0) {
        const double offX = seenX - movement.xAt(voter.placeX);
        const double offY = seenY - movement.yAt(voter.placeY);
        const double trust = 1.0 / (1.0 + (offX * offX * weightX + offY * offY * weightY) / kTolerance);
        weightX *= trust;
        weightY *= trust;
      }
      fit.add(voter.placeX, voter.placeY, seenX, seenY, weightX, weightY);
    }
    movement = fit.solve(zoomPrecision);
    result.standardError = {static_cast<float>(1.0 / std::sqrt(fit.informationX())),
                            static_cast<float>(1.0 / std::sqrt(fit.informationY()))};
  }
  const auto zoom = static_cast<float>(1.0 + movement.zoom);
  result.map = {zoom, 0.0F, static_cast<float>(movement.x), 0.0F, zoom, static_cast<float>(movement.y)};
}

CameraMotionEstimator::CameraMotionEstimator() : body(std::make_unique<Body>()) {}
CameraMotionEstimator::CameraMotionEstimator(std::string_view state) : CameraMotionEstimator() {
  StateReader reader(state, kEstimatorState);
  body->fields(reader);
  reader.finish();
}
CameraMotionEstimator::~CameraMotionEstimator() = default;
CameraMotionEstimator::CameraMotionEstimator(CameraMotionEstimator&& other) noexcept = default;
CameraMotionEstimator& CameraMotionEstimator::operator=(CameraMotionEstimator&& other) noexcept = default;

CameraMotionEstimate CameraMotionEstimator::estimate(const std::vector<ObjectDetection>& detections,
                                                     unsigned long long timestamp) {
  return body->estimate(detections, timestamp);
}

void CameraMotionEstimator::saveState(std::string& bytes) const {
  StateWriter writer(bytes, kEstimatorState);
  body->fields(writer);
  writer.seal();
}

void CameraMotionEstimator::follow(const std::vector<TrackReport>& tracks) { body->follow(tracks); }

}  // namespace nivra
