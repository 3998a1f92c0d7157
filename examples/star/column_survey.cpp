#include "examples/star/column_survey.h"

#include <algorithm>
#include <set>
#include <utility>

#include "examples/star/column_scan.h"
#include "host/chunk_rows.h"
#include "host/group_sums.h"

namespace colx::star {
namespace {

bool holds_codes(const EncodedColumn& column) {
  return column.stored.format.encoding == host::Encoding::dict;
}

bool holds_number_rows(const EncodedColumn& column) {
  return column.stored.format.encoding == host::Encoding::fixed && column.number_bytes != 0;
}

bool holds_numbers(const EncodedColumn& column) {
  return holds_number_rows(column) ||
         std::holds_alternative<host::Dictionary<int64_t>>(column.dictionary);
}

uint64_t middle_code(const EncodedColumn& column) {
  return column.stored.dictionary->num_symbols() / 2;
}

// Asks a slot that promises to do nothing, with a result that would show a touch.
host::Result<std::string> ask(const Engine& engine, const EncodedColumn& column, uint32_t opc) {
  const uint8_t key = column.stored.format.key();
  const auto kernel = engine.library.binary_kernel(opc, key);
  if (!kernel) return kernel.error();
  constexpr uint32_t marker = 0xA5A5A5A5;
  for (size_t chunk = 0; chunk < column.stored.chunks.size(); ++chunk) {
    host::ChunkVector source(column.stored, chunk);
    uint64_t number = marker;
    colx_cv result{};
    result.colx_cv_data = &number;
    result.colx_cv_num_set = marker;
    colx_kctx kctx{};
    kctx.colx_kctx_env = engine.services.env();
    const uint32_t status = (*kernel)(&result, source.cv(), nullptr, &kctx);
    if (status != COLX_DONE || number != marker || result.colx_cv_num_set != marker)
      return host::make_error("%s returned status %u or touched its result",
                              engine.library.kernel_name(opc, key), status);
  }
  return std::string{engine.library.kernel_name(opc, key)};
}

// How many rows have each code.
host::Result<std::vector<uint64_t>> rows_of_codes(const Engine& engine,
                                                  const EncodedColumn& column) {
  const auto unpack = host::CodeUnpack::bind(engine.library, column.stored);
  if (!unpack) return unpack.error();
  std::vector<uint64_t> count(column.stored.dictionary->num_symbols());
  std::vector<uint32_t> room;
  host::ChunkRows rows(engine.library, engine.services);
  for (size_t chunk = 0; chunk < column.stored.chunks.size(); ++chunk) {
    rows.start(chunk, column.stored.chunks[chunk].rows);
    const auto codes = unpack->run(rows, room);
    if (!codes) return codes.error();
    for (const uint32_t code : *codes) ++count[code];
  }
  return count;
}

host::Result<int64_t> sum_of_rows(const Engine& engine, const EncodedColumn& column) {
  auto sums = host::GroupSums::create(engine.library, COLX_TYPE_DSB, 1);
  if (!sums) return sums.error();
  std::vector<uint64_t> room;
  host::ChunkRows rows(engine.library, engine.services);
  for (size_t chunk = 0; chunk < column.stored.chunks.size(); ++chunk) {
    rows.start(chunk, column.stored.chunks[chunk].rows);
    const auto numbers = host::pick_numbers(rows, column.stored, room);
    if (!numbers) return numbers.error();
    if (auto done = sums->add_all({numbers->data(), rows.count()}); !done) return done.error();
  }
  return sums->integer_sum(0);
}

// Distinct values, upper half and, of numbers, the sum.
host::Result<void> survey_codes(const Engine& engine, const EncodedColumn& column, Survey& survey) {
  const auto rows = rows_of_codes(engine, column);
  if (!rows) return rows.error();
  survey.facts.distinct = rows->size() - static_cast<size_t>(std::ranges::count(*rows, 0u));
  const auto scan = host::PreparedScan::on_codes(engine.library, column.stored,
                                                 {host::Compare::ge, middle_code(column)});
  if (!scan) return scan.error();
  const auto answer = run_scan(engine, column, *scan, column.name + " >= middle value", 1);
  if (!answer) return answer.error();
  survey.facts.upper_half = answer->count;
  survey.steps = answer->steps;
  if (!holds_numbers(column)) return {};
  int64_t sum = 0;
  for (uint64_t code = 0; code < rows->size(); ++code)
    sum += static_cast<int64_t>((*rows)[code]) * column.numbers().value(code);
  survey.facts.sum = sum;
  return {};
}

}  // namespace

host::Result<Survey> survey(const Engine& engine, const StarStore& store,
                            const TableColumn& which) {
  const EncodedColumn& column = store.column(which);
  Survey survey;
  std::vector<uint32_t> asked;
  if (holds_codes(column)) asked.push_back(COLX_OPC_DISTINCT);
  if (holds_numbers(column)) asked.push_back(COLX_OPC_SUM);
  for (const uint32_t opc : asked) {
    auto slot = ask(engine, column, opc);
    if (!slot) return slot.error();
    survey.unserved.push_back(std::move(*slot));
  }
  if (holds_codes(column)) {
    if (auto done = survey_codes(engine, column, survey); !done) return done.error();
  } else {
    const auto sum = sum_of_rows(engine, column);
    if (!sum) return sum.error();
    survey.facts.sum = *sum;
  }
  return survey;
}

ColumnFacts plain_facts(const Tables& tables, const StarStore& store, const TableColumn& which) {
  const Column& plain = tables[which.table][which.column];
  const EncodedColumn& column = store.column(which);
  const bool texts = plain.schema.kind == Kind::text;
  ColumnFacts facts;
  if (!texts) {
    facts.sum = 0;
    for (const uint32_t cell : plain.cells) *facts.sum += cell;
  }
  if (!holds_codes(column)) return facts;
  facts.distinct = std::set<uint32_t>(plain.cells.begin(), plain.cells.end()).size();
  const uint64_t middle = middle_code(column);
  facts.upper_half = std::ranges::count_if(plain.cells, [&](uint32_t cell) {
    return texts ? plain.texts.at(cell) >= column.stored.dictionary->symbol(middle)
                 : cell >= column.numbers().value(middle);
  });
  return facts;
}

std::vector<TableColumn> one_column_a_form(const StarStore& store) {
  std::set<std::string> forms;
  std::vector<TableColumn> columns;
  for (const TableId table : table_ids)
    for (size_t column = 0; column < store.table(table).size(); ++column) {
      const EncodedColumn& stored = store.table(table)[column];
      if (!holds_codes(stored) && !holds_number_rows(stored)) continue;
      if (forms.insert(stored.form()).second) columns.push_back({table, column});
    }
  return columns;
}

}  // namespace colx::star
