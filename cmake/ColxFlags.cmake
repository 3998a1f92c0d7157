# Flags in two layers: what every file gets, and what the shipped kernels get on top.

# Every target: warnings, sanitizers, frame pointers for profilers. The same instruction set
# everywhere, so that host code and scalar comparison loops compete under the kernels' terms.
add_library(colx_flags INTERFACE)
target_compile_options(colx_flags INTERFACE
  -Wall -Wextra
  -march=x86-64 -msse4.2 -mpopcnt -mno-avx
  $<$<BOOL:${COLX_WARNINGS_AS_ERRORS}>:-Werror>)
if(COLX_SANITIZE)
  # -O1 and few symbols: builds that take minutes otherwise. AddressSanitizer stops at a null
  # pointer and past the end of an object, too; the undefined behaviour sanitizer's own checks of
  # these two are a third of the time that it takes to compile the kernels.
  target_compile_options(colx_flags INTERFACE
    -O1 -g1 -fsanitize=${COLX_SANITIZE} -fno-sanitize=null,object-size -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_link_options(colx_flags INTERFACE -fsanitize=${COLX_SANITIZE})
endif()
target_include_directories(colx_flags INTERFACE ${PROJECT_SOURCE_DIR})

# The kernels: no exceptions, no RTTI, hidden unless the public header exports it, calls among
# exported functions not open to interposition. Floating-point results are part of the contract:
# no contraction, and fast-math is never set. -O2: patterns unroll what should be unrolled.
add_library(colx_kernel_flags INTERFACE)
target_link_libraries(colx_kernel_flags INTERFACE colx_flags)
target_compile_options(colx_kernel_flags INTERFACE
  $<$<CONFIG:Release>:-O2>
  -fPIC -fvisibility=hidden -fno-semantic-interposition
  -ffp-contract=off
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)
