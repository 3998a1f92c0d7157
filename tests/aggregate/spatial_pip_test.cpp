// The crossing count: its walk over the edges, which is not the closed ring, and the two forms of
// its side test.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/oracle/number_rows_oracle.h"
#include "tests/support/number_patterns.h"
#include "tests/support/polygon_stage.h"

namespace colx::test {
namespace {

using oracle::Point;
using oracle::SideTest;
using oracle::TestedEdge;
using Polygon = std::vector<Point>;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

const Polygon square = {{0, 0}, {2, 0}, {2, 2}, {0, 2}};

uint32_t count_of(const Polygon& polygon, Point query) {
  const PolygonRun run = run_polygon({polygon, query});
  EXPECT_EQ(run.status, COLX_DONE);
  EXPECT_EQ(run.damage, "");
  return run.count;
}

// Crossings of the ring in which the last vertex joins the first, by quotients.
uint32_t closed_ring_count(const Polygon& polygon, Point query) {
  uint32_t count = 0;
  const auto vertices = static_cast<uint32_t>(polygon.size());
  for (uint32_t v = 0; v < vertices; ++v) {
    const TestedEdge edge = {v, (v + 1) % vertices, SideTest::by_quotient};
    count += oracle::counts(edge, polygon, query) ? 1 : 0;
  }
  return count;
}

// Coordinates on a small grid, so that vertices meet the ray and each other, or anywhere.
Polygon random_polygon(uint32_t vertices, bool on_grid, Random& random) {
  const auto coordinate = [&] {
    return on_grid ? static_cast<double>(random.below(7)) - 3
                   : static_cast<double>(random.next() >> 11) * 0x1p-53 - 0.5;
  };
  Polygon polygon(vertices);
  for (Point& vertex : polygon) vertex = {coordinate(), coordinate()};
  return polygon;
}

TEST(SpatialPip, EveryVertexCountOnAGridAndAnywhereAtTheEdgesOfPages) {
  Random random(1);
  for (uint32_t vertices = 0; vertices <= 70; ++vertices) {
    for (int attempt = 0; attempt < 60; ++attempt) {
      const bool on_grid = attempt % 2 == 0;
      PolygonBatch batch = {random_polygon(vertices, on_grid, random), {}};
      batch.query = random_polygon(1, on_grid, random)[0];
      batch.edge = attempt % 3 == 0 ? Edge::begin : Edge::end;
      ASSERT_EQ(polygon_difference(batch), "") << "attempt " << attempt;
    }
  }
}

TEST(SpatialPip, ManyVertices) {
  Random random(2);
  for (const uint32_t vertices : {1000u, 1001u, 4096u, 4099u}) {
    for (int attempt = 0; attempt < 20; ++attempt) {
      ASSERT_EQ(polygon_difference({random_polygon(vertices, false, random), {0, 0}}), "");
    }
  }
}

TEST(SpatialPip, MoreThan65535EdgesCross) {
  for (const uint32_t vertices : {65538u, 140001u}) {
    Polygon zigzag(vertices);
    for (uint32_t v = 0; v < vertices; ++v) zigzag[v] = {5, v % 2 == 0 ? -1.0 : 1.0};
    EXPECT_GT(count_of(zigzag, {0, 0}), 65535u);
    EXPECT_EQ(polygon_difference({zigzag, {0, 0}}), "");
    EXPECT_EQ(count_of(zigzag, {6, 0}), 0u);
  }
}

// Smooth polygons straddle the ray twice: nearly every pair of edges skips the side test.
TEST(SpatialPip, ACircleIsCrossedOnceFromWithin) {
  for (uint32_t vertices = 3; vertices <= 200; ++vertices) {
    Polygon circle(vertices);
    for (uint32_t v = 0; v < vertices; ++v) {
      const double angle = 0.1 + 2 * 3.14159265358979 * v / vertices;
      circle[v] = {std::cos(angle), std::sin(angle)};
    }
    for (const Point query : {Point{0, 0}, Point{-3, 0.01}, Point{3, 0.01}, Point{0, 3}}) {
      ASSERT_EQ(polygon_difference({circle, query}), "") << vertices;
    }
  }
}

TEST(SpatialPip, NoVerticesCount0) {
  EXPECT_EQ(count_of({}, {0, 0}), 0u);
}

TEST(SpatialPip, OneVertexCounts0) {
  EXPECT_EQ(count_of({{5, 0}}, {0, 0}), 0u);
  EXPECT_EQ(count_of({{5, 1}}, {0, 0}), 0u);
}

TEST(SpatialPip, TheOneEdgeOfTwoVerticesIsTestedTwice) {
  EXPECT_EQ(count_of({{5, -1}, {5, 1}}, {0, 0}), 2u);
  EXPECT_EQ(count_of({{5, 1}, {5, -1}}, {0, 0}), 2u);
  EXPECT_EQ(count_of({{-5, -1}, {-5, 1}}, {0, 0}), 0u);
  EXPECT_EQ(count_of({{5, 1}, {5, 2}}, {0, 0}), 0u);
}

TEST(SpatialPip, APointInATriangleCounts1) {
  EXPECT_EQ(count_of({{0, 0}, {2, 0}, {0, 2}}, {0.5, 0.5}), 1u);
}

TEST(SpatialPip, APointInASquareOf4VerticesCounts1) {
  EXPECT_EQ(count_of(square, {1, 1}), 1u);
}

TEST(SpatialPip, APointLeftOfTheSquareCounts1BecauseTheEdgeBackTo0IsNeverTested) {
  EXPECT_EQ(count_of(square, {-1, 1}), 1u);
  EXPECT_EQ(closed_ring_count(square, {-1, 1}), 2u);
}

TEST(SpatialPip, TheSquareClosedBy5VerticesCounts2BecauseOfTheChord) {
  Polygon closed = square;
  closed.push_back({0, 0});
  EXPECT_EQ(count_of(closed, {0.5, 1}), 2u);
  EXPECT_EQ(closed_ring_count(closed, {0.5, 1}), 1u);
}

// A polygon on which one edge alone crosses the ray; all others lie above it. An edge from above to
// below and the one back always come in pairs, so two edges meet at one low vertex: the low vertex
// is to the right of the query, and which of its neighbours' edges are tested tells the walk.
TEST(SpatialPip, TheEdgesTestedAreThoseOfTheWalk) {
  for (uint32_t vertices = 2; vertices <= 40; ++vertices) {
    std::vector<uint32_t> edges_at(vertices, 0);
    for (const TestedEdge& edge : oracle::tested_edges(vertices)) {
      ++edges_at[edge.a];
      ++edges_at[edge.b];
    }
    for (uint32_t low = 0; low < vertices; ++low) {
      Polygon polygon(vertices, Point{10, 1});
      polygon[low].y = -1;
      EXPECT_EQ(count_of(polygon, {0, 0}), edges_at[low]) << vertices << ", " << low;
    }
  }
}

TEST(SpatialPip, WithEvenCountsTheLastEdgeIsTestedTwiceAndTheClosingOneNever) {
  for (uint32_t vertices = 4; vertices <= 20; vertices += 2) {
    const auto with_low = [&](uint32_t low) {
      Polygon polygon(vertices, Point{10, 1});
      polygon[low].y = -1;
      return count_of(polygon, {0, 0});
    };
    EXPECT_EQ(with_low(0), 1u);
    EXPECT_EQ(with_low(vertices - 1), 2u);
    EXPECT_EQ(with_low(vertices - 2), 3u);
    EXPECT_EQ(with_low(1), 2u);
  }
}

TEST(SpatialPip, WithOddCountsTheChordToTheThirdLastVertexIsTested) {
  for (uint32_t vertices = 5; vertices <= 21; vertices += 2) {
    const auto with_low = [&](uint32_t low) {
      Polygon polygon(vertices, Point{10, 1});
      polygon[low].y = -1;
      return count_of(polygon, {0, 0});
    };
    EXPECT_EQ(with_low(0), 1u);
    EXPECT_EQ(with_low(vertices - 1), 2u);
    EXPECT_EQ(with_low(vertices - 2), 2u);
    EXPECT_EQ(with_low(vertices - 3), 3u);
  }
}

// The vertex numbered `at` and its successor make the edge; all others lie above the ray.
uint32_t count_of_edge(uint32_t vertices, uint32_t at, Point from, Point to, Point query) {
  Polygon polygon(vertices, Point{to.x, to.y});
  for (uint32_t v = 0; v <= at; ++v) polygon[v] = from;
  return count_of(polygon, query);
}

TEST(SpatialPip, AVertexAtTheRaysHeightCountsAsBelow) {
  // Paired edge (0,1) of six vertices; everything behind it repeats its end.
  EXPECT_EQ(count_of_edge(6, 0, {5, 0}, {5, 1}, {0, 0}), 1u);   // up from the line: straddles
  EXPECT_EQ(count_of_edge(6, 0, {5, 0}, {5, -1}, {0, 0}), 0u);  // down from it: does not
  EXPECT_EQ(count_of_edge(6, 0, {5, 1}, {5, 0}, {0, 0}), 1u);
  EXPECT_EQ(count_of_edge(6, 0, {5, -1}, {5, 0}, {0, 0}), 0u);
  EXPECT_EQ(count_of({{5, 0}, {5, 1}}, {0, 0}), 2u);
  EXPECT_EQ(count_of({{5, 0}, {5, -1}}, {0, 0}), 0u);
}

TEST(SpatialPip, HorizontalEdgesNeverCount) {
  for (const double y : {-1.0, 0.0, 1.0}) {
    EXPECT_EQ(count_of({{5, y}, {6, y}, {7, y}, {8, y}, {9, y}}, {0, 0}), 0u) << y;
  }
}

TEST(SpatialPip, APointOnAVerticalEdgeIsNotCountedOnIt) {
  EXPECT_EQ(count_of_edge(6, 0, {5, -1}, {5, 1}, {5, 0}), 0u);
  EXPECT_EQ(count_of_edge(6, 0, {5, 1}, {5, -1}, {5, 0}), 0u);
  EXPECT_EQ(count_of({{5, -1}, {5, 1}}, {5, 0}), 0u);
  const double before = std::nextafter(5.0, 0.0);
  EXPECT_EQ(count_of_edge(6, 0, {5, -1}, {5, 1}, {before, 0}), 1u);
  EXPECT_EQ(count_of_edge(6, 0, {5, 1}, {5, -1}, {before, 0}), 1u);
  EXPECT_EQ(count_of({{5, -1}, {5, 1}}, {before, 0}), 2u);
}

TEST(SpatialPip, APointOnASlantedEdgeIsNotCountedOnIt) {
  EXPECT_EQ(count_of_edge(6, 0, {4, -1}, {6, 1}, {5, 0}), 0u);
  EXPECT_EQ(count_of_edge(6, 0, {6, 1}, {4, -1}, {5, 0}), 0u);
  EXPECT_EQ(count_of({{4, -1}, {6, 1}}, {5, 0}), 0u);
}

// What other forms of the side test would say, each a plausible slip.
double crossing_x(Point a, Point b, Point query) {
  return (b.x - a.x) * (query.y - a.y) / (b.y - a.y) + a.x;
}
double crossing_x_divided_first(Point a, Point b, Point query) {
  return (b.x - a.x) / (b.y - a.y) * (query.y - a.y) + a.x;
}

// An edge and a query at the very edge of a tie on which the product form and the quotient form
// disagree: in the paired part the products decide, in the remainder the quotient.
TEST(SpatialPip, TheTwoFormsOfTheSideTestAreNotUnified) {
  Random random(3);
  int by_products = 0;
  int by_quotient = 0;
  for (int attempt = 0; attempt < 200000; ++attempt) {
    const Polygon ends = random_polygon(2, false, random);
    const Point a = ends[0], b = ends[1];
    Point query = {0, (a.y + b.y) * (0.25 + 0.5 * static_cast<double>(random.below(2)))};
    query.x = crossing_x(a, b, query);
    if (attempt % 2 == 0) query.x = std::nextafter(query.x, -1.0);
    const Polygon edge = {a, b};
    const bool products = oracle::counts({0, 1, SideTest::by_products}, edge, query);
    const bool quotient = oracle::counts({0, 1, SideTest::by_quotient}, edge, query);
    const bool backwards = oracle::counts({1, 0, SideTest::by_quotient}, edge, query);
    if (products == quotient || quotient != backwards) continue;
    ++(products ? by_products : by_quotient);
    EXPECT_EQ(count_of_edge(6, 0, a, b, query), products ? 1u : 0u);
    EXPECT_EQ(count_of(edge, query), quotient ? 2u : 0u);
  }
  EXPECT_GT(by_products, 100);
  EXPECT_GT(by_quotient, 100);
}

// The remainder starts from its current vertex, multiplies first and divides then. Of two vertices
// the edge is tested from either end once, so the two ends may disagree.
TEST(SpatialPip, TheQuotientIsTakenFromTheCurrentVertexAndMultipliesFirst) {
  Random random(4);
  int ends_disagree = 0;
  int dividing_first_differs = 0;
  for (int attempt = 0; attempt < 200000; ++attempt) {
    const Polygon ends = random_polygon(2, false, random);
    Point query = {0, (ends[0].y + ends[1].y) / 2};
    query.x = crossing_x(ends[0], ends[1], query);
    if ((query.y < ends[0].y) == (query.y < ends[1].y)) continue;
    const bool from_0 = crossing_x(ends[0], ends[1], query) > query.x;
    const bool from_1 = crossing_x(ends[1], ends[0], query) > query.x;
    const bool divided = crossing_x_divided_first(ends[0], ends[1], query) > query.x;
    ends_disagree += from_0 != from_1 ? 1 : 0;
    dividing_first_differs += from_0 != divided ? 1 : 0;
    if (from_0 == from_1 && from_0 == divided) continue;
    EXPECT_EQ(count_of(ends, query), uint32_t{from_0} + uint32_t{from_1});
  }
  EXPECT_GT(ends_disagree, 100);
  EXPECT_GT(dividing_first_differs, 100);
}

// Of three vertices each edge is tested once: from vertex 0 to 2, from 1 to 0, from 2 to 1.
TEST(SpatialPip, InTheRemainderOfThreeTheCurrentVertexIsTheEdgesFirst) {
  Random random(5);
  int ends_disagree = 0;
  for (int attempt = 0; attempt < 200000; ++attempt) {
    const Polygon polygon = random_polygon(3, false, random);
    const auto at = static_cast<uint32_t>(attempt % 3);
    const Point a = polygon[at], b = polygon[(at + 2) % 3];
    Point query = {0, (a.y + b.y) / 2};
    query.x = crossing_x(b, a, query);
    if ((crossing_x(a, b, query) > query.x) == (crossing_x(b, a, query) > query.x)) continue;
    ++ends_disagree;
    ASSERT_EQ(polygon_difference({polygon, query}), "");
  }
  EXPECT_GT(ends_disagree, 100);
}

TEST(SpatialPip, ANanHeightCountsAsBelowAndItsEdgeFailsTheSideTest) {
  for (uint32_t at = 0; at < 7; ++at) {
    for (uint32_t vertices = at + 1; vertices <= 9; ++vertices) {
      Polygon polygon(vertices, Point{5, 1});
      polygon[at].y = nan;
      EXPECT_EQ(count_of(polygon, {0, 0}), 0u);
      polygon[at] = {nan, -1};
      EXPECT_EQ(count_of(polygon, {0, 0}), 0u);
    }
  }
}

TEST(SpatialPip, ANanPointIsNeverCrossed) {
  for (const Point query : {Point{nan, 1}, Point{1, nan}, Point{nan, nan}}) {
    EXPECT_EQ(count_of(square, query), 0u);
    EXPECT_EQ(count_of({{0, 0}, {2, 0}, {0, 2}}, query), 0u);
  }
}

TEST(SpatialPip, NumbersOfEverySort) {
  Random random(6);
  for (const NumberMix mix : all_mixes) {
    for (int attempt = 0; attempt < 4000; ++attempt) {
      const auto coordinate = [&] {
        return oracle::number_of<double>(random_number(mix, 8, random));
      };
      PolygonBatch batch = {Polygon(random.below(12)), {coordinate(), coordinate()}};
      for (Point& vertex : batch.polygon) {
        vertex = {coordinate(), random.one_in(3) ? batch.query.y : coordinate()};
      }
      ASSERT_EQ(polygon_difference(batch), "");
    }
  }
}

TEST(SpatialPip, InfinitiesAndDenormals) {
  EXPECT_EQ(count_of_edge(6, 0, {infinity, -1}, {infinity, 1}, {0, 0}), 0u);  // inf - inf is NaN
  // The difference of products is infinite, the quotient of infinities is none.
  EXPECT_EQ(count_of_edge(6, 0, {4, -infinity}, {6, infinity}, {0, 0}), 1u);
  EXPECT_EQ(count_of({{4, -infinity}, {6, infinity}}, {0, 0}), 0u);
  EXPECT_EQ(count_of_edge(6, 0, {5, -infinity}, {5, infinity}, {0, 0}), 0u);  // 0 * inf is NaN
  // A line at infinity: the edge from above it to it crosses where the products say so.
  EXPECT_EQ(count_of_edge(6, 0, {4, infinity}, {6, -infinity}, {0, -infinity}), 1u);
  EXPECT_EQ(count_of_edge(6, 0, {4, infinity}, {6, -infinity}, {5, -infinity}), 0u);
  EXPECT_EQ(count_of({{4, infinity}, {6, -infinity}}, {0, -infinity}), 0u);
  EXPECT_EQ(count_of_edge(6, 0, {4, infinity}, {6, -infinity}, {0, infinity}), 0u);
  const double least = std::numeric_limits<double>::denorm_min();
  EXPECT_EQ(count_of_edge(6, 0, {5, 0}, {5, least}, {0, 0}), 1u);
  EXPECT_EQ(count_of({{5, 0}, {5, least}}, {0, 0}), 2u);
}

TEST(SpatialPip, ASignedZeroIsAZero) {
  for (const double zero : {0.0, -0.0}) {
    EXPECT_EQ(count_of_edge(6, 0, {5, zero}, {5, 1}, {0, -zero}), 1u);
    EXPECT_EQ(count_of({{5, zero}, {5, -1}}, {0, -zero}), 0u);
  }
}

TEST(SpatialPip, InputsAndTheCountMayLieAtAnyAddress) {
  Random random(7);
  for (size_t shift = 0; shift < 16; ++shift) {
    PolygonBatch batch = {random_polygon(15, true, random), {0, 0}};
    batch.slack_bytes = shift;
    batch.shift = 15 - shift;
    EXPECT_EQ(polygon_difference(batch), "") << shift;
  }
}

}  // namespace
}  // namespace colx::test
