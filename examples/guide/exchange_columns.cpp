// Columns that know their type, in and out through the Arrow C data interface.
#include <cstdio>
#include <vector>

#include "host/arrow_export.h"
#include "host/arrow_import.h"
#include "host/loader.h"
#include "host/services.h"
#include "host/typed_column.h"
#include "host/typed_scan.h"

using namespace colx::host;

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  HostServices services(library);

  // region: producer
  // What another system hands over: 12.50, NULL, -0.75 and 100.00 as decimals of 64 bits.
  const int64_t hundredths[] = {1250, 0, -75, 10'000};
  const uint8_t validity[] = {0b1101};
  const void* buffers[] = {validity, hundredths};
  ArrowSchema schema = {};
  schema.format = "d:9,2,64";
  schema.name = "price";
  schema.flags = ARROW_FLAG_NULLABLE;
  ArrowArray array = {};
  array.length = 4;
  array.null_count = 1;
  array.n_buffers = 2;
  array.buffers = buffers;
  // A producer's release frees what the record points at; here that lies on the stack.
  schema.release = [](ArrowSchema* record) { record->release = nullptr; };
  array.release = [](ArrowArray* record) { record->release = nullptr; };
  // end

  // region: import
  const ArrowSchemaOwner owned_schema(schema);  // release them in the end
  const ArrowArrayOwner owned_array(array);
  const ArrowArray* const batches[] = {&*owned_array};
  const TypedColumn price = import_arrow_column(*owned_schema, batches).value();
  std::printf("%s: %d rows, %d NULL\n", price.name.c_str(), int(price.column.rows()),
              int(price.nulls));
  // end

  // region: scan
  const PreparedScan scan =
      prepare_typed_scan(library, price, Compare::ge_lt, int64_t{-100}, int64_t{10'000}).value();
  std::vector<RowBits> hits;
  for (const Chunk& chunk : price.column.chunks) hits.emplace_back(chunk.rows);
  for (size_t chunk = 0; chunk < hits.size(); ++chunk)
    std::printf("%d rows from -1.00 to below 100.00\n",
                int(scan.run(chunk, hits[chunk], services).value()));
  // end

  // region: export
  const DecodedColumn found = read_typed_column(library, services, price, hits).value();
  const ArrowBatch batch = export_arrow_column(found).value();
  const auto* values = static_cast<const int64_t*>(batch.array->buffers[1]);
  std::printf("%s %s: %d %d\n", batch.schema->format, batch.schema->name, int(values[0]),
              int(values[1]));
  // end
}
