// The edges of a polygon that cross the ray from a point to the right.
//
// An edge counts if its ends lie on different sides of the line through the point, an end on the
// line being below, and if it meets the line strictly right of the point. NaN in y is below, NaN in
// x is nowhere.
//
// The walk is not the closed ring. Edges are walked in pairs, (0,1) (1,2) and so on up to vertex m,
// where two or three vertices remain (one of a polygon of one); these are walked as a ring of their
// own: (n-1,m) (m,m+1) ... (n-2,n-1). The edge (n-1,0) is tested only if m is 0. The parts decide
// about the side in different arithmetic, which may differ where it rounds.
#include <bit>

#include "kernels/aggregate/number_forms.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/vectors.h"
#include "kernels/frame/word_bits.h"

namespace colx {
namespace {

struct Polygon {
  const uint8_t* x;
  const uint8_t* y;
  double px;
  double py;

  COLX_INLINE double x_at(uint32_t vertex) const { return load_as<double>(x + size_t{vertex} * 8); }
  COLX_INLINE double y_at(uint32_t vertex) const { return load_as<double>(y + size_t{vertex} * 8); }
};

// An edge of the paired part, without a division.
COLX_INLINE bool crosses_in_pairs(const Polygon& polygon, uint32_t a) {
  const double ya = polygon.y_at(a);
  const double yb = polygon.y_at(a + 1);
  if ((polygon.py < ya) == (polygon.py < yb)) return false;
  const double xa = polygon.x_at(a);
  const double dy = yb - ya;
  const double left = (polygon.px - xa) * dy;
  const double right = (polygon.x_at(a + 1) - xa) * (polygon.py - ya);
  return dy < 0 ? right < left : left < right;
}

// A line at infinity, or nowhere: vertices at infinity too are a matter of comparisons.
COLX_COLD uint32_t crossings_one_by_one(const Polygon& polygon, uint32_t edges) {
  uint32_t count = 0;
  for (uint32_t a = 0; a != edges; ++a) count += crosses_in_pairs(polygon, a);
  return count;
}

// How high the line lies over vertices v and v + 1, negative under them. A finite line has a sign
// on either side of it; adding 0 makes -0.0 a 0.0, over which nothing has the height -0.0.
COLX_INLINE Vec heights_at(const Polygon& polygon, size_t v) {
  const Vec py = splat<8>(std::bit_cast<uint64_t>(polygon.py + 0.0));
  return number_difference<double>(py, load(polygon.y + v * 8));
}

COLX_INLINE Vec magnitudes(Vec numbers) {
  return both(numbers, splat<8>(~sign_bit<double>));
}

// A bit for each edge (v, v + 1) and (v + 1, v + 2) that straddles, told by the top bit of its
// lane, and crosses right of the point. Where the difference in y is negative, the height over the
// first end is negative too: both go by their magnitudes, which turns the comparison round as it
// must be. A NaN in y fails the comparison whatever the top bit says.
COLX_INLINE uint32_t crossing_edges(const Polygon& polygon, size_t v, Vec heights, Vec straddles) {
  const Vec px = splat<8>(std::bit_cast<uint64_t>(polygon.px));
  const Vec xa = load(polygon.x + v * 8);
  const Vec xb = load(polygon.x + (v + 1) * 8);
  const Vec dy = number_difference<double>(load(polygon.y + (v + 1) * 8), load(polygon.y + v * 8));
  const Vec left = number_product<double>(number_difference<double>(px, xa), magnitudes(dy));
  const Vec right = number_product<double>(number_difference<double>(xb, xa), magnitudes(heights));
  return half_top_bits(both(straddles, double_below(left, right)));
}

// How many of the pairs' edges from vertex `v` on cross. The heights over the next two vertices are
// given and moved on. Most pairs have no edge that straddles, so that is asked for all of them at
// once; if one has, all are tested without a branch.
template <unsigned pairs>
COLX_INLINE uint32_t crossings_of_pairs(const Polygon& polygon, size_t v, Vec& next) {
  Vec heights[pairs + 1];
  Vec straddles[pairs];
  Vec any = zeros();
  heights[0] = next;
#pragma GCC unroll 4
  for (unsigned p = 0; p < pairs; ++p) {
    heights[p + 1] = heights_at(polygon, v + 2 * p + 2);
    straddles[p] = differ(heights[p], inner_halves(heights[p], heights[p + 1]));
    any = either(any, straddles[p]);
  }
  next = heights[pairs];
  if (half_top_bits(any) == 0) return 0;
  uint32_t crossing = 0;
#pragma GCC unroll 4
  for (unsigned p = 0; p < pairs; ++p)
    crossing = crossing << 2 | crossing_edges(polygon, v + 2 * p, heights[p], straddles[p]);
  return population(crossing);
}

// The edge between a vertex and the one before it.
COLX_INLINE bool crosses(const Polygon& polygon, uint32_t current, uint32_t previous) {
  const double ya = polygon.y_at(current);
  const double yb = polygon.y_at(previous);
  if ((polygon.py < ya) == (polygon.py < yb)) return false;
  const double xa = polygon.x_at(current);
  return (polygon.x_at(previous) - xa) * (polygon.py - ya) / (yb - ya) + xa > polygon.px;
}

// The edges (0, 1) to (edges - 1, edges), an even number of them.
COLX_INLINE uint32_t paired_crossings(const Polygon& polygon, uint32_t edges) {
  if (edges == 0) return 0;
  if (!(polygon.py - polygon.py == 0)) return crossings_one_by_one(polygon, edges);
  Vec heights = heights_at(polygon, 0);
  uint32_t count = 0;
  uint32_t v = 0;
  for (; edges - v >= 8; v += 8) count += crossings_of_pairs<4>(polygon, v, heights);
  for (; v != edges; v += 2) count += crossings_of_pairs<1>(polygon, v, heights);
  return count;
}

uint32_t crossings(const Polygon& polygon, uint32_t vertices) {
  if (vertices == 0) return 0;
  const uint32_t rest = vertices < 2 ? 0 : (vertices / 2 - 1) * 2;
  uint32_t count = paired_crossings(polygon, rest);
  uint32_t previous = vertices - 1;
  for (uint32_t current = rest; current != vertices; previous = current++)
    count += crosses(polygon, current, previous);
  return count;
}

}  // namespace
}  // namespace colx

extern "C" {

uint32_t colx_spatial_pip_dydi(colx_cv* res, colx_cv* xs, colx_cv* ys, colx_cv* px, colx_cv* py,
                               colx_kctx*) {
  using namespace colx;
  const Polygon polygon = {bytes_at(xs->colx_cv_data, 0), bytes_at(ys->colx_cv_data, 0),
                           load_as<double>(px->colx_cv_data), load_as<double>(py->colx_cv_data)};
  store_as(res->colx_cv_data, crossings(polygon, xs->colx_cv_num_of_rows));
  return COLX_DONE;
}

}  // extern "C"
