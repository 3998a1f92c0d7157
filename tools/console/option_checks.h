// option_checks.h: what the values of options are checked by.
#pragma once

#include <string>

namespace colx::console {

// Each says what is wrong with the text of an option, nothing if all is well.

// A file or a folder has a name.
std::string check_name(const std::string& text);
// A whole number of 64 bits without a sign.
std::string check_number(const std::string& text);

}  // namespace colx::console
