// report.h: what the program prints on standard output.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "examples/star/engine.h"

namespace colx::star {

// How each column is stored, in bytes per row beside its plain size.
void print_columns(const Table& table, const std::vector<EncodedColumn>& columns);

// Starts a paragraph.
void print_heading(std::string_view text);

// A query's steps with rows per second, its count, and whether it is right: `wrong` says why not.
void print_answer(const Answer& answer, const std::optional<std::string>& wrong);

// Ends a line with whether its figures are right, and returns that.
bool print_verdict(bool right);

// Rows of lineorder, ascending, out of the stored columns: those that flight 1 asks about. Errors
// as values_at().
host::Result<void> print_rows(const Engine& engine, std::span<const uint32_t> rows);

}  // namespace colx::star
