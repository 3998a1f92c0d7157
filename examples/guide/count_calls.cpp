// Statistics: what each kernel did, printed by the library.
#include <cstdio>
#include <vector>

#include "host/call_meter.h"
#include "host/encode_codes.h"
#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/services.h"

using namespace colx::host;

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  HostServices services(library);

  // region: meter
  const std::vector<uint64_t> codes(10'000, 3);
  const StoredColumn column = store_codes(codes, {.width_bits = 5}).value();
  const PreparedScan scan =
      PreparedScan::on_codes(library, column, {.compare = Compare::eq, .low = 3}).value();
  RowBits hits(10'000);
  CallMeter meter;  // one a thread; merge() adds them up
  for (int call = 0; call < 3; ++call) {
    CallMeter::measure(&meter, scan.slot(), 10'000, [&] {
      return scan.run(0, hits, services);
    }).value();
  }
  std::printf("%s: %u calls\n", scan.kernel_name(), meter.calls(scan.slot()));
  // end

  // region: dump
  const bool only_called = true;
  if (const auto printed = meter.dump(library, only_called); !printed)
    std::printf("%s\n", printed.message().c_str());
  // end
}
