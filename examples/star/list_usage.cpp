#include "examples/star/list_usage.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "examples/star/call_watch.h"
#include "examples/star/demo_queries.h"
#include "examples/star/star_run.h"
#include "examples/star/text_streams.h"
#include "host/call_meter.h"

namespace colx::star {
namespace {

// Standard output leads nowhere while it exists.
class Silence {
 public:
  Silence() : output_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  ~Silence() {
    std::fflush(stdout);
    dup2(output_, STDOUT_FILENO);
    close(output_);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int output_;
};

}  // namespace

host::Result<std::vector<Usage>> watch_usage(const host::Library& library, const Tables& tables,
                                             const Options& options) {
  const Silence silence;
  CallWatch watch(library);
  host::HostServices services(watch.library());
  const auto store = StarStore::encode(tables, watch.library(), services);
  if (!store) return store.error();
  const std::set<std::string_view> loading = watch.take_families();

  std::vector<Usage> usage;
  for (const StarQuery& query : benchmark_queries()) {
    if (const auto found = answer(*store, query, options.threads); !found) return found.error();
    usage.push_back({std::string{query.name}, watch.take_families()});
  }
  usage.push_back({"loading", loading});
  if (const auto texts = run_text_streams(tables, watch.library(), services); !texts)
    return texts.error();
  usage.push_back({"text streams", watch.take_families()});
  const Engine engine{watch.library(), services, store->table(TableId::lineorder),
                      tables[TableId::date]};
  const Session session{engine, *store, tables, options, nullptr};
  for (const DemoCommand& command : demo_commands) {
    if (const auto right = command.run(session); !right) return right.error();
    usage.push_back({std::string{command.name}, watch.take_families()});
  }
  // The one function that is in no record, so that no watch sees it.
  if (const auto dumped = host::CallMeter().dump(library, true); !dumped) return dumped.error();
  usage.push_back({"--stats", {family_of_function("stats_dump")}});
  return usage;
}

}  // namespace colx::star
