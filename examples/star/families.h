// families.h: the families of the library's kernels and functions, and who uses them.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace colx::star {

// Every family of the library.
std::span<const std::string_view> all_families();

// The family of a kernel of the library's table. A scan of any form or a set that walks selected
// rows is one of `walking_scans` as well.
std::string_view family_of_slot(uint32_t slot);
inline constexpr std::string_view walking_scans = "scans that walk selected rows";
// The family of a function by its name in the exported record, "lbiwvand", and of "stats_dump".
// Empty for one that only sets the library up.
std::string_view family_of_function(std::string_view name);

struct Usage {
  std::string user;  // a query or a command
  std::set<std::string_view> families;
};

// Prints a line a family with its users. True if each has one.
bool print_usage(const std::vector<Usage>& usage);

}  // namespace colx::star
