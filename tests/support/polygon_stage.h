// One crossing count, with both coordinate arrays, the query point and the count at the edges of
// unreadable pages.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/spatial_pip_oracle.h"
#include "tests/support/guarded_pages.h"

namespace colx::test {

struct PolygonBatch {
  std::vector<oracle::Point> polygon;
  oracle::Point query;
  Edge edge = Edge::end;
  size_t slack_bytes = 0;  // readable behind inputs, to try other alignments
  size_t shift = 0;        // moves the count up by so many bytes
};

struct PolygonRun {
  uint32_t status;
  uint32_t count;
  std::string damage;  // the first thing that changed and should not have; empty if nothing did
};

PolygonRun run_polygon(const PolygonBatch& batch,
                       colx_spatial_pip_call* pip = colx_spatial_pip_dydi);

// Empty if the call does what the oracle says and nothing else, else the first difference.
std::string polygon_difference(const PolygonBatch& batch,
                               colx_spatial_pip_call* pip = colx_spatial_pip_dydi);

}  // namespace colx::test
