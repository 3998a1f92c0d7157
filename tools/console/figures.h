// figures.h: numbers as people read them.
#pragma once

#include <cstdint>
#include <string>

namespace colx::console {

// "6,000,000"
std::string grouped(uint64_t number);
// "512 bytes", "16.3 MB" (10^6)
std::string bytes_text(uint64_t bytes);

}  // namespace colx::console
