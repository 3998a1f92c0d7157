// domains.h: the values from which the benchmark's text columns are drawn.
//
// The Star Schema Benchmark takes them over from TPC-H ("TPC Benchmark H",
// section 4.2.2.13), from which it derives: regions, nations, priorities, modes, segments,
// containers, the three syllables of a type and the words of part names, which are its colors.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace colx::star::domains {

using Texts = std::string_view;

inline constexpr Texts regions[] = {"AFRICA", "AMERICA", "ASIA", "EUROPE", "MIDDLE EAST"};

struct Nation {
  Texts name;
  size_t region;  // index of `regions`
};
// In this order: a phone number's country code is the index plus 10.
inline constexpr std::array nations = {
    Nation{"ALGERIA", 0},      Nation{"ARGENTINA", 1},  Nation{"BRAZIL", 1},
    Nation{"CANADA", 1},       Nation{"EGYPT", 4},      Nation{"ETHIOPIA", 0},
    Nation{"FRANCE", 3},       Nation{"GERMANY", 3},    Nation{"INDIA", 2},
    Nation{"INDONESIA", 2},    Nation{"IRAN", 4},       Nation{"IRAQ", 4},
    Nation{"JAPAN", 2},        Nation{"JORDAN", 4},     Nation{"KENYA", 0},
    Nation{"MOROCCO", 0},      Nation{"MOZAMBIQUE", 0}, Nation{"PERU", 1},
    Nation{"CHINA", 2},        Nation{"ROMANIA", 3},    Nation{"SAUDI ARABIA", 4},
    Nation{"VIETNAM", 2},      Nation{"RUSSIA", 3},     Nation{"UNITED KINGDOM", 3},
    Nation{"UNITED STATES", 1}};
static_assert(nations.size() == 25);
inline constexpr unsigned cities_per_nation = 10;

inline constexpr Texts market_segments[] = {"AUTOMOBILE", "BUILDING", "FURNITURE", "HOUSEHOLD",
                                            "MACHINERY"};
inline constexpr Texts order_priorities[] = {"1-URGENT", "2-HIGH", "3-MEDIUM", "4-NOT SPECIFIED",
                                             "5-LOW"};
inline constexpr Texts ship_modes[] = {"REG AIR", "AIR", "RAIL", "SHIP", "TRUCK", "MAIL", "FOB"};

inline constexpr Texts type_finishes[] = {"STANDARD", "SMALL",   "MEDIUM",
                                          "LARGE",    "ECONOMY", "PROMO"};
inline constexpr Texts type_treatments[] = {"ANODIZED", "BURNISHED", "PLATED", "POLISHED",
                                            "BRUSHED"};
inline constexpr Texts type_metals[] = {"TIN", "NICKEL", "BRASS", "STEEL", "COPPER"};

inline constexpr Texts container_sizes[] = {"SM", "LG", "MED", "JUMBO", "WRAP"};
inline constexpr Texts container_kinds[] = {"CASE", "BOX",  "BAG", "JAR",
                                            "PKG",  "PACK", "CAN", "DRUM"};

inline constexpr Texts colors[] = {
    "almond",   "antique",   "aquamarine", "azure",      "beige",     "bisque",    "black",
    "blanched", "blue",      "blush",      "brown",      "burlywood", "burnished", "chartreuse",
    "chiffon",  "chocolate", "coral",      "cornflower", "cornsilk",  "cream",     "cyan",
    "dark",     "deep",      "dim",        "dodger",     "drab",      "firebrick", "floral",
    "forest",   "frosted",   "gainsboro",  "ghost",      "goldenrod", "green",     "grey",
    "honeydew", "hot",       "indian",     "ivory",      "khaki",     "lace",      "lavender",
    "lawn",     "lemon",     "light",      "lime",       "linen",     "magenta",   "maroon",
    "medium",   "metallic",  "midnight",   "mint",       "misty",     "moccasin",  "navajo",
    "navy",     "olive",     "orange",     "orchid",     "pale",      "papaya",    "peach",
    "peru",     "pink",      "plum",       "powder",     "puff",      "purple",    "red",
    "rose",     "rosy",      "royal",      "saddle",     "salmon",    "sandy",     "seashell",
    "sienna",   "sky",       "slate",      "smoke",      "snow",      "spring",    "steel",
    "tan",      "thistle",   "tomato",     "turquoise",  "violet",    "wheat",     "white",
    "yellow"};

inline constexpr Texts months[] = {"January",   "February", "March",    "April",
                                   "May",       "June",     "July",     "August",
                                   "September", "October",  "November", "December"};
inline constexpr Texts weekdays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                     "Thursday", "Friday", "Saturday"};

}  // namespace colx::star::domains
