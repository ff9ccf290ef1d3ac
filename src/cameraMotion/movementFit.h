#pragma once

namespace nivra {

/// A shift, and a zoom about the middle of the picture: a point p moves by shift + zoom * p.
struct Movement {
  double x = 0.0;
  double y = 0.0;
  double zoom = 0.0;

  double xAt(double placeX) const { return x + zoom * placeX; }
  double yAt(double placeY) const { return y + zoom * placeY; }
};

/// How closely detections lie to where they belong: one over the variances, in squared widths and heights of their
/// boxes.
struct Precision {
  double x;
  double y;
};

/// Fits a movement to what was seen of it at several places, by weighted least squares.
class MovementFit {
 public:
  /// @param weightX One over the variance of `seenX`; likewise for y.
  void add(double placeX, double placeY, double seenX, double seenY, double weightX, double weightY) {
    sumX += weightX;
    sumXPlace += weightX * placeX;
    sumY += weightY;
    sumYPlace += weightY * placeY;
    sumPlaces += weightX * placeX * placeX + weightY * placeY * placeY;
    seenSumX += weightX * seenX;
    seenSumY += weightY * seenY;
    seenSumPlaces += weightX * seenX * placeX + weightY * seenY * placeY;
  }

  /// @param zoomPrecision One over the variance of zooms that are to be expected; 0 if any is as likely.
  Movement solve(double zoomPrecision) const {
    const double perX = 1.0 / sumX;
    const double perY = 1.0 / sumY;
    const double left = seenSumPlaces - sumXPlace * seenSumX * perX - sumYPlace * seenSumY * perY;
    Movement movement;
    movement.zoom = left / (zoomPrecision + zoomInformation(perX, perY));
    movement.x = (seenSumX - sumXPlace * movement.zoom) * perX;
    movement.y = (seenSumY - sumYPlace * movement.zoom) * perY;
    return movement;
  }

  /// The movement if there is no zoom.
  Movement solveWithoutZoom() const { return {seenSumX / sumX, seenSumY / sumY, 0.0}; }

  /// One over the variance of the shift that `solveWithoutZoom` gives.
  double informationX() const { return sumX; }
  double informationY() const { return sumY; }
  /// One over the variance of the zoom that `solve` gives if any is as likely.
  double zoomInformation() const { return zoomInformation(1.0 / sumX, 1.0 / sumY); }

 private:
  double zoomInformation(double perX, double perY) const {
    return sumPlaces - sumXPlace * sumXPlace * perX - sumYPlace * sumYPlace * perY;
  }

  double sumX = 0.0;
  double sumXPlace = 0.0;
  double sumY = 0.0;
  double sumYPlace = 0.0;
  double sumPlaces = 0.0;
  double seenSumX = 0.0;
  double seenSumY = 0.0;
  double seenSumPlaces = 0.0;
};

}  // namespace nivra
