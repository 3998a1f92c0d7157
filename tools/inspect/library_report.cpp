#include "tools/inspect/library_report.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <fnmatch.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <unordered_map>
#include <vector>

#include "tools/console/figures.h"
#include "tools/inspect/expected_kernels.h"

namespace colx::inspect {
namespace {

using host::Library;
using host::make_error;
using host::Result;

constexpr uint32_t exported_functions = 61;
constexpr const char* empty_name = "colx_invalid_dispatch";

// A fact holds if nothing is wrong; of many faults the first few are told.
bool print_fact(const char* fact, const std::string& good, const std::vector<std::string>& faults) {
  constexpr size_t told = 5;
  if (faults.empty()) return fmt::print("ok    {:<10} {}\n", fact, good), true;
  for (size_t i = 0; i < faults.size() && i < told; ++i)
    fmt::print("FAIL  {:<10} {}\n", fact, faults[i]);
  if (faults.size() > told) fmt::print("FAIL  {:<10} and {} more\n", fact, faults.size() - told);
  return false;
}

// The opened file under another handle, for what only the dynamic symbols say.
struct Symbols {
  explicit Symbols(const std::string& file)
      : handle(dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD)) {}
  ~Symbols() {
    if (handle) dlclose(handle);
  }
  Symbols(const Symbols&) = delete;
  Symbols& operator=(const Symbols&) = delete;
  void* find(const char* name) const { return handle ? dlsym(handle, name) : nullptr; }
  void* handle;
};

std::vector<std::string> table_faults(const Library& library, const Symbols& symbols) {
  std::vector<std::string> faults;
  if (symbols.find("colx_dispatch_table") != library.record().colx_sctx_dispatch)
    faults.emplace_back("the record's table is not the exported colx_dispatch_table");
  const auto size = reinterpret_cast<uint32_t (*)()>(symbols.find("colx_dispatch_table_size"));
  if (const uint32_t slots = size ? size() : 0; slots != COLX_DISPATCH_SLOTS)
    faults.push_back(fmt::format("colx_dispatch_table_size() says {} slots instead of {}", slots,
                                 COLX_DISPATCH_SLOTS));
  return faults;
}

struct SlotFaults {
  std::vector<std::string> kernels, names;
  uint32_t filled = 0;
};

SlotFaults slot_faults(const Library& library, const Symbols& symbols) {
  std::vector<std::string_view> expected(COLX_DISPATCH_SLOTS);
  for (const KernelFamily& family : kernel_families())
    for (const ExpectedKernel& kernel : family.kernels) expected[kernel.index] = kernel.name;

  // opening proved that the names are there
  const auto* const names =
      static_cast<const char* const*>(symbols.find("colx_dispatch_func_names"));
  SlotFaults faults;
  Dl_info record{}, home{};
  dladdr(&library.record(), &record);
  std::unordered_map<const void*, uint32_t> slot_of;
  for (uint32_t slot = 0; slot < COLX_DISPATCH_SLOTS; ++slot) {
    const auto kernel = reinterpret_cast<const void*>(library.record().colx_sctx_dispatch[slot]);
    const char* const name = names ? names[slot] : nullptr;
    const std::string wanted(expected[slot].empty() ? empty_name : expected[slot]);
    if (!name || name != wanted)
      faults.names.push_back(
          fmt::format("slot {} is called {}, not {}", slot, name ? name : "nothing", wanted));
    if (!kernel && !expected[slot].empty())
      faults.kernels.push_back(fmt::format("slot {} is empty, {} is missing", slot, wanted));
    if (!kernel) continue;
    ++faults.filled;
    if (expected[slot].empty())
      faults.kernels.push_back(fmt::format("slot {} is filled, no kernel is meant for it", slot));
    if (!dladdr(kernel, &home) || home.dli_fbase != record.dli_fbase)
      faults.kernels.push_back(fmt::format("slot {} leads out of the library", slot));
    else if (const auto [other, is_new] = slot_of.emplace(kernel, slot); !is_new)
      faults.kernels.push_back(
          fmt::format("slots {} and {} hold the same kernel", other->second, slot));
  }
  return faults;
}

}  // namespace

Result<bool> verify_library(const std::string& file) {
  if (file.find('/') != std::string::npos && !std::ifstream(file))
    return make_error("%s: cannot be opened: %s", file.c_str(), std::strerror(errno));
  const auto library = Library::open(file);
  if (!library) return print_fact("record", {}, {library.message()});
  const Symbols symbols(file);
  fmt::print("{}\n", file);
  print_fact("record",
             fmt::format("version {}, variant {}", library->record().colx_sctx_version,
                         library->record().colx_sctx_name),
             {});
  std::vector<std::string> missing = library->missing_functions();
  for (std::string& name : missing) name += " is missing";
  const SlotFaults slots = slot_faults(*library, symbols);
  bool holds =
      print_fact("functions", fmt::format("all {} are exported", exported_functions), missing);
  holds &= print_fact("table", fmt::format("{} slots", console::grouped(COLX_DISPATCH_SLOTS)),
                      table_faults(*library, symbols));
  holds &= print_fact("kernels", fmt::format("{} of them, each in its slot", slots.filled),
                      slots.kernels);
  holds &= print_fact("names", "each slot is called what it holds", slots.names);
  return holds;
}

void print_families(const Library& library) {
  size_t found = 0, expected = 0;
  for (const KernelFamily& family : kernel_families()) {
    size_t present = 0;
    for (const ExpectedKernel& kernel : family.kernels)
      present += library.record().colx_sctx_dispatch[kernel.index] != nullptr;
    fmt::print("{:4} of {:4}  {}, as {}\n", present, family.kernels.size(), family.title,
               family.kernels[0].name);
    found += present;
    expected += family.kernels.size();
  }
  fmt::print("{:4} of {:4}  kernels\n", found, expected);
}

Result<void> print_kernels(const Library& library, const std::string& pattern) {
  const bool wild = pattern.find_first_of("*?[") != std::string::npos;
  const std::string whole = wild ? pattern : "*" + pattern + "*";
  bool found = false;
  for (uint32_t slot = 0; slot < COLX_DISPATCH_SLOTS; ++slot) {
    if (!library.record().colx_sctx_dispatch[slot]) continue;
    const char* const name = library.kernel_name(slot & 31, static_cast<uint8_t>(slot >> 5));
    if (!name || fnmatch(whole.c_str(), name, 0) != 0) continue;
    const ExpectedKernel* const kernel = find_kernel(name);
    fmt::print("{:5}  {:<34} {}\n", slot, name, kernel ? kernel->arguments : "unknown arguments");
    found = true;
  }
  if (found) return {};
  return make_error(
      "no kernel matches \"%s\"; colx-inspect list shows all of them, "
      "list 'colx_eq_*' those that begin so",
      pattern.c_str());
}

}  // namespace colx::inspect
