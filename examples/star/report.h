// report.h: what the program prints on standard output.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "examples/star/engine.h"

namespace colx::star {

// "6,000,000"
std::string grouped(uint64_t number);

// How each column is stored, in bytes per row beside its plain size.
void print_columns(const Table& table, const std::vector<EncodedColumn>& columns);

// A query's steps with rows per second, its count, and whether it is right: `wrong` says why not.
void print_answer(std::string_view name, std::string_view where, const Answer& answer,
                  const std::optional<std::string>& wrong);

// The first `listed` of `rows` with the columns that flight 1 asks about.
void print_rows(const Table& lineorder, const std::vector<uint32_t>& rows, unsigned listed);

}  // namespace colx::star
