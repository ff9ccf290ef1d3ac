#include "hostkit/explaining/words.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "nivra/parameterTables.h"

namespace nivra::hostkit {

namespace {

/// Whether a parameter's values are nanoseconds.
bool isTime(const std::string& key) {
  const auto dot = key.rfind('.');
  for (const ParameterSection& section : parameterSections()) {
    if (section.name != key.substr(0, dot)) continue;
    for (const ParameterDescription& each : *section.table) {
      if (each.name == key.substr(dot + 1)) return each.unit == std::string("ns");
    }
  }
  return false;
}

}  // namespace

std::string shown(double number) {
  const bool isLarge = std::abs(number) >= 1e4 && std::abs(number) < 1e9;
  return isLarge ? fmt::format("{:.0f}", number) : fmt::format("{:.4g}", number);
}

std::string shownTime(double nanoseconds) { return fmt::format("{:.4g} s", nanoseconds * 1e-9); }

double marginOf(const Verdict& verdict) {
  const double most = std::max(std::abs(verdict.figure), std::abs(verdict.limit));
  return most > 0.0 ? std::abs(verdict.figure - verdict.limit) / most : 0.0;
}

std::string handyValue(const Verdict& verdict) {
  const std::string exact = flippingValue(verdict);
  if (exact.empty()) return exact;
  const double value = std::strtod(exact.c_str(), nullptr);
  const bool isAbove = value > verdict.limit;
  constexpr double kMillisecond = 1e6;
  if (isTime(verdict.parameter)) {
    const double rounded =
        (isAbove ? std::ceil(value / kMillisecond) : std::floor(value / kMillisecond)) * kMillisecond;
    return fmt::format("{:.0f}", rounded);
  }
  // A little farther, as far as that makes it short.
  constexpr double kFarther = 0.02;
  constexpr int kMostDigits = 9;
  for (int digits = 1; digits <= kMostDigits && exact.find('.') != std::string::npos; ++digits) {
    const double unit = std::pow(10.0, std::floor(std::log10(std::abs(value))) + 1 - digits);
    const double rounded = (isAbove ? std::ceil(value / unit) : std::floor(value / unit)) * unit;
    if (std::abs(rounded - value) <= kFarther * std::abs(value)) return fmt::format("{:.{}g}", rounded, digits + 1);
  }
  return exact;
}

}  // namespace nivra::hostkit
