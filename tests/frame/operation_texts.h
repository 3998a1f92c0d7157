// The texts of the operations, by number.
#pragma once

namespace colx::test {

inline constexpr const char* operation_texts[] = {"eq",
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

}  // namespace colx::test
