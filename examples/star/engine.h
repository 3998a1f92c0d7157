// engine.h: what a query runs on, and what comes back.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "examples/star/encode.h"
#include "examples/star/scan_steps.h"
#include "examples/star/tables.h"
#include "host/loader.h"
#include "host/services.h"

namespace colx::star {

// All of it is borrowed.
struct Engine {
  const host::Library& library;
  host::HostServices& services;
  const std::vector<EncodedColumn>& lineorder;  // by Lineorder
  const Table& date;
};

struct Answer {
  uint64_t count = 0;               // rows of lineorder that match, as the kernels counted them
  std::vector<uint32_t> rows;       // the same rows as the iterators listed them, ascending
  std::vector<Step> steps;          // those that ran
  std::optional<uint64_t> revenue;  // of a query that asks for it
};

}  // namespace colx::star
