// Columns in and results out through the Arrow C data interface.
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/arrow_export.h"
#include "host/arrow_import.h"
#include "host/loader.h"
#include "host/services.h"
#include "host/typed_scan.h"

using namespace colx::host;

namespace {

// Stands for another system: fills the two records with a batch of orders.
void fill_batch(ArrowSchema* schema, ArrowArray* array) {
  const std::vector<int64_t> price = {1999, 450, 0, 12'500, 450};  // cents
  const std::vector<std::string_view> city = {"Oslo", "Bergen", "Oslo", "Tromso", "Oslo"};
  RowBits priced(5);
  priced.set_all();
  priced.clear(2);
  std::vector<DecodedColumn> columns;
  columns.push_back({"price", {ValueKind::decimal, 128, 9, 2}, price, std::move(priced)});
  columns.push_back({"city", {ValueKind::text, 32}, city, {}});
  ArrowBatch batch = export_arrow(columns).value();
  batch.schema.move_to(*schema);
  batch.array.move_to(*array);
}

// Stands for a consumer: it owns the records from here on.
void take_result(ArrowSchema schema, ArrowArray array) {
  const ArrowArray& prices = *array.children[0];
  const auto* cents = static_cast<const int64_t*>(prices.buffers[1]);
  std::printf("a result of %d rows, the first column \"%s\" of format %s:\n", int(array.length),
              schema.children[0]->name, schema.children[0]->format);
  for (int64_t row = 0; row < array.length; ++row)
    std::printf("row %d: %d cents\n", int(row), int(cents[2 * row]));
  array.release(&array);
  schema.release(&schema);
}

}  // namespace

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  HostServices services(library);

  // region: import
  ArrowSchemaOwner schema;
  std::vector<ArrowArrayOwner> batches(1);
  fill_batch(schema.receive(), batches[0].receive());  // the producer's part
  const std::vector<TypedColumn> table = import_arrow_table(*schema, records_of(batches)).value();
  batches.clear();  // released; the columns own what they hold
  for (const TypedColumn& column : table)
    std::printf("%s: %d rows, %d NULL, %d bits a row\n", column.name.c_str(),
                int(column.column.rows()), int(column.nulls), int(column.column.format.width_bits));
  // end

  // region: scan
  const TypedColumn& price = table[0];
  const PreparedScan cheap =
      prepare_typed_scan(library, price, Compare::lt, int64_t{2000}).value();  // below 20.00
  std::vector<RowBits> hits;
  uint32_t found = 0;
  for (size_t chunk = 0; chunk < price.column.chunks.size(); ++chunk) {
    hits.emplace_back(price.column.chunks[chunk].rows);
    found += cheap.run(chunk, hits.back(), services).value();
  }
  std::printf("%u rows cost less than 20.00\n", found);
  // end

  // region: export
  std::vector<DecodedColumn> result;
  result.reserve(table.size());
  for (const TypedColumn& column : table)
    result.push_back(read_typed_column(library, services, column, hits).value());
  ArrowBatch batch = export_arrow(result).value();
  ArrowSchema result_schema;
  ArrowArray result_array;
  batch.schema.move_to(result_schema);
  batch.array.move_to(result_array);
  take_result(result_schema, result_array);  // the consumer releases both
  // end

  // region: refused
  const int32_t number = 7;
  const void* buffers[] = {nullptr, &number};
  ArrowSchema odd = {};
  odd.format = "tiM";
  odd.name = "age";
  odd.release = [](ArrowSchema* record) { record->release = nullptr; };
  ArrowArray months = {};
  months.length = 1;
  months.n_buffers = 2;
  months.buffers = buffers;
  months.release = [](ArrowArray* record) { record->release = nullptr; };
  const ArrowArray* borrowed[] = {&months};
  std::printf("%s\n", import_arrow_column(odd, borrowed).message().c_str());
  // end
}
