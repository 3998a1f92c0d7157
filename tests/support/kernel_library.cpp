#include "tests/support/kernel_library.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace colx::test {
namespace {

// The library imports host_raise_internal from this program, which has it if it is mentioned.
[[gnu::used]] constexpr auto* reporter = &host_raise_internal;

[[noreturn]] void give_up(const char* what, const char* why) {
  std::fprintf(stderr, "%s: %s\n", what, why);
  std::abort();
}

}  // namespace

KernelLibrary::KernelLibrary(const char* file) : handle_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) give_up(file, dlerror());
  record_ = static_cast<const colx_specialized_ctx*>(symbol("colx_global_specialized_ctx"));
  names_ = static_cast<const char* const*>(symbol("colx_dispatch_func_names"));
  if (record_ == nullptr || names_ == nullptr) give_up(file, "an exported object is missing");
}

KernelLibrary::~KernelLibrary() {
  dlclose(handle_);
}

void* KernelLibrary::symbol(const char* name) const {
  return dlsym(handle_, name);
}

}  // namespace colx::test
