// Opening the library, and what refuses it.
#include <cstdio>

#include "host/loader.h"

using namespace colx::host;

int main(int argc, char** argv) {
  const char* file = argc > 1 ? argv[1] : "libcolx_x86.so";
  // region: open
  const Result<Library> opened = Library::open(file);
  if (!opened) {
    std::fprintf(stderr, "%s\n", opened.message().c_str());
    return 2;
  }
  const Library& library = *opened;
  std::printf("%s %s, %zu functions missing\n", library.record().colx_sctx_name,
              library.record().colx_sctx_version, library.missing_functions().size());
  // end

  // region: slot
  const uint8_t key = colx_column_key(COLX_ENC_DICT, colx_width_code(13), COLX_FORM_PLAIN);
  std::printf("slot %u: %s\n", colx_column_index(COLX_OPC_GE_LE, key),
              library.kernel_name(COLX_OPC_GE_LE, key));
  const Result<colx_range_scan_fn> kernel = library.range_scan_kernel(COLX_OPC_GE_LE, key);
  std::printf("kernel found: %s\n", kernel ? "yes" : kernel.message().c_str());
  // end

  // region: refused
  const uint8_t wide = colx_column_key(COLX_ENC_DICT, colx_width_code(64), COLX_FORM_PLAIN);
  const Result<colx_decode_fn> none = library.decode_kernel(COLX_OPC_DECODE, wide);
  std::printf("decoder of 64-bit codes found: %s\n", none ? "yes" : "no");
  std::printf("file refused: %s\n", Library::open("/dev/null") ? "no" : "yes");
  // end
}
