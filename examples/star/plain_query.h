// plain_query.h: the queries evaluated on the plain tables, one line after the other, without the
// library and without anything encoded.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "examples/star/star_query.h"
#include "examples/star/star_run.h"
#include "examples/star/tables.h"

namespace colx::star {

// Finds each line's rows in the dimensions once, for all queries. The tables must outlive it.
class PlainStar {
 public:
  explicit PlainStar(const Tables& tables);

  StarAnswer answer(const StarQuery& query) const;

 private:
  const Tables& tables_;
  // By dimension: a row of it for each line.
  std::array<std::vector<uint32_t>, table_ids.size()> rows_;
};

// What is wrong with an answer: the first row that differs; nothing if it is right.
std::optional<std::string> difference(const StarAnswer& answer, const StarAnswer& expected);
std::optional<std::string> difference(const std::vector<AnswerRow>& rows,
                                      const std::vector<AnswerRow>& expected);
// A row as it is printed: the group's columns and the sum.
std::string text_of(const AnswerRow& row);

}  // namespace colx::star
