// The reporter of last resort: the library imports host_raise_internal from the program that loads
// it. It stands in a file of its own, so that a program that defines its own reporter gets that one
// and this archive member stays out of the link.
#include <cstdio>
#include <cstdlib>

#include "kernels/frame/colx_x86.h"

extern "C" void host_raise_internal(void*, void*, const char* text, uint64_t) {
  std::fprintf(stderr, "colx: internal error: %s\n", text);
  std::abort();
}
