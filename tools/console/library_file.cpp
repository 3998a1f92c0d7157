#include "tools/console/library_file.h"

#include <system_error>

namespace colx::console {

namespace fs = std::filesystem;

fs::path default_library_file(const fs::path& installed) {
  fs::path name = "libcolx_x86.so";
  std::error_code failure;
  const fs::path program = fs::read_symlink("/proc/self/exe", failure);
  if (failure) return name;
  const fs::path beside = program.parent_path();
  for (const fs::path& folder : {beside / installed, beside, beside.parent_path().parent_path()})
    if (fs::exists(folder / name, failure)) return (folder / name).lexically_normal();
  return name;
}

}  // namespace colx::console
