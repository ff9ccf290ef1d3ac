#include "hostkit/tuning/searchSpace.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <set>

#include "hostkit/errors.h"
#include "hostkit/text/suggestion.h"

namespace nivra::hostkit {

namespace {

struct KnownParameter {
  std::string section;
  std::string key;
  const ParameterDescription* description;
};

std::vector<KnownParameter> parametersOf(int selector) {
  std::vector<KnownParameter> all;
  for (const ParameterSection& section : sectionsOf(selector)) {
    for (const ParameterDescription& each : *section.table) {
      all.push_back({section.name, fmt::format("{}.{}", section.name, each.name), &each});
    }
  }
  return all;
}

std::vector<std::string> keysOfPresets(int selector) {
  std::set<std::string> keys;
  for (const std::string& name : presetNames()) {
    for (const auto& [key, value] : presetParameters(name, selector)) keys.insert(key);
  }
  return {keys.begin(), keys.end()};
}

std::string namesLike(const std::string& text, const std::vector<KnownParameter>& known) {
  std::vector<std::string> names;
  for (const KnownParameter& each : known) {
    names.push_back(each.key);
    names.push_back(each.section);
  }
  return suggestionFor(text, names);
}

double scaled(const ParameterDescription& parameter, double value) {
  return parameter.scale == ParameterScale::logarithmic ? std::log(value) : value;
}

/// Where a value lies in what is usual.
double coordinateOf(const ParameterDescription& parameter, double value) {
  const auto& [least, most] = parameter.usual;
  const double inside = std::clamp(value, least, most);
  return (scaled(parameter, inside) - scaled(parameter, least)) / (scaled(parameter, most) - scaled(parameter, least));
}

double valueAt(const ParameterDescription& parameter, double coordinate) {
  const double least = scaled(parameter, parameter.usual.least);
  const double value = least + coordinate * (scaled(parameter, parameter.usual.most) - least);
  return parameter.scale == ParameterScale::logarithmic ? std::exp(value) : value;
}

/// With two digits: more would pretend that the search is that exact.
std::string textOf(const ParameterDescription& parameter, double value) {
  const std::string rounded = fmt::format("{:.1e}", value);
  if (parameter.kind == ParameterKind::flag) return value < 0.5 ? "0" : "1";
  if (parameter.kind == ParameterKind::count) return fmt::format("{}", std::llround(std::stod(rounded)));
  return fmt::format("{:g}", std::stod(rounded));
}

std::string textAt(const ParameterDescription& parameter, const SearchPoint& point, std::size_t first,
                   std::size_t count) {
  std::vector<std::string> numbers;
  for (std::size_t i = first; i < first + count; ++i) {
    numbers.push_back(textOf(parameter, valueAt(parameter, point[i])));
  }
  return fmt::format("{}", fmt::join(numbers, ", "));
}

}  // namespace

SearchSpace::SearchSpace(int selector, const std::string& option, const std::vector<std::string>& choice) {
  const std::vector<KnownParameter> known = parametersOf(selector);
  const std::vector<std::string> wanted = choice.empty() ? keysOfPresets(selector) : choice;
  std::set<std::string> taken;
  for (const std::string& each : wanted) {
    bool isKnown = false;
    for (const KnownParameter& parameter : known) {
      if (each != parameter.key && each != parameter.section) continue;
      isKnown = true;
      const ParameterKind kind = parameter.description->kind;
      if (kind == ParameterKind::classList) {
        if (each == parameter.key) throw UsageError(fmt::format("{} {}: has no range to search", option, each));
        continue;
      }
      if (!taken.insert(parameter.key).second) continue;
      names.push_back(parameter.key);
      parameters.push_back({parameter.description, kind == ParameterKind::numberPair ? 2U : 1U});
      dimensionCount += parameters.back().count;
    }
    if (!isKnown) {
      throw UsageError(
          fmt::format("{} {}: no parameter or section of this tracker{}", option, each, namesLike(each, known)));
    }
  }
}

std::string SearchSpace::defaultOf(const std::string& key) const {
  const auto place = std::find(names.begin(), names.end(), key) - names.begin();
  return parameters.at(static_cast<std::size_t>(place)).parameter->defaultValue;
}

SearchPoint SearchSpace::pointOf(const ParameterMap& values) const {
  SearchPoint point;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const ParameterDescription& parameter = *parameters[i].parameter;
    const auto given = values.find(names[i]);
    for (const std::string& number : split(given == values.end() ? parameter.defaultValue : given->second, ",")) {
      point.push_back(coordinateOf(parameter, std::stod(number)));
    }
  }
  return point;
}

ParameterMap SearchSpace::valuesAt(const SearchPoint& point) const {
  ParameterMap values;
  const SearchPoint defaults = pointOf({});
  std::size_t first = 0;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto& [parameter, count] = parameters[i];
    const std::string text = textAt(*parameter, point, first, count);
    if (text != textAt(*parameter, defaults, first, count)) values.emplace(names[i], text);
    first += count;
  }
  return values;
}

}  // namespace nivra::hostkit
