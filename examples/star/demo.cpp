#include "examples/star/demo.h"

#include <fmt/format.h>

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <optional>
#include <utility>
#include <vector>

#include "examples/star/demo_queries.h"
#include "examples/star/generate.h"
#include "examples/star/list_usage.h"
#include "examples/star/read_tbl.h"
#include "examples/star/report.h"
#include "examples/star/sqlite_check.h"
#include "examples/star/star_store.h"
#include "examples/star/text_streams.h"
#include "examples/star/write_tbl.h"
#include "tools/console/figures.h"

namespace colx::star {
namespace {

// Bytes of memory that the process has resident; 0 if the system does not tell.
uint64_t memory_in_use() {
  std::ifstream statm("/proc/self/statm");
  uint64_t size = 0, resident = 0;
  statm >> size >> resident;
  return resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

class Stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

host::Result<Tables> load(const Options& options) {
  const Stopwatch watch;
  auto tables = options.data ? read_tables(*options.data)
                             : host::Result<Tables>(generate_tables(options.scale));
  if (!tables) return tables;
  if (options.sort) (*tables)[TableId::lineorder].sort_by(lo_orderdate);
  fmt::print("{}{} in {:.1f} s\n",
             options.data ? fmt::format("read {}", options.data->string())
                          : fmt::format("generated scale {}", options.scale),
             options.sort ? ", sorted by date" : "", watch.seconds());
  return tables;
}

host::Result<StarStore> encode_and_print(const Tables& tables, const host::Library& library,
                                         host::HostServices& services) {
  const Stopwatch watch;
  auto store = StarStore::encode(tables, library, services);
  if (!store) return store;
  fmt::print("encoded in {:.1f} s\n", watch.seconds());
  for (const TableId id : table_ids) print_columns(tables[id], store->table(id));
  fmt::print("\n{} MiB in use, {} MiB of it stored columns\n",
             console::grouped(memory_in_use() >> 20),
             console::grouped(store->stored_bytes() >> 20));
  return store;
}

host::Result<std::optional<SqliteStar>> load_sqlite(const Tables& tables, const Options& options) {
  if (!options.check_sqlite) return std::optional<SqliteStar>();
  const Stopwatch watch;
  auto star = SqliteStar::load(tables);
  if (!star) return star.error();
  fmt::print("loaded into SQLite in {:.1f} s\n", watch.seconds());
  return std::optional<SqliteStar>(std::move(*star));
}

// What could not be written in the end is better known before the work.
host::Result<void> check_outputs(const Options& options) {
  if (options.export_folder)
    if (auto made = make_folder(*options.export_folder); !made) return made;
  if (options.answers) return check_writable(*options.answers);
  return {};
}

}  // namespace

host::Result<bool> run_demo(const Options& options) {
  auto library = host::Library::open(options.library.string());
  if (!library) return library.error();
  fmt::print("library {}, version {}\n", library->file(), library->record().colx_sctx_version);
  host::HostServices services(*library);
  if (auto able = check_outputs(options); !able) return able.error();
  auto tables = load(options);
  if (!tables) return tables.error();
  if (options.export_folder) {
    if (auto done = write_tables(*tables, *options.export_folder); !done) return done.error();
    return true;
  }
  if (options.list) {
    const auto usage = watch_usage(*library, *tables, options);
    if (!usage) return usage.error();
    return print_usage(*usage);
  }
  const auto texts = run_text_streams(*tables, *library, services);
  if (!texts) return texts.error();
  const auto store = encode_and_print(*tables, *library, services);
  if (!store) return store.error();
  const auto sqlite = load_sqlite(*tables, options);
  if (!sqlite) return sqlite.error();
  const Engine engine{*library, services, store->table(TableId::lineorder),
                      (*tables)[TableId::date]};

  const Session session{engine, *store, *tables, options, *sqlite ? &**sqlite : nullptr};
  if (options.answers) return benchmark(session);

  bool right = *texts;
  for (const DemoCommand& command : demo_commands) {
    auto result = command.run(session);
    if (!result) return result;
    right = right && *result;
  }
  auto result = benchmark(session);
  if (!result) return result;
  return right && *result;
}

}  // namespace colx::star
