#include "hostkit/tracking/parameterNames.h"

namespace nivra::hostkit {

const char* nameOf(ParameterKind kind) {
  switch (kind) {
    case ParameterKind::number:
      return "number";
    case ParameterKind::count:
      return "count";
    case ParameterKind::flag:
      return "flag";
    case ParameterKind::numberPair:
      return "number pair";
    case ParameterKind::classList:
      return "class list";
  }
  return "";
}

const char* nameOf(ParameterScale scale) { return scale == ParameterScale::linear ? "linear" : "logarithmic"; }

}  // namespace nivra::hostkit
