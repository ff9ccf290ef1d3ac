#include "hostkit/evaluation/figures.h"

#include <numeric>
#include <type_traits>

namespace nivra::hostkit {

namespace {

double mean(const Hota::PerThreshold& values) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

template <auto curve>
double meanOf(const Figures& figures) {
  return mean((figures.hota.*curve)());
}

template <auto curve>
double firstOf(const Figures& figures) {
  return (figures.hota.*curve)().front();
}

template <auto curve>
Hota::PerThreshold curveOf(const Figures& figures) {
  return (figures.hota.*curve)();
}

template <auto member, auto figure>
double valueOf(const Figures& figures) {
  const auto& metrics = figures.*member;
  if constexpr (std::is_member_function_pointer_v<decltype(figure)>) {
    return (metrics.*figure)();
  } else {
    return metrics.*figure;
  }
}

template <auto figure>
constexpr auto clearOf = valueOf<&Figures::clear, figure>;

template <auto figure>
constexpr auto identityOf = valueOf<&Figures::identity, figure>;

/// The positions in a list of those elements that have a place in a shorter one.
template <class IsCounted>
std::vector<int> positionsOf(std::size_t count, IsCounted isCounted) {
  std::vector<int> positions;
  for (std::size_t i = 0; i < count; ++i) {
    if (isCounted(i)) positions.push_back(static_cast<int>(i));
  }
  return positions;
}

/// Spreads partners over a list of which only some elements counted.
/// @param positions Of those elements.
/// @param partnerPositions Of the partners' list.
std::vector<int> spread(const std::vector<int>& partners, const std::vector<int>& positions, std::size_t count,
                        const std::vector<int>& partnerPositions) {
  std::vector<int> all(count, FrameMatching::kNotCounted);
  for (std::size_t i = 0; i < positions.size(); ++i) {
    const int partner = partners[i];
    all[static_cast<std::size_t>(positions[i])] =
        partner == FrameMatching::kNone ? partner : partnerPositions[static_cast<std::size_t>(partner)];
  }
  return all;
}

}  // namespace

Figures& Figures::operator+=(const Figures& other) {
  hota += other.hota;
  clear += other.clear;
  identity += other.identity;
  return *this;
}

Figures evaluate(const Truth& truth, const TrackFrames& tracks) {
  const Comparison comparison = truth.compare(tracks);
  return {Hota(comparison), Clear(comparison), IdentityMetrics(comparison)};
}

std::vector<FrameMatching> matchBoxes(const Truth& truth, const TrackFrames& tracks) {
  std::vector<std::vector<bool>> leftOut;
  std::vector<FrameMatching> matchings;
  const Clear ignored(truth.compare(tracks, &leftOut), &matchings);
  for (std::size_t frame = 0; frame < matchings.size(); ++frame) {
    FrameMatching& matching = matchings[frame];
    const std::size_t truthCount = frame < truth.frameCount() ? truth.boxCount(frame) : 0;
    const auto truths = positionsOf(truthCount, [&](std::size_t i) { return truth.isCounted(frame, i); });
    const std::size_t trackCount = leftOut[frame].size();
    const auto positions = positionsOf(trackCount, [&](std::size_t i) { return !leftOut[frame][i]; });
    matching.trackOfTruth = spread(matching.trackOfTruth, truths, truthCount, positions);
    matching.truthOfTrack = spread(matching.truthOfTrack, positions, trackCount, truths);
    for (std::size_t& each : matching.switches) each = static_cast<std::size_t>(truths[each]);
  }
  return matchings;
}

const std::vector<FigureName>& figureNames() {
  constexpr auto kCount = FigureName::Kind::count;
  constexpr auto kFraction = FigureName::Kind::fraction;
  constexpr auto kAmount = FigureName::Kind::amount;
  static const std::vector<FigureName> all = {
      {"HOTA", "HOTA", "HOTA", kFraction, true, meanOf<&Hota::hota>},
      {"HOTA", "DetA", "DetA", kFraction, true, meanOf<&Hota::detA>},
      {"HOTA", "AssA", "AssA", kFraction, true, meanOf<&Hota::assA>},
      {"HOTA", "DetRe", "DetRe", kFraction, true, meanOf<&Hota::detRe>},
      {"HOTA", "DetPr", "DetPr", kFraction, true, meanOf<&Hota::detPr>},
      {"HOTA", "AssRe", "AssRe", kFraction, true, meanOf<&Hota::assRe>},
      {"HOTA", "AssPr", "AssPr", kFraction, true, meanOf<&Hota::assPr>},
      {"HOTA", "LocA", "LocA", kFraction, true, meanOf<&Hota::locA>},
      {"HOTA", "OWTA", "OWTA", kFraction, false, meanOf<&Hota::owta>},
      {"HOTA", "HOTA(0)", "HOTA(0)", kFraction, true, firstOf<&Hota::hota>},
      {"HOTA", "LocA(0)", "LocA(0)", kFraction, true, firstOf<&Hota::locA>},
      {"HOTA", "HOTALocA(0)", "HOTALocA(0)", kFraction, false,
       [](const Figures& figures) { return firstOf<&Hota::hota>(figures) * firstOf<&Hota::locA>(figures); }},
      {"CLEAR", "MOTA", "MOTA", kFraction, true, clearOf<&Clear::mota>},
      {"CLEAR", "MOTP", "MOTP", kFraction, true, clearOf<&Clear::motp>},
      {"CLEAR", "MODA", "MODA", kFraction, true, clearOf<&Clear::moda>},
      {"CLEAR", "CLR_Re", "Recall", kFraction, true, clearOf<&Clear::recall>},
      {"CLEAR", "CLR_Pr", "Precision", kFraction, true, clearOf<&Clear::precision>},
      {"CLEAR", "CLR_F1", "F1", kFraction, false, clearOf<&Clear::f1>},
      {"CLEAR", "sMOTA", "sMOTA", kFraction, false, clearOf<&Clear::smota>},
      {"CLEAR", "MOTAL", "MOTAL", kFraction, false, clearOf<&Clear::motal>},
      {"CLEAR", "MTR", "MTR", kFraction, false, clearOf<&Clear::shareOfMostlyTracked>},
      {"CLEAR", "PTR", "PTR", kFraction, false, clearOf<&Clear::shareOfPartlyTracked>},
      {"CLEAR", "MLR", "MLR", kFraction, false, clearOf<&Clear::shareOfMostlyLost>},
      {"CLEAR", "MOTP_sum", "MOTP sum", kAmount, false, clearOf<&Clear::overlapSum>},
      {"CLEAR", "FP_per_frame", "FP/frame", kAmount, true, clearOf<&Clear::falsePositivesPerFrame>},
      {"CLEAR", "CLR_TP", "TP", kCount, true, clearOf<&Clear::truePositives>},
      {"CLEAR", "CLR_FP", "FP", kCount, true, clearOf<&Clear::falsePositives>},
      {"CLEAR", "CLR_FN", "FN", kCount, true, clearOf<&Clear::falseNegatives>},
      {"CLEAR", "IDSW", "IDSW", kCount, true, clearOf<&Clear::switches>},
      {"CLEAR", "MT", "MT", kCount, true, clearOf<&Clear::mostlyTracked>},
      {"CLEAR", "PT", "PT", kCount, true, clearOf<&Clear::partlyTracked>},
      {"CLEAR", "ML", "ML", kCount, true, clearOf<&Clear::mostlyLost>},
      {"CLEAR", "Frag", "Frag", kCount, true, clearOf<&Clear::fragmentations>},
      {"CLEAR", "CLR_Frames", "Frames", kCount, false, clearOf<&Clear::frames>},
      {"Identity", "IDF1", "IDF1", kFraction, true, identityOf<&IdentityMetrics::idf1>},
      {"Identity", "IDP", "IDP", kFraction, true, identityOf<&IdentityMetrics::precision>},
      {"Identity", "IDR", "IDR", kFraction, true, identityOf<&IdentityMetrics::recall>},
      {"Identity", "IDTP", "IDTP", kCount, true, identityOf<&IdentityMetrics::truePositives>},
      {"Identity", "IDFP", "IDFP", kCount, true, identityOf<&IdentityMetrics::falsePositives>},
      {"Identity", "IDFN", "IDFN", kCount, true, identityOf<&IdentityMetrics::falseNegatives>},
  };
  return all;
}

const std::vector<CurveName>& curveNames() {
  static const std::vector<CurveName> all = {
      {"HOTA", false, curveOf<&Hota::hota>},
      {"DetA", false, curveOf<&Hota::detA>},
      {"AssA", false, curveOf<&Hota::assA>},
      {"DetRe", false, curveOf<&Hota::detRe>},
      {"DetPr", false, curveOf<&Hota::detPr>},
      {"AssRe", false, curveOf<&Hota::assRe>},
      {"AssPr", false, curveOf<&Hota::assPr>},
      {"LocA", false, curveOf<&Hota::locA>},
      {"OWTA", false, curveOf<&Hota::owta>},
      {"HOTA_TP", true, curveOf<&Hota::truePositives>},
      {"HOTA_FN", true, curveOf<&Hota::falseNegatives>},
      {"HOTA_FP", true, curveOf<&Hota::falsePositives>},
  };
  return all;
}

}  // namespace nivra::hostkit
