#include "bench/support/scalar_crossings.h"

namespace colx::bench {

uint32_t scalar_crossings(const double* x, const double* y, uint32_t vertices, double px,
                          double py) {
  uint32_t count = 0;
  for (uint32_t i = 0, j = vertices - 1; i < vertices; j = i++) {
    if ((y[i] > py) != (y[j] > py) && px < (x[j] - x[i]) * (py - y[i]) / (y[j] - y[i]) + x[i])
      ++count;
  }
  return count;
}

}  // namespace colx::bench
