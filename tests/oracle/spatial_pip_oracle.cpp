#include "tests/oracle/spatial_pip_oracle.h"

namespace colx::oracle {
namespace {

bool straddles(Point a, Point b, Point query) {
  return (query.y < a.y) != (query.y < b.y);
}

bool right_by_products(Point a, Point b, Point query) {
  const double dy = b.y - a.y;
  const double left = (query.x - a.x) * dy;
  const double right = (b.x - a.x) * (query.y - a.y);
  return dy < 0 ? right < left : left < right;
}

bool right_by_quotient(Point a, Point b, Point query) {
  return (b.x - a.x) * (query.y - a.y) / (b.y - a.y) + a.x > query.x;
}

}  // namespace

std::vector<TestedEdge> tested_edges(uint32_t vertices) {
  std::vector<TestedEdge> edges;
  const uint32_t steps = vertices >= 2 ? vertices / 2 - 1 : 0;
  const uint32_t paired = 2 * steps;
  for (uint32_t a = 0; a < paired; ++a) edges.push_back({a, a + 1, SideTest::by_products});
  uint32_t previous = vertices - 1;
  for (uint32_t current = paired; current < vertices; ++current) {
    edges.push_back({current, previous, SideTest::by_quotient});
    previous = current;
  }
  return edges;
}

bool counts(const TestedEdge& edge, std::span<const Point> polygon, Point query) {
  const Point a = polygon[edge.a];
  const Point b = polygon[edge.b];
  if (!straddles(a, b, query)) return false;
  return edge.side == SideTest::by_products ? right_by_products(a, b, query)
                                            : right_by_quotient(a, b, query);
}

uint32_t crossing_count(std::span<const Point> polygon, Point query) {
  uint32_t count = 0;
  for (const TestedEdge& edge : tested_edges(static_cast<uint32_t>(polygon.size()))) {
    count += counts(edge, polygon, query) ? 1 : 0;
  }
  return count;
}

}  // namespace colx::oracle
