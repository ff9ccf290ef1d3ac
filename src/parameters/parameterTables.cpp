#include "nivra/parameterTables.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "parameters/parameterNames.h"

namespace nivra {

namespace {

bool isNumber(const std::string& text) {
  try {
    std::size_t end = 0;
    std::stof(text, &end);
    return trim(text.substr(end)).empty();
  } catch (const std::invalid_argument&) {
    return false;
  }
}

bool isWhole(const std::string& text) {
  const std::string digits = trim(text);
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) return false;
  std::stoull(digits);
  return true;
}

bool areNumbers(const std::vector<std::string>& pieces) { return std::all_of(pieces.begin(), pieces.end(), isNumber); }

/// What is wrong with a value of that kind; nothing if it is one.
/// @throws std::out_of_range for a number that the type doesn't hold.
std::string unreadablePart(ParameterKind kind, const std::string& value) {
  switch (kind) {
    case ParameterKind::number:
      return isNumber(value) ? "" : "not a number";
    case ParameterKind::count:
    case ParameterKind::flag:
      return isWhole(value) ? "" : "not a whole number from 0";
    case ParameterKind::numberPair: {
      const std::vector<std::string> pieces = split(value, ",");
      return pieces.size() == 2 && areNumbers(pieces) ? "" : "expected two numbers with a comma between";
    }
    case ParameterKind::classList: {
      const std::vector<std::string> pieces = split(value, ",");
      if (pieces.size() % 2 != 0) return "a label lacks its center";
      for (std::size_t i = 1; i < pieces.size(); i += 2) {
        if (!isNumber(pieces[i])) return "not a number: \"" + trim(pieces[i]) + '"';
      }
      return "";
    }
  }
  return "";
}

bool isInside(const ParameterRange& range, const std::string& value) {
  for (const std::string& piece : split(value, ",")) {
    const double number = std::stod(piece);
    if (!(number >= range.least && number <= range.most)) return false;
  }
  return true;
}

std::string shown(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", number);
  return text;
}

/// What is wrong with a value; nothing if it can be meant.
std::string faultOfValue(const ParameterDescription& parameter, const std::string& value, ParameterFault::Kind& kind) {
  kind = ParameterFault::Kind::unreadableValue;
  try {
    const std::string unreadable = unreadablePart(parameter.kind, value);
    if (!unreadable.empty()) return unreadable;
  } catch (const std::out_of_range&) {
    return "number out of range";
  }
  kind = ParameterFault::Kind::valueOutOfRange;
  const ParameterRange& range = parameter.range;
  if (parameter.kind == ParameterKind::classList || isInside(range, value)) return "";
  const char* const expected = parameter.kind == ParameterKind::numberPair ? "numbers" : "a number";
  return std::string("expected ") + expected + " from " + shown(range.least) + " to " + shown(range.most);
}

struct KnownSection {
  ParameterSection section;
  bool isReadBy[4];  // by selector
};

constexpr KnownSection knownSections[] = {
    {{names::kVanillaSection, &vanillaTable}, {true, false, true, false}},
    {{names::kVanillaKalmanSection, &kalmanTable}, {true, false, true, false}},
    {{names::kVanillaLowFpsSection, &vanillaLowFpsTable}, {false, false, false, true}},
    {{names::kVanillaLowFpsKalmanSection, &kalmanTable}, {false, false, false, true}},
    {{names::kReidSection, &reidTable}, {false, true, true, false}},
    {{names::kReidKalman4DSection, &kalman4DTable}, {false, true, true, false}},
};

bool isReadBy(int selector, const KnownSection& known) {
  return selector >= 0 && selector < 4 && known.isReadBy[selector];
}

ParameterFault faultOf(int selector, const std::string& key, const std::string& value) {
  using Kind = ParameterFault::Kind;
  const auto fault = [&](Kind kind, const std::string& text) { return ParameterFault{kind, key, value, text}; };

  const std::size_t dot = key.rfind('.');
  if (dot == std::string::npos) return fault(Kind::unknownSection, "expected section.name");
  const std::string sectionName = key.substr(0, dot);
  const std::string name = key.substr(dot + 1);

  const auto known = std::find_if(std::begin(knownSections), std::end(knownSections),
                                  [&](const KnownSection& each) { return each.section.name == sectionName; });
  if (known == std::end(knownSections)) {
    return fault(Kind::unknownSection, "there is no section \"" + sectionName + '"');
  }
  const ParameterTable& table = *known->section.table;
  const auto parameter =
      std::find_if(table.begin(), table.end(), [&](const ParameterDescription& each) { return each.name == name; });
  if (parameter == table.end()) {
    return fault(Kind::unknownName, sectionName + " has no parameter \"" + name + '"');
  }
  if (!isReadBy(selector, *known)) return fault(Kind::sectionNotRead, "not read by this tracker");
  Kind kind{};
  const std::string text = faultOfValue(*parameter, value, kind);
  return fault(kind, text);
}

}  // namespace

ParameterMap defaultValues(const ParameterTable& table) {
  ParameterMap values;
  for (const ParameterDescription& entry : table) values.emplace(entry.name, entry.defaultValue);
  return values;
}

std::vector<ParameterSection> parameterSections() {
  std::vector<ParameterSection> sections;
  for (const KnownSection& each : knownSections) sections.push_back(each.section);
  return sections;
}

std::vector<ParameterSection> sectionsOf(int selector) {
  std::vector<ParameterSection> sections;
  for (const KnownSection& each : knownSections) {
    if (isReadBy(selector, each)) sections.push_back(each.section);
  }
  return sections;
}

std::vector<ParameterFault> checkParameters(int selector, const ParameterMap& params) {
  std::vector<ParameterFault> faults;
  for (const auto& [key, value] : params) {
    ParameterFault found = faultOf(selector, key, value);
    if (!found.text.empty()) faults.push_back(std::move(found));
  }
  return faults;
}

}  // namespace nivra
