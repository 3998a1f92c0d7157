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

#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/vectors.h"

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

// A pair is the edges (v, v + 1) and (v + 1, v + 2), in two lanes. Those of its edges whose ends
// lie on different sides of the line.
COLX_INLINE Vec straddling(const Polygon& polygon, size_t v) {
  const Vec py = splat<8>(std::bit_cast<uint64_t>(polygon.py));
  return differ(double_below(py, load(polygon.y + v * 8)),
                double_below(py, load(polygon.y + (v + 1) * 8)));
}

// How many of the pair's straddling edges cross, without a division.
COLX_INLINE uint32_t crossings_of_pair(const Polygon& polygon, size_t v, Vec straddles) {
  const Vec px = splat<8>(std::bit_cast<uint64_t>(polygon.px));
  const Vec py = splat<8>(std::bit_cast<uint64_t>(polygon.py));
  const Vec xa = load(polygon.x + v * 8);
  const Vec xb = load(polygon.x + (v + 1) * 8);
  const Vec ya = load(polygon.y + v * 8);
  const Vec dy = number_difference<double>(load(polygon.y + (v + 1) * 8), ya);
  const Vec left = number_product<double>(number_difference<double>(px, xa), dy);
  const Vec right =
      number_product<double>(number_difference<double>(xb, xa), number_difference<double>(py, ya));
  const Vec right_of_point =
      chosen(double_below(dy, zeros()), double_below(right, left), double_below(left, right));
  return population(half_top_bits(both(straddles, right_of_point)));
}

// Pairs from vertex `v` on; most have no straddling edge, so that is asked for all of them at once.
template <unsigned pairs>
COLX_INLINE uint32_t crossings_of_pairs(const Polygon& polygon, size_t v) {
  Vec straddles[pairs];
  Vec any = zeros();
#pragma GCC unroll 8
  for (unsigned p = 0; p < pairs; ++p)
    any = either(any, straddles[p] = straddling(polygon, v + 2 * p));
  if (half_top_bits(any) == 0) return 0;
  uint32_t count = 0;
#pragma GCC unroll 8
  for (unsigned p = 0; p < pairs; ++p)
    if (half_top_bits(straddles[p]) != 0)
      count += crossings_of_pair(polygon, v + 2 * p, straddles[p]);
  return count;
}

// The edge between a vertex and the one before it.
COLX_INLINE bool crosses(const Polygon& polygon, uint32_t current, uint32_t previous) {
  const double ya = polygon.y_at(current);
  const double yb = polygon.y_at(previous);
  if ((polygon.py < ya) == (polygon.py < yb)) return false;
  const double xa = polygon.x_at(current);
  return (polygon.x_at(previous) - xa) * (polygon.py - ya) / (yb - ya) + xa > polygon.px;
}

uint32_t crossings(const Polygon& polygon, uint32_t vertices) {
  if (vertices == 0) return 0;
  const uint32_t rest = vertices < 2 ? 0 : (vertices / 2 - 1) * 2;
  uint32_t count = 0;
  uint32_t v = 0;
  for (; rest - v >= 8; v += 8) count += crossings_of_pairs<4>(polygon, v);
  for (; v != rest; v += 2) count += crossings_of_pairs<1>(polygon, v);
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
