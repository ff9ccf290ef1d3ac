#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "nivra/geometry.h"

namespace nivra::reid {

/// Tells whether two of the directions from a point lie so far apart that the cosine of their angle, as
/// `angleBetweenDetections` rounds it, doesn't exceed a limit; without trying all pairs.
///
/// A cosine counts as known when it lies farther from the limit than its rounding reaches: a scalar product in floats
/// is off by at most 3 roundings of the product of the lengths, each length by 2 of itself, their product and the
/// quotient by 1, together 9 times 2^-24 or 5.4e-7. Here all is computed in double precision, which adds nothing that
/// counts.
class WidestAngle {
 public:
  enum class Answer { yes, no, unknown };

  /// @param weight Of squared horizontal against squared vertical differences.
  void begin(float weight, float limit) {
    directions.clear();
    horizontalScale = std::sqrt(static_cast<double>(weight));
    surelyAtMost = signedSquare(static_cast<double>(limit) - kRounding);
    surelyAbove = signedSquare(static_cast<double>(limit) + kRounding);
    // Directions that all lie less than 120 degrees from one of them don't reach around the point.
    isHalfPlaneEnough = limit >= -0.5F;
    // The angle of a direction without length has a cosine of 0.
    canPassNowhere = limit >= 0.0F;
    isOrdinary = weight > 1e-3F && weight < 1e3F && limit > -2.0F && limit < 2.0F;
  }

  void add(Point direction) {
    if (direction.x == 0.0F && direction.y == 0.0F && !canPassNowhere) return;
    const double x = static_cast<double>(direction.x) * horizontalScale;
    const double y = static_cast<double>(direction.y);
    const double square = x * x + y * y;
    // Squares of floats far beyond lose digits or overflow.
    isOrdinary = isOrdinary && square > 1e-30 && square < 1e30;
    directions.push_back({x, y, square});
  }

  Answer answer() {
    if (!isOrdinary) return Answer::unknown;
    if (directions.size() < 2) return Answer::no;
    return isHalfPlaneEnough ? answerFromExtremes() : answerFromOpposites();
  }

 private:
  static constexpr double kRounding = 1e-6;

  struct Direction {
    double x, y, square;
    double angle = 0.0;  // only where directions are sorted by it
  };

  static double signedSquare(double cosine) { return cosine * std::abs(cosine); }

  Answer isWide(const Direction& u, const Direction& v) const {
    const double product = u.x * v.x + u.y * v.y;
    const double cosine = product * std::abs(product);  // its signed square, times both squares
    const double scale = u.square * v.square;
    if (cosine <= surelyAtMost * scale) return Answer::yes;
    return cosine > surelyAbove * scale ? Answer::no : Answer::unknown;
  }

  static double cross(const Direction& u, const Direction& v) { return u.x * v.y - u.y * v.x; }

  /// If nobody is far enough from the first direction, the farthest on its one side and on its other are the widest
  /// pair: the others lie between them.
  Answer answerFromExtremes() const {
    const Direction& middle = directions.front();
    Direction left = middle;
    Direction right = middle;
    bool isKnown = true;
    for (std::size_t i = 1; i < directions.size(); ++i) {
      const Direction& each = directions[i];
      const Answer wide = isWide(middle, each);
      if (wide == Answer::yes) return Answer::yes;
      isKnown = isKnown && wide == Answer::no;
      if (cross(middle, each) > 0) {
        if (cross(left, each) > 0) left = each;
      } else if (cross(right, each) < 0) {
        right = each;
      }
    }
    const Answer widest = isWide(left, right);
    return isKnown || widest == Answer::yes ? widest : Answer::unknown;
  }

  /// The widest angle of each direction is with one of the two neighbours of its opposite.
  Answer answerFromOpposites() {
    constexpr double kHalfTurn = 3.14159265358979323846;
    for (Direction& each : directions) each.angle = std::atan2(each.y, each.x);
    std::sort(directions.begin(), directions.end(),
              [](const Direction& u, const Direction& v) { return u.angle < v.angle; });
    bool isKnown = true;
    for (const Direction& each : directions) {
      const double opposite = each.angle > 0 ? each.angle - kHalfTurn : each.angle + kHalfTurn;
      const auto next = std::lower_bound(directions.begin(), directions.end(), opposite,
                                         [](const Direction& v, double angle) { return v.angle < angle; });
      const Direction& after = next == directions.end() ? directions.front() : *next;
      const Direction& before = next == directions.begin() ? directions.back() : *(next - 1);
      for (const Answer wide : {isWide(each, after), isWide(each, before)}) {
        if (wide == Answer::yes) return Answer::yes;
        isKnown = isKnown && wide == Answer::no;
      }
    }
    return isKnown ? Answer::no : Answer::unknown;
  }

  std::vector<Direction> directions;
  double horizontalScale = 1.0;
  double surelyAtMost = 0.0;
  double surelyAbove = 0.0;
  bool isHalfPlaneEnough = true;
  bool canPassNowhere = false;
  bool isOrdinary = true;
};

}  // namespace nivra::reid
