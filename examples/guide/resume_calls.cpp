// Kernels that stop when their output is full and go on where they stopped.
#include <cstdio>
#include <vector>

#include "host/column.h"
#include "host/encode_codes.h"
#include "host/join_probe.h"
#include "host/join_table.h"
#include "host/loader.h"
#include "host/services.h"

using namespace colx::host;

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  HostServices services(library);

  // region: unpack
  const std::vector<uint64_t> codes = {5, 1, 4, 1, 5, 9, 2, 6, 5, 3};
  const StoredColumn stored = store_codes(codes, {.width_bits = 4}).value();
  ChunkVector column(stored, 0);
  const colx_decode_fn unpack =
      library.decode_kernel(COLX_OPC_DECODE_UNPACK, stored.format.key()).value();

  uint8_t batch[4];
  colx_kctx kctx = {};
  kctx.colx_kctx_env = services.env();
  for (uint32_t next = 0; next < stored.rows(); next = kctx.colx_kctx_position + 1) {
    colx_cv result = {};
    result.colx_cv_data = batch;
    result.colx_cv_num_of_rows = 4;  // room, in codes
    kctx.colx_kctx_position = next;
    unpack(&result, column.cv(), &kctx);
    std::printf("from row %u:", next);
    for (uint32_t i = 0; i < result.colx_cv_num_set; ++i) std::printf(" %u", batch[i]);
    std::printf("\n");
  }
  // end

  // region: probe
  const std::vector<uint64_t> hashes = {11, 22, 11, 33, 11};  // ready-made hash values as keys
  const KeyRows keys = KeyRows::hashes(hashes).value();
  JoinTable table = JoinTable::create(library, {.expected_rows = 5}).value();
  table.build(keys, RowValues::numbered_from(100)).value();

  const std::vector<uint64_t> wanted = {22, 11, 44, 33};
  colx_cv probe_keys = {}, row_numbers = {};
  colx_enc_ctx keys_encoding = {}, numbers_encoding = {};
  KeyRows::hashes(wanted).value().describe(probe_keys, keys_encoding);
  RowValues::numbered_from(0).describe(row_numbers, numbers_encoding);

  Match matches[3];
  colx_kctx place = {};  // zero for a new column; the library keeps the place in it
  uint32_t status;
  do {
    colx_cv result = {};
    result.colx_cv_data = matches;
    result.colx_cv_num_of_rows = 3;  // room, in records: set anew before every call
    status = library.record().colx_sctx_ht_probe(&result, &probe_keys, &row_numbers,
                                                 &table.descriptor(), nullptr, &place);
    std::printf("status %u:", status);
    for (uint32_t i = 0; i < result.colx_cv_num_of_rows; ++i)
      std::printf(" (%d, %d)", int(matches[i].probe_value), int(matches[i].build_value));
    std::printf("\n");
  } while (status == COLX_PROBE_FULL);
  // end
}
