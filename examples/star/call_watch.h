// call_watch.h: the library with every call noted, to see which of its families a piece of work
// really uses.
//
//   CallWatch watch(library);
//   work(watch.library());
//   watch.take_families()       what work() called
#pragma once

#include <array>
#include <set>
#include <string_view>

#include "host/loader.h"

namespace colx::star {

// One at a time; the calls may come from many threads. The library that it watches must outlive it,
// and it must outlive all that its own library() was given to.
class CallWatch {
 public:
  explicit CallWatch(const host::Library& watched);
  CallWatch(const CallWatch&) = delete;
  CallWatch& operator=(const CallWatch&) = delete;

  const host::Library& library() const { return library_; }
  // Families of what was called since the last time. Calls of the library within itself do not
  // show.
  std::set<std::string_view> take_families();

 private:
  colx_specialized_ctx record_;
  std::array<colx_kernel_fn, COLX_DISPATCH_SLOTS> table_;
  host::Library library_;
};

}  // namespace colx::star
