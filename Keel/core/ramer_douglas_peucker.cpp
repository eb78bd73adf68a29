// Ramer-Douglas-Peucker simplification with an explicit stack, and the text
// form of a point.
#include "Keel/core/ramer_douglas_peucker.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <ostream>
#include <string_view>

namespace Keel {
namespace {

// 2^53: above it not every integer is representable and fixed notation would
// print long runs of meaningless digits.
constexpr double fixedUpperBound = 9007199254740992.0;
constexpr double fixedLowerBound = 1e-4;

std::string coordinateText(double value) {
  std::array<char, 64> buffer{};
  const double magnitude = std::fabs(value);
  const bool fixed = magnitude == 0 || (magnitude >= fixedLowerBound && magnitude < fixedUpperBound);
  if (!std::isfinite(value)) {
    const auto r = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return std::string(buffer.data(), r.ptr);
  }
  const auto r = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                               fixed ? std::chars_format::fixed : std::chars_format::scientific);
  std::string text(buffer.data(), r.ptr);
  if (fixed && text.find('.') == std::string::npos) text += ".0";
  return text;
}

// Distance from (x0, y0) to the infinite line through (x1, y1) and (x2, y2).
// The order of operations is fixed so that results (and so the choice of
// kept points) are the same on every platform; each product is a statement of
// its own so that no compiler fuses a multiply and an add into one rounding.
double lineDistance(const Point& p1, const Point& p2, const Point& p0) {
  const double dx = p2.x - p1.x;
  const double dy = p2.y - p1.y;
  const double a = p1.y * p2.x;
  const double b = dy * p0.x;
  const double c = dx * p0.y;
  const double d = p1.x * p2.y;
  const double inner = b - c;
  const double numerator = std::fabs(a + inner - d);
  const double dx2 = dx * dx;
  const double dy2 = dy * dy;
  return numerator / std::sqrt(dx2 + dy2);
}

}  // namespace

std::string toString(const Point& point) {
  // Appended piece by piece: GCC 12 at -O3 warns falsely (-Wrestrict) about
  // "literal" + std::string&&.
  std::string text = "(";
  text += coordinateText(point.x);
  text += ", ";
  text += coordinateText(point.y);
  text += ')';
  return text;
}

std::ostream& operator<<(std::ostream& stream, const Point& point) { return stream << toString(point); }

std::vector<Point> RamerDouglasPeucker::simplify(const std::vector<Point>& points, double epsilon) {
  std::vector<Point> result;
  if (points.empty() || !(epsilon >= 0)) return result;
  result.push_back(points.front());

  // The ranges are visited depth first, left part before right, so the start
  // of the range being worked on is always the last point appended. The stack
  // therefore only keeps the pending ends of ranges: one index per level, not
  // a call frame, so a million-level split costs 8 MB of heap and no stack.
  std::size_t first = 0;
  std::vector<std::size_t> pendingLasts{points.size() - 1};
  while (!pendingLasts.empty()) {
    const std::size_t last = pendingLasts.back();
    if (first >= last) {  // only a one-point input
      pendingLasts.pop_back();
      continue;
    }
    double maxDistance = 0.0;
    std::size_t maxIndex = 0;
    for (std::size_t i = first + 1; i < last; ++i) {
      const double distance = lineDistance(points[first], points[last], points[i]);
      // Strictly greater: the lowest index wins ties, and NaN never wins.
      if (distance > maxDistance) {
        maxDistance = distance;
        maxIndex = i;
      }
    }
    if (maxDistance > epsilon) {
      pendingLasts.push_back(maxIndex);  // left part first; its end stays below
    } else {
      result.push_back(points[last]);
      first = last;
      pendingLasts.pop_back();
    }
  }
  return result;
}

}  // namespace Keel
