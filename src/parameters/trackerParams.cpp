#include "nivra/trackerParams.h"

#include "nivra/parameterTables.h"
#include "parameters/parameterNames.h"
#include "parameters/parameterRanges.h"
#include "parameters/parameterRows.h"

namespace nivra {

namespace vanilla {

namespace {

using Row = ParameterRow<TrackerParams>;

struct Rows {
  Row rows[7];
};

/// The vanilla and the low-frame-rate table differ in one default alone.
constexpr Rows rowsWith(const char* scoreAbsorption) {
  return {{
      {{"widthRelativeDiffGating",
        "1.0",
        "",
        "largest |detection width / track width - 1|",
        "accepts larger changes of width",
        kFactors,
        {0.2, 2.0},
        kLogarithmic},
       into<&TrackerParams::widthRelativeDiffGating>},
      {{"heightRelativeDiffGating",
        "1.0",
        "",
        "largest |detection height / track height - 1|",
        "accepts larger changes of height",
        kFactors,
        {0.2, 2.0},
        kLogarithmic},
       into<&TrackerParams::heightRelativeDiffGating>},
      {{"widthFactorGating",
        "1.0",
        "widths",
        "largest horizontal centre offset, in the smaller width of the two",
        "accepts detections farther to the side",
        kFactors,
        {0.4, 3.0},
        kLogarithmic},
       into<&TrackerParams::widthFactorGating>},
      {{"heightFactorGating",
        "1.0",
        "heights",
        "largest vertical centre offset, in the smaller height of the two",
        "accepts detections farther above and below",
        kFactors,
        {0.2, 3.0},
        kLogarithmic},
       into<&TrackerParams::heightFactorGating>},
      {{"expirationLikelihoodThreshold",
        "0.0",
        "log-likelihood",
        "smoothed observation log-likelihood below which a track ends",
        "ends lost tracks sooner",
        kLogLikelihoods,
        {-0.35, 2.0},
        kLinear},
       into<&TrackerParams::expirationLikelihoodThreshold>},
      {{"scoreAbsorption",
        scoreAbsorption,
        "fraction per frame",
        "weight of a new class or attribute score in the smoothed one",
        "lets scores and labels change faster",
        kFractions,
        {0.01, 0.5},
        kLogarithmic},
       into<&TrackerParams::scoreAbsorption>},
      {{"confidentLikelihoodThreshold",
        "4.0",
        "log-likelihood",
        "smoothed observation log-likelihood from which a track is confident",
        "confirms tracks later",
        kLogLikelihoods,
        {0.0, 8.0},
        kLinear},
       into<&TrackerParams::confidentLikelihoodThreshold>},
  }};
}

constexpr Rows usualRows = rowsWith("0.06");
constexpr Rows lowFpsRows = rowsWith("0.12");
constexpr auto usualDescriptions = descriptionsOf(usualRows.rows);
constexpr auto lowFpsDescriptions = descriptionsOf(lowFpsRows.rows);

TrackerParams parse(ParameterMap& params, const Rows& table, const ParameterTable& defaults, const char* section) {
  const ParameterMap merged = updateParams(defaultValues(defaults), params, section);
  TrackerParams result;
  result.kalmanParams = parseKalmanParameters(params, section);
  fill(result, table.rows, merged);
  return result;
}

}  // namespace

}  // namespace vanilla

namespace reid {

namespace {

template <auto InBetweenParams::*field>
constexpr auto intoInBetween = into<&TrackerParams::inBetween, field>;

constexpr ParameterRow<TrackerParams> rows[] = {
    {{"lambda",
      "0.2",
      "fraction",
      "share of the box overlap in the association cost; the rest is appearance",
      "decides more by position, less by appearance",
      kFractions,
      {0.0, 1.0},
      kLinear},
     into<&TrackerParams::lambda>},
    {{"maxDistanceScalingFactor",
      "7.5",
      "",
      "accepted in configurations that set it; association does without",
      "has no effect",
      kFactors,
      {1.0, 20.0},
      kLogarithmic},
     into<&TrackerParams::maxDistanceScalingFactor>},
    {{"maxFeatureDistance",
      "0.4",
      "cosine distance, 0 to 2",
      "largest appearance distance between a detection and a track's gallery",
      "accepts less similar detections",
      kCosineDistances,
      {0.1, 0.8},
      kLinear},
     into<&TrackerParams::maxFeatureDistance>},
    {{"maxReviveFeatureDistance",
      "0.225",
      "cosine distance, 0 to 2",
      "largest gallery distance at which a lost track is revived",
      "revives more lost tracks, at the risk of mixing people up",
      kCosineDistances,
      {0.05, 0.5},
      kLinear},
     into<&TrackerParams::maxReviveFeatureDistance>},
    {{"maxIouDistance",
      "0.8",
      "1 - IoU",
      "largest 1 - IoU between a detection and a track when there is no appearance to compare",
      "accepts detections that overlap less",
      kFractions,
      {0.4, 1.0},
      kLinear},
     into<&TrackerParams::maxIouDistance>},
    {{"reviveQuantile",
      "0.3",
      "fraction",
      "quantile of the pairwise distances that stands for the distance of two galleries",
      "demands that more of the two galleries agree",
      kFractions,
      {0.05, 0.95},
      kLinear},
     into<&TrackerParams::reviveQuantile>},
    {{"defaultCosineDistance",
      "0.4",
      "cosine distance, 0 to 2",
      "appearance distance when there is nothing to compare",
      "prefers pairs whose appearance is known",
      kCosineDistances,
      {0.1, 0.8},
      kLinear},
     into<&TrackerParams::defaultCosineDistance>},
    {{"maxStoreFeaturesIou",
      "0.0",
      "IoU",
      "overlap with a track of the same label above which a detection's feature is not stored",
      "stores features of more crowded moments",
      kFractions,
      {0.0, 0.6},
      kLinear},
     into<&TrackerParams::maxStoreFeaturesIou>},
    {{"inactiveOverlapExtraTime",
      "0",
      "ns",
      "how much longer than inactiveAge a lost track still counts as overlapping",
      "stores fewer features near lost tracks",
      kTimes,
      {0.0, 5e+09},
      kLinear},
     into<&TrackerParams::inactiveOverlapExtraTime>},
    {{"minTimeBeforeConfident",
      "400000001",
      "ns",
      "age from which a tentative track becomes confident",
      "confirms tracks later",
      kTimes,
      {2e+07, 2e+09},
      kLogarithmic},
     into<&TrackerParams::minTimeBeforeConfident>},
    {{"minTimeBeforeConfidentId",
      "2000000001",
      "ns",
      "age from which a confident track gets an identity of its own or revives a lost one",
      "gathers more appearance before deciding who it is",
      kTimes,
      {1e+08, 5e+09},
      kLogarithmic},
     into<&TrackerParams::minTimeBeforeConfidentId>},
    {{"maxTentativeAge",
      "300000000",
      "ns",
      "time without detection after which a tentative track ends",
      "keeps unconfirmed tracks longer",
      kTimes,
      {4e+07, 2e+09},
      kLogarithmic},
     into<&TrackerParams::maxTentativeAge>},
    {{"maxConfidentAge",
      "300000000",
      "ns",
      "time without detection after which a young confident track ends",
      "keeps young tracks longer",
      kTimes,
      {4e+07, 5e+09},
      kLogarithmic},
     into<&TrackerParams::maxConfidentAge>},
    {{"inactiveAge",
      "1000000000",
      "ns",
      "time without detection after which a track with an identity of its own becomes inactive",
      "reports lost tracks longer",
      kTimes,
      {1e+08, 1e+10},
      kLogarithmic},
     into<&TrackerParams::inactiveAge>},
    {{"expiryAge",
      "5000000000",
      "ns",
      "time without detection after which any track that is not inactive ends",
      "keeps lost tracks longer",
      kTimes,
      {5e+08, 3e+10},
      kLogarithmic},
     into<&TrackerParams::expiryAge>},
    {{"maxReviveAttempts",
      "5",
      "comparisons",
      "comparisons after which an inactive track ends at maxDynamicReviveAge",
      "keeps lost tracks revivable through more comparisons",
      kCounts,
      {1.0, 100.0},
      kLogarithmic},
     into<&TrackerParams::maxReviveAttempts>},
    {{"maxDynamicReviveAge",
      "5000000000",
      "ns",
      "time without detection after which an inactive track ends once maxReviveAttempts are used up",
      "keeps often compared lost tracks longer",
      kTimes,
      {1e+09, 6e+10},
      kLogarithmic},
     into<&TrackerParams::maxDynamicReviveAge>},
    {{"maxReviveAge",
      "20000000000",
      "ns",
      "time without detection after which any inactive track ends",
      "recognises people after longer absences",
      kTimes,
      {2e+09, 6e+11},
      kLogarithmic},
     into<&TrackerParams::maxReviveAge>},
    {{"minConfidentFeatureVectors",
      "1",
      "vectors",
      "gallery size needed for an identity of its own",
      "gathers more appearance before deciding who it is",
      kCounts,
      {1.0, 30.0},
      kLogarithmic},
     into<&TrackerParams::minConfidentFeatureVectors>},
    {{"scoreAbsorption",
      "0.06",
      "fraction per frame",
      "weight of a new class or attribute score in the smoothed one",
      "lets scores change faster",
      kFractions,
      {0.01, 0.5},
      kLogarithmic},
     into<&TrackerParams::scoreAbsorption>},
    {{"useInbetweenFiltering",
      "1",
      "0 or 1",
      "whether detections that lie between two others are matched last and start no tracks",
      "switches the filtering on",
      kFractions,
      {0.0, 1.0},
      kLinear},
     intoInBetween<&InBetweenParams::useInbetween>},
    {{"inbetweenIouScoreMargin",
      "5.0",
      "percent points",
      "how far the objectness of the middle detection must lie below both neighbours'",
      "marks fewer detections",
      kPercent,
      {-20.0, 40.0},
      kLinear},
     intoInBetween<&InBetweenParams::iouScoreMargin>},
    {{"inbetweenAngleThreshold",
      "-0.5",
      "cosine, -1 to 1",
      "largest cosine of the angle at the middle detection between its neighbours",
      "marks more detections",
      kCosines,
      {-0.95, 0.0},
      kLinear},
     intoInBetween<&InBetweenParams::maxAngle>},
    {{"inbetweenMinIou",
      "0.0",
      "IoU",
      "overlap above which two detections of one label are neighbours",
      "marks fewer detections",
      kFractions,
      {0.0, 0.5},
      kLinear},
     intoInBetween<&InBetweenParams::minIou>},
};
constexpr auto descriptions = descriptionsOf(rows);

}  // namespace

}  // namespace reid

constexpr ParameterTable vanillaTable = tableOf(vanilla::usualDescriptions);
constexpr ParameterTable vanillaLowFpsTable = tableOf(vanilla::lowFpsDescriptions);
constexpr ParameterTable reidTable = tableOf(reid::descriptions);

vanilla::TrackerParams parseVanillaParameters(ParameterMap& params, float /*aspectRatio*/) {
  return vanilla::parse(params, vanilla::usualRows, vanillaTable, names::kVanillaSection);
}

vanilla::TrackerParams parseVanillaLowFpsParameters(ParameterMap& params, float /*aspectRatio*/) {
  return vanilla::parse(params, vanilla::lowFpsRows, vanillaLowFpsTable, names::kVanillaLowFpsSection);
}

reid::TrackerParams parseReidParameters(ParameterMap& params, float aspectRatio) {
  const ParameterMap merged = updateParams(defaultValues(reidTable), params, names::kReidSection);
  reid::TrackerParams result;
  result.kalmanParams = parseKalman4DParameters(params, names::kReidSection, aspectRatio);
  fill(result, reid::rows, merged);
  return result;
}

hybrid::TrackerParams parseHybridParameters(ParameterMap& params, float aspectRatio) {
  hybrid::TrackerParams result;
  result.vanillaParams = parseVanillaParameters(params, aspectRatio);
  result.reidParams = parseReidParameters(params, aspectRatio);
  return result;
}

}  // namespace nivra
