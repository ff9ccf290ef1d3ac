#include "nivra/parameterMap.h"

#include <algorithm>
#include <cctype>

namespace nivra {

bool matches(const std::string& key, const std::string& prefix) {
  return key.find(prefix) == 0 && key.find('.', prefix.size() + 1) == std::string::npos;
}

ParameterMap updateParams(ParameterMap defaults, ParameterMap& params, const std::string& prefix) {
  for (auto entry = params.begin(); entry != params.end();) {
    if (!matches(entry->first, prefix)) {
      ++entry;
      continue;
    }
    const std::string name = entry->first.substr(prefix.size() + 1);
    const auto known = defaults.find(name);
    if (known == defaults.end()) throw std::out_of_range("Bad parameter: " + name);
    known->second = entry->second;
    entry = params.erase(entry);
  }
  return defaults;
}

std::string trim(std::string s) {
  const auto isBlank = [](unsigned char c) { return std::isspace(c) != 0; };
  s.erase(std::find_if_not(s.rbegin(), s.rend(), isBlank).base(), s.end());
  s.erase(s.begin(), std::find_if_not(s.begin(), s.end(), isBlank));
  return s;
}

std::vector<std::string> split(const std::string& s, const std::string& delimiter) {
  std::vector<std::string> pieces;
  if (s.empty()) return pieces;
  std::size_t start = 0;
  for (std::size_t end = s.find(delimiter); end != std::string::npos; end = s.find(delimiter, start)) {
    pieces.push_back(trim(s.substr(start, end - start)));
    start = end + delimiter.size();
  }
  pieces.push_back(s.substr(start));
  return pieces;
}

}  // namespace nivra
