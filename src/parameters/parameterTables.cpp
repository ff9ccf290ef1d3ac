#include "nivra/parameterTables.h"

#include "parameters/parameterNames.h"

namespace nivra {

namespace {

constexpr char kPictureUnits2[] = "picture units^2";

// What can be meant: beyond it a value has no meaning, or makes the equations degenerate.
constexpr ParameterRange kFractions = {0.0, 1.0};
constexpr ParameterRange kCosines = {-1.0, 1.0};
constexpr ParameterRange kCosineDistances = {0.0, 2.0};
constexpr ParameterRange kPercent = {-100.0, 100.0};
constexpr ParameterRange kFactors = {0.0, 1e6};
constexpr ParameterRange kNoiseFactors = {1e-6, 1e6};
constexpr ParameterRange kVariances = {0.0, 1e6};
constexpr ParameterRange kNoiseVariances = {1e-12, 1e6};
constexpr ParameterRange kWidths = {1e-6, 1e6};
constexpr ParameterRange kLogLikelihoods = {-1e6, 1e6};
constexpr ParameterRange kTimes = {0.0, 1e18};
constexpr ParameterRange kCounts = {0.0, 1e9};
constexpr ParameterRange kNoNumbers = {0.0, 0.0};

constexpr ParameterDescription kalmanEntries[] = {
    {names::kProcessNoiseVariance, "0.05", "picture units^2/s^4",
     "variance of the acceleration that a box may show on each axis",
     "follows detections faster, trusts its own motion less", kVariances},
    {names::kInitialVelocityVariance, "0.05", "picture units^2/s^2", "variance of a new track's unknown velocity",
     "lets a new track pick up speed from fewer detections", kVariances},
    {names::kObservationNoiseVarianceX, "0.00070332", kPictureUnits2,
     "variance of a detection's horizontal centre, and of a new track's",
     "smooths more, and accepts detections farther off", kNoiseVariances},
    {names::kObservationNoiseVarianceY, "0.00116828", kPictureUnits2,
     "variance of a detection's vertical centre, and of a new track's",
     "smooths more, and accepts detections farther off", kNoiseVariances},
    {names::kObservationNoiseVarianceW, "0.00254144", kPictureUnits2,
     "variance of a detection's width, and of a new track's", "smooths more, and accepts sizes farther off",
     kNoiseVariances},
    {names::kObservationNoiseVarianceH, "0.00701324", kPictureUnits2,
     "variance of a detection's height, and of a new track's", "smooths more, and accepts sizes farther off",
     kNoiseVariances},
    {names::kObjectnessClasses, "", "label, fraction, ...",
     "labels whose objectness scales the observation noise, each followed by the class score at which its curve "
     "is one half",
     "a larger centre demands a better class score for the same trust", kNoNumbers},
    {names::kClassSigmoidWidth, "0.294", "fraction", "class-score span over which the curve rises from 0.05 to 0.95",
     "makes the passage from doubt to trust softer", kWidths},
    {names::kIouSigmoidWidth, "0.294", "fraction", "objectness span over which the curve rises from 0.05 to 0.95",
     "makes the passage from doubt to trust softer", kWidths},
    {names::kIouSigmoidCenter, "0.68", "fraction", "objectness at which the curve is one half",
     "demands a higher objectness for the same trust", kFractions},
    {names::kObservationNoiseVarianceRangeX, "0.000001, 0.0070332", kPictureUnits2,
     "variance of the horizontal centre for a perfect and for a worthless detection", "smooths more", kNoiseVariances},
    {names::kObservationNoiseVarianceRangeY, "0.000001, 0.0116828", kPictureUnits2,
     "variance of the vertical centre for a perfect and for a worthless detection", "smooths more", kNoiseVariances},
    {names::kObservationNoiseVarianceRangeW, "0.000001, 0.0254144", kPictureUnits2,
     "variance of the width for a perfect and for a worthless detection", "smooths more", kNoiseVariances},
    {names::kObservationNoiseVarianceRangeH, "0.000001, 0.0701324", kPictureUnits2,
     "variance of the height for a perfect and for a worthless detection", "smooths more", kNoiseVariances},
};

constexpr ParameterDescription kalman4DEntries[] = {
    {names::kProcessFactor, "2.0", "", "factor on all process and initial variances",
     "follows detections faster, and accepts detections farther off", kNoiseFactors},
    {names::kBaseProcessNoiseVarianceX, "0.10000", "picture units^2/s^4",
     "acceleration variance of the horizontal centre, for a box 0.2 wide", "follows detections faster", kVariances},
    {names::kBaseProcessNoiseVarianceY, "0.06020", "picture units^2/s^4",
     "acceleration variance of the vertical centre, for a box 0.2 wide", "follows detections faster", kVariances},
    {names::kBaseProcessNoiseVarianceW, "0.04011", "picture units^2/s^4",
     "acceleration variance of the width, for a box 0.2 wide", "follows detections faster", kVariances},
    {names::kBaseProcessNoiseVarianceH, "0.04011", "picture units^2/s^4",
     "acceleration variance of the height, for a box 0.2 wide", "follows detections faster", kVariances},
    {names::kBaseInitialVelocityVariance, "0.05", "picture units^2/s^2",
     "variance of a new track's unknown velocities, for a box 0.2 wide",
     "lets a new track pick up speed from fewer detections", kVariances},
    {names::kBaseInitialVarianceX, "0.001407", kPictureUnits2,
     "variance of a new track's horizontal centre, for a box 0.2 wide", "trusts the first detection less",
     kNoiseVariances},
    {names::kBaseInitialVarianceY, "0.001407", kPictureUnits2,
     "variance of a new track's vertical centre, for a box 0.2 wide", "trusts the first detection less",
     kNoiseVariances},
    {names::kBaseInitialVarianceW, "0.005627", kPictureUnits2, "variance of a new track's width, for a box 0.2 wide",
     "trusts the first detection less", kNoiseVariances},
    {names::kBaseInitialVarianceH, "0.005627", kPictureUnits2, "variance of a new track's height, for a box 0.2 wide",
     "trusts the first detection less", kNoiseVariances},
    {names::kDefaultObservationNoise, "0.002813", kPictureUnits2,
     "variance of each edge of a detection, for a box 0.2 wide", "smooths more, and accepts detections farther off",
     kNoiseVariances},
    {names::kObservationNoiseTopDeviation, "1.0", "", "factor on the standard deviation of the top edge",
     "trusts top edges less", kNoiseFactors},
    {names::kObservationNoiseBottomDeviation, "3.0", "", "factor on the standard deviation of the bottom edge",
     "trusts bottom edges less", kNoiseFactors},
    {names::kBorderNoiseScaleFactor1, "1.0", "", "factor on the variance of an edge at the picture's border",
     "trusts edges at the border less", kNoiseFactors},
    {names::kBorderNoiseScaleFactor2, "1.0", "", "factor on the variance of the other edges while one is at the border",
     "trusts boxes that touch the border less", kNoiseFactors},
    {names::kMahalanobisLimit, "3.0", "standard deviations",
     "largest distance of a detection's edges from the predicted ones", "accepts detections farther off", kFactors},
};

/// The vanilla and the low-frame-rate table differ in one default alone.
struct LikelihoodTrackerEntries {
  ParameterDescription entries[7];
};

constexpr LikelihoodTrackerEntries likelihoodTrackerEntries(const char* scoreAbsorption) {
  return {{
      {names::kWidthRelativeDiffGating, "1.0", "", "largest |detection width / track width - 1|",
       "accepts larger changes of width", kFactors},
      {names::kHeightRelativeDiffGating, "1.0", "", "largest |detection height / track height - 1|",
       "accepts larger changes of height", kFactors},
      {names::kWidthFactorGating, "1.0", "widths", "largest horizontal centre offset, in the smaller width of the two",
       "accepts detections farther to the side", kFactors},
      {names::kHeightFactorGating, "1.0", "heights", "largest vertical centre offset, in the smaller height of the two",
       "accepts detections farther above and below", kFactors},
      {names::kExpirationLikelihoodThreshold, "0.0", "log-likelihood",
       "smoothed observation log-likelihood below which a track ends", "ends lost tracks sooner", kLogLikelihoods},
      {names::kScoreAbsorption, scoreAbsorption, "fraction per frame",
       "weight of a new class or attribute score in the smoothed one", "lets scores and labels change faster",
       kFractions},
      {names::kConfidentLikelihoodThreshold, "4.0", "log-likelihood",
       "smoothed observation log-likelihood from which a track is confident", "confirms tracks later", kLogLikelihoods},
  }};
}

constexpr LikelihoodTrackerEntries vanillaEntries = likelihoodTrackerEntries("0.06");
constexpr LikelihoodTrackerEntries vanillaLowFpsEntries = likelihoodTrackerEntries("0.12");

constexpr ParameterDescription reidEntries[] = {
    {names::kLambda, "0.2", "fraction", "share of the box overlap in the association cost; the rest is appearance",
     "decides more by position, less by appearance", kFractions},
    {names::kMaxDistanceScalingFactor, "7.5", "", "reserved; no tracker reads it", "has no effect", kFactors},
    {names::kMaxFeatureDistance, "0.4", "cosine distance, 0 to 2",
     "largest appearance distance between a detection and a track's gallery", "accepts less similar detections",
     kCosineDistances},
    {names::kMaxReviveFeatureDistance, "0.225", "cosine distance, 0 to 2",
     "largest gallery distance at which a lost track is revived",
     "revives more lost tracks, at the risk of mixing people up", kCosineDistances},
    {names::kMaxIouDistance, "0.8", "1 - IoU",
     "largest 1 - IoU between a detection and a track when there is no appearance to compare",
     "accepts detections that overlap less", kFractions},
    {names::kReviveQuantile, "0.3", "fraction",
     "quantile of the pairwise distances that stands for the distance of two galleries",
     "demands that more of the two galleries agree", kFractions},
    {names::kDefaultCosineDistance, "0.4", "cosine distance, 0 to 2",
     "appearance distance when there is nothing to compare", "prefers pairs whose appearance is known",
     kCosineDistances},
    {names::kMaxStoreFeaturesIou, "0.0", "IoU",
     "overlap with a track of the same label above which a detection's feature is not stored",
     "stores features of more crowded moments", kFractions},
    {names::kInactiveOverlapExtraTime, "0", "ns",
     "how much longer than inactiveAge a lost track still counts as overlapping",
     "stores fewer features near lost tracks", kTimes},
    {names::kMinTimeBeforeConfident, "400000001", "ns", "age from which a tentative track becomes confident",
     "confirms tracks later", kTimes},
    {names::kMinTimeBeforeConfidentId, "2000000001", "ns",
     "age from which a confident track gets an identity of its own or revives a lost one",
     "gathers more appearance before deciding who it is", kTimes},
    {names::kMaxTentativeAge, "300000000", "ns", "time without detection after which a tentative track ends",
     "keeps unconfirmed tracks longer", kTimes},
    {names::kMaxConfidentAge, "300000000", "ns", "time without detection after which a young confident track ends",
     "keeps young tracks longer", kTimes},
    {names::kInactiveAge, "1000000000", "ns",
     "time without detection after which a track with an identity of its own becomes inactive",
     "reports lost tracks longer", kTimes},
    {names::kExpiryAge, "5000000000", "ns", "time without detection after which any track that is not inactive ends",
     "keeps lost tracks longer", kTimes},
    {names::kMaxReviveAttempts, "5", "comparisons",
     "comparisons after which an inactive track ends at maxDynamicReviveAge",
     "keeps lost tracks revivable through more comparisons", kCounts},
    {names::kMaxDynamicReviveAge, "5000000000", "ns",
     "time without detection after which an inactive track ends once maxReviveAttempts are used up",
     "keeps often compared lost tracks longer", kTimes},
    {names::kMaxReviveAge, "20000000000", "ns", "time without detection after which any inactive track ends",
     "recognises people after longer absences", kTimes},
    {names::kMinConfidentFeatureVectors, "1", "vectors", "gallery size needed for an identity of its own",
     "gathers more appearance before deciding who it is", kCounts},
    {names::kScoreAbsorption, "0.06", "fraction per frame",
     "weight of a new class or attribute score in the smoothed one", "lets scores change faster", kFractions},
    {names::kUseInbetweenFiltering, "1", "0 or 1",
     "whether detections that lie between two others are matched last and start no tracks", "switches the filtering on",
     kFractions},
    {names::kInbetweenIouScoreMargin, "5.0", "percent points",
     "how far the objectness of the middle detection must lie below both neighbours'", "marks fewer detections",
     kPercent},
    {names::kInbetweenAngleThreshold, "-0.5", "cosine, -1 to 1",
     "largest cosine of the angle at the middle detection between its neighbours", "marks more detections", kCosines},
    {names::kInbetweenMinIou, "0.0", "IoU", "overlap above which two detections of one label are neighbours",
     "marks fewer detections", kFractions},
};

template <std::size_t Count>
constexpr ParameterTable tableOf(const ParameterDescription (&entries)[Count]) {
  return {entries, Count};
}

}  // namespace

constexpr ParameterTable kalmanTable = tableOf(kalmanEntries);
constexpr ParameterTable kalman4DTable = tableOf(kalman4DEntries);
constexpr ParameterTable vanillaTable = tableOf(vanillaEntries.entries);
constexpr ParameterTable vanillaLowFpsTable = tableOf(vanillaLowFpsEntries.entries);
constexpr ParameterTable reidTable = tableOf(reidEntries);

constexpr std::array<ParameterSection, 6> parameterSections = {{
    {names::kVanillaSection, &vanillaTable},
    {names::kVanillaKalmanSection, &kalmanTable},
    {names::kVanillaLowFpsSection, &vanillaLowFpsTable},
    {names::kVanillaLowFpsKalmanSection, &kalmanTable},
    {names::kReidSection, &reidTable},
    {names::kReidKalman4DSection, &kalman4DTable},
}};

ParameterMap defaultValues(const ParameterTable& table) {
  ParameterMap values;
  for (const ParameterDescription& entry : table) values.emplace(entry.name, entry.defaultValue);
  return values;
}

}  // namespace nivra
