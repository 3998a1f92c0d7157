// Crossing counts of smooth and ragged polygons against the textbook loop over the closed ring.

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/random_stream.h"
#include "bench/support/scalar_crossings.h"
#include "bench/support/stream_limit.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

#define SHAPELY "colx_spatial_pip_dydi (smooth|ragged)"
#define RANDOM  "colx_spatial_pip_dydi random"
constexpr Target targets[] = {
    {"polygons, times the textbook loop", SHAPELY, &in_l1, Figure::times_scalar, 1.5},
    {"polygons, times the textbook loop", SHAPELY, &in_l2, Figure::times_scalar, 1.5},
    {"random vertices, times the textbook loop", RANDOM, &in_l1, Figure::times_scalar, 1.5},
    {"random vertices, times the textbook loop", RANDOM, &in_l2, Figure::times_scalar, 1.5},
};
#undef SHAPELY
#undef RANDOM

// Smooth: the ray straddles two edges. Ragged: a circle whose radius varies from vertex to vertex,
// so that some edges near the ray straddle. Random: every other edge straddles, at random.
enum class Shape { smooth, ragged, random };
constexpr const char* shape_names[] = {"smooth", "ragged", "random"};

struct Polygon {
  std::vector<double> x;
  std::vector<double> y;
};

Polygon polygon_of(Shape shape, uint32_t vertices) {
  RandomNumbers random(7);
  const auto part = [&] { return static_cast<double>(random.below(1 << 30)) / (1 << 30); };
  Polygon polygon;
  for (uint32_t v = 0; v < vertices; ++v) {
    const double angle = 0.1 + 6.283185307179586 * v / vertices;
    const double radius = shape == Shape::ragged ? 0.5 + part() : 1;
    polygon.x.push_back(shape == Shape::random ? part() - 0.5 : radius * std::cos(angle));
    polygon.y.push_back(shape == Shape::random ? part() - 0.5 : radius * std::sin(angle));
  }
  return polygon;
}

constexpr double query_x = 0.013, query_y = 0.017;

// The walk that the kernel owes: edges between neighbours up to vertex m, and a ring of the last
// two or three vertices. No vertex or crossing is near enough to the point for rounding to matter.
uint32_t walk_count(const Polygon& polygon) {
  const auto vertices = static_cast<uint32_t>(polygon.x.size());
  const uint32_t ring = (vertices / 2 - 1) * 2;
  uint32_t count = 0;
  for (uint32_t v = 0; v < vertices; ++v) {
    const uint32_t next = v + 1 < vertices ? v + 1 : ring;
    const double dy = polygon.y[next] - polygon.y[v];
    if ((polygon.y[v] > query_y) == (polygon.y[next] > query_y)) continue;
    const double part = (query_y - polygon.y[v]) / dy;
    if (polygon.x[v] + part * (polygon.x[next] - polygon.x[v]) > query_x) ++count;
  }
  return count;
}

Case polygon_case(Shape shape, const SizeClass& size) {
  const auto vertices = static_cast<uint32_t>(size.bytes / 16);
  const auto prepare = [=] {
    const auto polygon = std::make_shared<Polygon>(polygon_of(shape, vertices));
    const auto count = std::make_shared<uint32_t>(0);
    Contest contest;
    contest.kernel = [=](unsigned) {
      colx_cv vectors[5] = {};
      double x = query_x, y = query_y;
      vectors[0].colx_cv_data = count.get();
      vectors[1].colx_cv_data = polygon->x.data();
      vectors[1].colx_cv_num_of_rows = vertices;
      vectors[2].colx_cv_data = polygon->y.data();
      vectors[3].colx_cv_data = &x;
      vectors[4].colx_cv_data = &y;
      colx_spatial_pip_dydi(&vectors[0], &vectors[1], &vectors[2], &vectors[3], &vectors[4],
                            nullptr);
    };
    contest.scalar = [=](unsigned) {
      const uint32_t crossings =
          scalar_crossings(polygon->x.data(), polygon->y.data(), vertices, query_x, query_y);
      asm volatile("" : : "r"(crossings));
    };
    contest.limit = [=](unsigned) {
      read_limit(reinterpret_cast<const uint8_t*>(polygon->y.data()), vertices * 8);
    };
    contest.kernel(0);
    if (*count != walk_count(*polygon)) contest.fault = "the kernel differs from the plain walk";
    return contest;
  };
  return {"colx_spatial_pip_dydi " + std::string(shape_names[static_cast<int>(shape)]),
          "",
          size,
          vertices,
          uint64_t{vertices} * 16,
          prepare};
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (const SizeClass& size : {in_l1, in_l2})
    for (const Shape shape : {Shape::smooth, Shape::ragged, Shape::random})
      cases.push_back(polygon_case(shape, size));
  return {cases, targets};
}

}  // namespace colx::bench
