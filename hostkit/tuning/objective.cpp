#include "hostkit/tuning/objective.h"

#include <fmt/format.h>

#include <algorithm>

#include "hostkit/errors.h"
#include "hostkit/text/numbers.h"
#include "hostkit/text/suggestion.h"
#include "nivra/parameterMap.h"

namespace nivra::hostkit {

namespace {

constexpr Range<double> kWeights = {1e-6, 1e6};

/// Larger is better for all of these.
const FigureName* fractionNamed(const std::string& name) {
  const auto& all = figureNames();
  const auto found = std::find_if(all.begin(), all.end(), [&](const FigureName& each) { return each.name == name; });
  return found == all.end() || found->kind != FigureName::Kind::fraction || name == "MLR" ? nullptr : &*found;
}

std::string likeFigures(const std::string& name) {
  std::vector<std::string> names;
  for (const FigureName& each : figureNames()) {
    if (fractionNamed(each.name) != nullptr) names.emplace_back(each.name);
  }
  return suggestionFor(name, names);
}

}  // namespace

Objective::Objective(const std::string& option, const std::string& text) : given(text) {
  std::vector<std::string> pieces = split(text, ",");
  if (pieces.empty()) pieces.emplace_back();  // nothing is no figure either
  for (const std::string& piece : pieces) {
    const auto equals = piece.find('=');
    const std::string name = trim(piece.substr(0, equals));
    const FigureName* const figure = fractionNamed(name);
    if (figure == nullptr) {
      throw UsageError(
          fmt::format("{} {}: expected figures such as HOTA, IDF1 or MOTA, or with weights HOTA=2,IDF1=1{}", option,
                      text, likeFigures(name)));
    }
    const auto weight = equals == std::string::npos ? 1.0 : parseNumber(piece.substr(equals + 1), kWeights);
    if (!weight) throw UsageError(fmt::format("{} {}: weight of {}: {}", option, text, name, expectation(kWeights)));
    terms.push_back({figure, *weight});
  }
}

double Objective::of(const Figures& figures) const {
  double sum = 0.0;
  double weights = 0.0;
  for (const Term& each : terms) {
    sum += each.weight * each.figure->of(figures);
    weights += each.weight;
  }
  return 100.0 * sum / weights;
}

}  // namespace nivra::hostkit
