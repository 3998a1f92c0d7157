// The crossing count as a list of edges and of the form in which each is tested.
//
//   n = 7:  paired (0,1) (1,2) (2,3) (3,4)    remainder, current and previous: (4,6) (5,4) (6,5)
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace colx::oracle {

enum class SideTest { by_products, by_quotient };

struct TestedEdge {
  uint32_t a;
  uint32_t b;
  SideTest side;
};

// All edges that are tested for `vertices` vertices, in order.
std::vector<TestedEdge> tested_edges(uint32_t vertices);

struct Point {
  double x;
  double y;
};

bool counts(const TestedEdge& edge, std::span<const Point> polygon, Point query);

uint32_t crossing_count(std::span<const Point> polygon, Point query);

}  // namespace colx::oracle
