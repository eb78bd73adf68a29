// Polyline simplification: thresholds, ties, rings, order, deep inputs, and
// the text form of a point.
#include "Keel/core/ramer_douglas_peucker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

namespace Keel {
namespace {

using Points = std::vector<Point>;

// The textbook recursive form, for comparing output order on small inputs.
void referenceStep(const Points& p, std::size_t first, std::size_t last, double epsilon, Points& out) {
  if (first >= last) return;
  double maxDistance = 0.0;
  std::size_t index = 0;
  for (std::size_t i = first + 1; i < last; ++i) {
    const double dx = p[last].x - p[first].x;
    const double dy = p[last].y - p[first].y;
    const double d = std::fabs(p[first].y * p[last].x + (dy * p[i].x - dx * p[i].y) - p[first].x * p[last].y) /
                     std::sqrt(dx * dx + dy * dy);
    if (d > maxDistance) {
      maxDistance = d;
      index = i;
    }
  }
  if (maxDistance > epsilon) {
    referenceStep(p, first, index, epsilon, out);
    referenceStep(p, index, last, epsilon, out);
  } else {
    out.push_back(p[last]);
  }
}

Points reference(const Points& p, double epsilon) {
  Points out{p.front()};
  referenceStep(p, 0, p.size() - 1, epsilon, out);
  return out;
}

TEST(RamerDouglasPeucker, SmallInputsFollowTheToleranceTieAndLineRules) {
  const double inf = std::numeric_limits<double>::infinity();
  const Points tent{{0, 0}, {1, 1}, {2, 0}};
  const struct {
    const char* rule;
    Points input;
    double epsilon;
    Points expected;
  } cases[] = {
      {"empty input", {}, 1, {}},
      {"negative tolerance", tent, -0.5, {}},
      {"NaN tolerance", tent, std::nan(""), {}},
      {"one point whatever the tolerance", {{3, 4}}, 0, {{3, 4}}},
      {"two points whatever the tolerance", {{0, 0}, {9, 9}}, inf, {{0, 0}, {9, 9}}},
      {"a closed ring collapses to its ends", {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}}, 0, {{0, 0}, {0, 0}}},
      {"collinear interior goes at zero tolerance", {{0, 0}, {1, 1}, {2, 2}, {5, 5}, {6, 6}}, 0, {{0, 0}, {6, 6}}},
      {"a distance equal to the tolerance drops the point", tent, 1, {{0, 0}, {2, 0}}},
      {"a tolerance just below it keeps the point", tent, std::nextafter(1.0, 0.0), tent},
      // (10, 1) lies beyond the chord's end; its distance is 1, not about 8.
      {"distance is to the line, not the segment", {{0, 0}, {10, 1}, {2, 0}}, 1.5, {{0, 0}, {2, 0}}},
      // (1,1) and (3,1) are both 1 from the chord. Split at (1,1), then (3,1)
      // is 0.63 from the line (1,1)-(4,0) and goes; split at (3,1) would keep it.
      {"ties split at the lower index", {{0, 0}, {1, 1}, {3, 1}, {4, 0}}, 0.7, {{0, 0}, {1, 1}, {4, 0}}},
  };
  for (const auto& c : cases) EXPECT_EQ(RamerDouglasPeucker::simplify(c.input, c.epsilon), c.expected) << c.rule;
}

TEST(RamerDouglasPeucker, ClosedCircleCollapsesToItsEnds) {
  Points circle;
  for (int i = 0; i < 100; ++i) circle.push_back({std::cos(i * 0.0634665), std::sin(i * 0.0634665)});
  circle.push_back(circle.front());
  EXPECT_EQ(RamerDouglasPeucker::simplify(circle, 0.01), (Points{circle.front(), circle.front()}));
}

TEST(RamerDouglasPeucker, MatchesTheRecursiveFormOnRandomWalks) {
  std::mt19937 engine(42);
  std::normal_distribution<double> step(0, 1);
  for (int run = 0; run < 50; ++run) {
    Points walk{{0, 0}};
    const int n = 2 + run * 7;
    for (int i = 1; i < n; ++i) walk.push_back({walk.back().x + step(engine), walk.back().y + step(engine)});
    for (double epsilon : {0.0, 0.3, 1.0, 4.0}) {
      EXPECT_EQ(RamerDouglasPeucker::simplify(walk, epsilon), reference(walk, epsilon)) << run << " " << epsilon;
    }
  }
}

TEST(RamerDouglasPeucker, DeepSplitsKeepEveryPointInOrder) {
  // A zigzag of growing amplitude splits off one point per level: the split
  // depth equals the number of points. Kept modest because every level scans
  // its whole range.
  Points zigzag;
  for (int i = 0; i < 5000; ++i) zigzag.push_back({double(i), double(i % 2 ? i : -i)});
  EXPECT_EQ(RamerDouglasPeucker::simplify(zigzag, 0), zigzag);
}

TEST(PointText, ShortestRoundTripWithAPointForWholeNumbers) {
  EXPECT_EQ(toString({1, 2.5}), "(1.0, 2.5)");
  EXPECT_EQ(toString({0, -0.0}), "(0.0, -0.0)");
  EXPECT_EQ(toString({0.1, -1234567.0}), "(0.1, -1234567.0)");
  EXPECT_EQ(toString({9007199254740991.0, 0.0001}), "(9007199254740991.0, 0.0001)");
  EXPECT_EQ(toString({9007199254740992.0, 0.00001}), "(9.007199254740992e+15, 1e-05)");
  EXPECT_EQ(toString({std::numeric_limits<double>::infinity(), std::nan("")}), "(inf, nan)");
  const double third = 1.0 / 3.0;
  const std::string text = toString({third, 0});
  EXPECT_EQ(std::stod(text.substr(1)), third);
  std::ostringstream stream;
  stream << Point{2, 3};
  EXPECT_EQ(stream.str(), "(2.0, 3.0)");
}

}  // namespace
}  // namespace Keel
