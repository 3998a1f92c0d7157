#include "host/loader.h"

#include <dlfcn.h>
#include <elf.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>

#include "host/slot_parts.h"

namespace colx::host {
namespace {

// The library imports host_raise_internal from this program. A program that only opens the library
// at run time mentions it nowhere else, so this reference is what links the default reporter in.
[[gnu::used]] constexpr auto* reporter = &host_raise_internal;

Result<void> check_processor(Processor processor) {
  if (processor.has_sse42 && processor.has_popcnt) return {};
  return make_error("this processor lacks %s, which the kernels need; no library was opened",
                    processor.has_sse42    ? "POPCNT"
                    : processor.has_popcnt ? "SSE4.2"
                                           : "SSE4.2 and POPCNT");
}

// Says plainly what the system's loader would only hint at.
Result<void> check_file(const std::string& file) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return make_error("%s: cannot be opened: %s", file.c_str(), std::strerror(errno));
  Elf64_Ehdr header{};
  stream.read(reinterpret_cast<char*>(&header), sizeof header);
  if (stream.bad()) return make_error("%s: cannot be read: %s", file.c_str(), std::strerror(errno));
  const auto length = static_cast<size_t>(stream.gcount());
  if (length < SELFMAG || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0)
    return make_error("%s: not an ELF file", file.c_str());
  if (length < sizeof header)
    return make_error("%s: ends within its ELF header (%zu bytes)", file.c_str(), length);
  if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_ident[EI_DATA] != ELFDATA2LSB ||
      header.e_machine != EM_X86_64)
    return make_error("%s: an ELF file, but not for 64-bit x86-64", file.c_str());
  if (header.e_type != ET_DYN)
    return make_error("%s: an ELF file, but not a shared object", file.c_str());
  return {};
}

Result<void> check_record(const colx_specialized_ctx& record, const std::string& file) {
  if (record.colx_sctx_magic != COLX_SCTX_MAGIC)
    return make_error("%s: its record has magic 0x%llX, not 0x%X: not a kernel library",
                      file.c_str(), static_cast<unsigned long long>(record.colx_sctx_magic),
                      COLX_SCTX_MAGIC);
  if (!record.colx_sctx_version || std::strcmp(record.colx_sctx_version, COLX_SCTX_VERSION) != 0)
    return make_error("%s: has version \"%s\", this host was built for \"%s\"", file.c_str(),
                      record.colx_sctx_version ? record.colx_sctx_version : "(none)",
                      COLX_SCTX_VERSION);
  if (!record.colx_sctx_name || std::strcmp(record.colx_sctx_name, COLX_SCTX_NAME) != 0)
    return make_error("%s: is the variant \"%s\", this host needs \"%s\"", file.c_str(),
                      record.colx_sctx_name ? record.colx_sctx_name : "(none)", COLX_SCTX_NAME);
  if (!record.colx_sctx_dispatch)
    return make_error("%s: its record has no dispatch table", file.c_str());
  return {};
}

// Exported functions that stand in no entry of the record.
constexpr const char* exports_beside_the_record[] = {
    "colx_dispatch_table_size",
    "colx_null",
    "colx_stats_dump",
    "colx_build_cla_1_ub1",
    "colx_build_cla_1_ub2",
    "colx_bloom_hash32",
    "colx_bloom_hash64",
    "colx_bloom_hash32_selective",
    "colx_bloom_hash64_selective",
};

// The entries in the record's order.
#define COLX_ENTRY(name) \
  { "colx_" #name "_dydi", offsetof(colx_specialized_ctx, colx_sctx_##name) }
constexpr struct {
  const char* function;
  size_t at;
} entries[] = {
    COLX_ENTRY(init_sharedlib),
    COLX_ENTRY(set_trace_level),
    COLX_ENTRY(lbivpopcnt),
    COLX_ENTRY(lbivnot),
    COLX_ENTRY(lbivand),
    COLX_ENTRY(lbivor),
    COLX_ENTRY(lbivxor),
    COLX_ENTRY(lbivandnot),
    COLX_ENTRY(lbivand3),
    COLX_ENTRY(lbivor3),
    COLX_ENTRY(lbivxor3),
    COLX_ENTRY(lbivset_range),
    COLX_ENTRY(lbivclr_range),
    COLX_ENTRY(lbiv_ictx_ini2),
    COLX_ENTRY(lbiviter),
    COLX_ENTRY(lbiviter_clr),
    COLX_ENTRY(lbivones),
    COLX_ENTRY(lbivrun),
    COLX_ENTRY(lbivruns),
    COLX_ENTRY(lbiwvpopcnt),
    COLX_ENTRY(lbiwvnot),
    COLX_ENTRY(lbiwvand),
    COLX_ENTRY(lbiwvor),
    COLX_ENTRY(lbiwvxor),
    COLX_ENTRY(lbiwvandnot),
    COLX_ENTRY(lbiwvand3),
    COLX_ENTRY(lbiwvor3),
    COLX_ENTRY(lbiwvxor3),
    COLX_ENTRY(lbiwvset_range),
    COLX_ENTRY(lbiwvclr_range),
    COLX_ENTRY(lbiwv_ictx_ini2),
    COLX_ENTRY(lbiwviter),
    COLX_ENTRY(lbiwviter_clr),
    COLX_ENTRY(lbiwvones),
    COLX_ENTRY(lbiwvrun),
    COLX_ENTRY(lbiwvruns),
    COLX_ENTRY(bloom),
    COLX_ENTRY(spatial_pip),
    COLX_ENTRY(groupkey),
    COLX_ENTRY(gby_sum),
    COLX_ENTRY(convert),
    COLX_ENTRY(prefix_decode),
    COLX_ENTRY(hash),
    COLX_ENTRY(ht_build),
    COLX_ENTRY(ht_probe),
    COLX_ENTRY(partition),
    COLX_ENTRY(gather),
    COLX_ENTRY(transpose_reference),
    COLX_ENTRY(transpose_convert),
    COLX_ENTRY(wpak_decode),
    COLX_ENTRY(thread_ctx_init),
    COLX_ENTRY(thread_ctx_fini),
};
#undef COLX_ENTRY
static_assert(std::size(entries) == 52);

constexpr const char* operation_names[COLX_OPC_COUNT] = {"eq",
                                                         "lt",
                                                         "gt",
                                                         "le",
                                                         "ge",
                                                         "ne",
                                                         "gt_lt",
                                                         "gt_le",
                                                         "ge_lt",
                                                         "ge_le",
                                                         "decode",
                                                         "decode_unpack",
                                                         "decode_symbol",
                                                         "set",
                                                         "burst",
                                                         "sum",
                                                         "distinct",
                                                         "xlate",
                                                         "bloom",
                                                         "add",
                                                         "sub",
                                                         "mul"};
constexpr const char* encoding_names[] = {"fixed", "dict", "dynp", "rle"};

Error wrong_shape(uint32_t opc, uint8_t key, const char* shape) {
  return make_error("%s is not a %s operation", expected_kernel_name(opc, key).c_str(), shape);
}

template <class Shape>
Result<Shape> shaped(const Result<colx_kernel_fn>& slot) {
  if (!slot) return slot.error();
  return reinterpret_cast<Shape>(*slot);
}

uint32_t bits_of_width_code(uint32_t code) {
  constexpr uint32_t wide[] = {24, 32, 64};
  return code < 20 ? code + 1 : code <= 22 ? wide[code - 20] : 0;
}

}  // namespace

Processor this_processor() {
  return {__builtin_cpu_supports("sse4.2") != 0, __builtin_cpu_supports("popcnt") != 0};
}

Result<Library> Library::open(const std::string& file, Processor processor) {
  if (auto fit = check_processor(processor); !fit) return fit.error();
  if (file.empty())  // dlopen takes it for the program itself
    return make_error("the name of a library file is missing; libcolx_x86.so is searched for");
  if (file.find('/') != std::string::npos)
    if (auto readable = check_file(file); !readable) return readable.error();

  Library library;
  library.file_ = file;
  void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* reason = dlerror();
    return make_error("%s: cannot be loaded: %s", file.c_str(),
                      reason ? reason : "no reason given");
  }
  library.handle_ = std::shared_ptr<void>(handle, dlclose);
  const void* record = dlsym(handle, "colx_global_specialized_ctx");
  if (!record)
    return make_error(
        "%s: a shared object without colx_global_specialized_ctx: not a kernel library",
        file.c_str());
  library.record_ = static_cast<const colx_specialized_ctx*>(record);
  if (auto sound = check_record(*library.record_, file); !sound) return sound.error();
  library.names_ = static_cast<const char* const*>(dlsym(handle, "colx_dispatch_func_names"));
  if (!library.names_)
    return make_error("%s: does not export colx_dispatch_func_names", file.c_str());
  return library;
}

Result<Library> Library::attach(const colx_specialized_ctx& record, const char* const* names,
                                const std::string& file, Processor processor) {
  if (auto fit = check_processor(processor); !fit) return fit.error();
  if (auto sound = check_record(record, file); !sound) return sound.error();
  if (!names) return make_error("%s: attached without its table of kernel names", file.c_str());
  Library library;
  library.record_ = &record;
  library.names_ = names;
  library.file_ = file;
  return library;
}

Library Library::through(const colx_specialized_ctx& record) const {
  Library library = *this;
  library.record_ = &record;
  return library;
}

Result<void (*)(const colx_stats_ctx*, int32_t)> Library::stats_dump() const {
  void* const function = handle_ ? dlsym(handle_.get(), "colx_stats_dump") : nullptr;
  if (!function) return make_error("%s: exports no colx_stats_dump", file_.c_str());
  return reinterpret_cast<void (*)(const colx_stats_ctx*, int32_t)>(function);
}

std::vector<std::string> Library::missing_functions() const {
  std::vector<std::string> missing;
  for (const auto& entry : entries) {
    uint64_t address = 0;
    std::memcpy(&address, reinterpret_cast<const char*>(record_) + entry.at, sizeof address);
    if (!address) missing.emplace_back(entry.function);
  }
  if (handle_)
    for (const char* function : exports_beside_the_record)
      if (!dlsym(handle_.get(), function)) missing.emplace_back(function);
  return missing;
}

Result<colx_kernel_fn> Library::slot(uint32_t opc, uint8_t key) const {
  const colx_kernel_fn kernel = record_->colx_sctx_dispatch[colx_column_index(opc, key)];
  if (!kernel)
    return make_error("%s: has no kernel %s", file_.c_str(),
                      expected_kernel_name(opc, key).c_str());
  return kernel;
}

Result<colx_scan_fn> Library::scan_kernel(uint32_t opc, uint8_t key) const {
  if (opc > COLX_OPC_NE) return wrong_shape(opc, key, "one-sided scan");
  return shaped<colx_scan_fn>(slot(opc, key));
}

Result<colx_range_scan_fn> Library::range_scan_kernel(uint32_t opc, uint8_t key) const {
  if (opc < COLX_OPC_GT_LT || opc > COLX_OPC_GE_LE) return wrong_shape(opc, key, "range scan");
  return shaped<colx_range_scan_fn>(slot(opc, key));
}

Result<colx_decode_fn> Library::decode_kernel(uint32_t opc, uint8_t key) const {
  if (opc != COLX_OPC_BURST && (opc < COLX_OPC_DECODE || opc > COLX_OPC_DECODE_SYMBOL))
    return wrong_shape(opc, key, "decode");
  return shaped<colx_decode_fn>(slot(opc, key));
}

Result<colx_binary_fn> Library::binary_kernel(uint32_t opc, uint8_t key) const {
  const bool binary = opc == COLX_OPC_SET || opc == COLX_OPC_SUM || opc == COLX_OPC_DISTINCT ||
                      opc == COLX_OPC_XLATE || (opc >= COLX_OPC_ADD && opc <= COLX_OPC_MUL);
  if (!binary) return wrong_shape(opc, key, "two-vector");
  return shaped<colx_binary_fn>(slot(opc, key));
}

const char* Library::kernel_name(uint32_t opc, uint8_t key) const {
  return opc < COLX_OPC_COUNT ? names_[colx_column_index(opc, key)] : "colx_invalid_dispatch";
}

std::string expected_kernel_name(uint32_t opc, uint8_t key) {
  const SlotParts parts = parts_of_slot(colx_column_index(0, key));
  const uint32_t encoding = parts.encoding, code = parts.width_code;
  const uint32_t bits = bits_of_width_code(code);
  const bool variant = parts.variant;
  const bool scan = opc <= COLX_OPC_GE_LE;
  const bool by_width = scan || (opc >= COLX_OPC_DECODE && opc <= COLX_OPC_SET) ||
                        opc == COLX_OPC_SUM || opc == COLX_OPC_DISTINCT;
  if (by_width && bits && encoding != COLX_ENC_RLE && (scan || !variant)) {
    std::string name = std::string("colx_") + operation_names[opc] + '_' +
                       encoding_names[encoding] + '_' + std::to_string(bits) + "bit";
    if (variant) name += encoding == COLX_ENC_DICT ? "_null" : "_tz";
    return name;
  }
  if (opc == COLX_OPC_BURST && encoding == COLX_ENC_RLE && (code & ~9u) == 6 && !variant)
    return std::string("colx_burst_rle_") + (code & 8 ? "16bit" : "8bit") +
           (code & 1 ? "_cla" : "");
  return std::string("of operation ") +
         (opc < COLX_OPC_COUNT ? operation_names[opc] : std::to_string(opc).c_str()) +
         ", column key " + std::to_string(key);
}

}  // namespace colx::host
