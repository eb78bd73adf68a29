// A two-dimensional point and Ramer-Douglas-Peucker polyline simplification.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace Keel {

struct Point {
  double x = 0;
  double y = 0;

  friend bool operator==(const Point&, const Point&) = default;
};

// "(x, y)", each coordinate in the shortest decimal that reads back as the
// same double. Magnitudes from 1e-4 up to 2^53 are written without exponent
// and whole numbers get ".0" ("(1.0, 2.5)", "(-0.0, 1000000.0)"); zero is
// "0.0"; other magnitudes use exponent form with the digits std::to_chars
// gives ("1e+16", "1.5e-07"); non-finite values are "inf", "-inf", "nan".
[[nodiscard]] std::string toString(const Point& point);
std::ostream& operator<<(std::ostream& stream, const Point& point);

// Polyline simplification; holds no state.
class RamerDouglasPeucker {
 public:
  // The vertices of `points` that keep the polyline within `epsilon` of its
  // original shape, in input order. The first and last points are always
  // kept; a point is kept only if its distance to the infinite line through
  // the ends of its range is strictly greater than `epsilon` (ties between
  // equally distant points go to the lowest index). A range whose ends
  // coincide (a closed ring) measures every distance as NaN and so keeps
  // none of its interior. Returns an empty vector for empty input and for a
  // negative or NaN `epsilon`. Works without recursion: any input size is
  // safe for the call stack. Never throws apart from std::bad_alloc.
  [[nodiscard]] static std::vector<Point> simplify(const std::vector<Point>& points, double epsilon);
};

}  // namespace Keel
