// The shared library as a host has it: opened from its file, reached through its exported data.
//
// COLX_LIBRARY_FILE names the file; test programs have it defined.
#pragma once

#include <cstdint>

#include "kernels/frame/colx_x86.h"

namespace colx::test {

class KernelLibrary {
 public:
  // Ends the program with the loader's message if the file cannot be opened.
  explicit KernelLibrary(const char* file);
  ~KernelLibrary();
  KernelLibrary(const KernelLibrary&) = delete;
  KernelLibrary& operator=(const KernelLibrary&) = delete;

  // An exported name; null without it.
  void* symbol(const char* name) const;

  const colx_specialized_ctx& record() const { return *record_; }
  colx_kernel_fn kernel(uint32_t slot) const { return record_->colx_sctx_dispatch[slot]; }
  const char* name(uint32_t slot) const { return names_[slot]; }

 private:
  void* handle_;
  const colx_specialized_ctx* record_;
  const char* const* names_;
};

}  // namespace colx::test
