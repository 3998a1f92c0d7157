#include "examples/star/call_watch.h"

#include <atomic>
#include <cstddef>
#include <utility>

#include "examples/star/families.h"
#include "host/slot_parts.h"

namespace colx::star {
namespace {

// Every entry of the record that is a function.
// clang-format off
#define COLX_BIT_FUNCTIONS(X, form)                                                            \
  X(form##popcnt) X(form##not) X(form##and) X(form##or) X(form##xor) X(form##andnot)           \
  X(form##and3) X(form##or3) X(form##xor3) X(form##set_range) X(form##clr_range)               \
  X(form##_ictx_ini2) X(form##iter) X(form##iter_clr) X(form##ones) X(form##run) X(form##runs)
#define COLX_FUNCTIONS(X)                                                                        \
  X(init_sharedlib) X(set_trace_level)                                                           \
  COLX_BIT_FUNCTIONS(X, lbiv) COLX_BIT_FUNCTIONS(X, lbiwv)                                       \
  X(bloom) X(spatial_pip) X(groupkey) X(gby_sum) X(convert) X(prefix_decode) X(hash) X(ht_build) \
  X(ht_probe) X(partition) X(gather) X(transpose_reference) X(transpose_convert) X(wpak_decode)  \
  X(thread_ctx_init) X(thread_ctx_fini)
// clang-format on

#define COLX_NAME(name) #name,
constexpr const char* function_names[] = {COLX_FUNCTIONS(COLX_NAME)};
#undef COLX_NAME
#define COLX_NUMBER(name) number_of_##name,
enum Function : size_t { COLX_FUNCTIONS(COLX_NUMBER) function_count };
#undef COLX_NUMBER

// What a watch notes and where its calls go on to.
const colx_specialized_ctx* original = nullptr;
std::array<std::atomic<bool>, COLX_DISPATCH_SLOTS> slot_called;
std::array<std::atomic<bool>, function_count> function_called;
std::atomic<bool> walked;

void note(std::atomic<bool>& called) {
  called.store(true, std::memory_order_relaxed);
}

bool may_walk(uint32_t opc) {
  return opc <= COLX_OPC_GE_LE || opc == COLX_OPC_SET;
}

void note_kernel(uint32_t slot, const colx_kctx* kctx) {
  note(slot_called[slot]);
  if (may_walk(host::parts_of_slot(slot).operation) && kctx && kctx->colx_kctx_selection &&
      (kctx->colx_kctx_flags & COLX_KCTX_SELECTIVE))
    note(walked);
}

template <class First, class... Rest>
auto last_of(First first, Rest... rest) {
  if constexpr (sizeof...(Rest) == 0)
    return first;
  else
    return last_of(rest...);
}

// Stand-ins for kernels of one call shape; each gets a slot when the watch begins.
template <class Kernel>
struct StandIns;
template <class... Arguments>
struct StandIns<uint32_t (*)(Arguments...)> {
  using Kernel = uint32_t (*)(Arguments...);
  static constexpr size_t room = 512;
  static inline std::array<uint32_t, room> slots{};
  static inline size_t used = 0;

  template <size_t Number>
  static uint32_t call(Arguments... arguments) {
    const uint32_t slot = slots[Number];
    note_kernel(slot, last_of(arguments...));
    return reinterpret_cast<Kernel>(original->colx_sctx_dispatch[slot])(arguments...);
  }
  template <size_t... Numbers>
  static constexpr std::array<Kernel, room> calls(std::index_sequence<Numbers...>) {
    return {call<Numbers>...};
  }
  static colx_kernel_fn take(uint32_t slot) {
    static constexpr auto all = calls(std::make_index_sequence<room>());
    slots.at(used) = slot;
    return reinterpret_cast<colx_kernel_fn>(all[used++]);
  }
};

colx_kernel_fn stand_in(uint32_t slot) {
  const uint32_t opc = host::parts_of_slot(slot).operation;
  if (opc <= COLX_OPC_NE) return StandIns<colx_scan_fn>::take(slot);
  if (opc <= COLX_OPC_GE_LE) return StandIns<colx_range_scan_fn>::take(slot);
  if (opc <= COLX_OPC_DECODE_SYMBOL || opc == COLX_OPC_BURST)
    return StandIns<colx_decode_fn>::take(slot);
  return StandIns<colx_binary_fn>::take(slot);
}

// A function of the record in front of the same one of the original.
template <Function Number, auto Field>
struct WatchedFunction;
template <Function Number, class Return, class... Arguments,
          Return (*colx_specialized_ctx::*Field)(Arguments...)>
struct WatchedFunction<Number, Field> {
  static Return call(Arguments... arguments) {
    note(function_called[Number]);
    return (original->*Field)(arguments...);
  }
};

void watch_functions(colx_specialized_ctx& record) {
#define COLX_WATCH(name)       \
  if (record.colx_sctx_##name) \
    record.colx_sctx_##name =  \
        WatchedFunction<number_of_##name, &colx_specialized_ctx::colx_sctx_##name>::call;
  COLX_FUNCTIONS(COLX_WATCH)
#undef COLX_WATCH
}

}  // namespace

CallWatch::CallWatch(const host::Library& watched)
    : record_(watched.record()), table_{}, library_(watched.through(record_)) {
  original = &watched.record();
  StandIns<colx_scan_fn>::used = StandIns<colx_range_scan_fn>::used = 0;
  StandIns<colx_decode_fn>::used = StandIns<colx_binary_fn>::used = 0;
  for (uint32_t slot = 0; slot < COLX_DISPATCH_SLOTS; ++slot)
    if (original->colx_sctx_dispatch[slot]) table_[slot] = stand_in(slot);
  record_.colx_sctx_dispatch = table_.data();
  watch_functions(record_);
  take_families();
}

std::set<std::string_view> CallWatch::take_families() {
  std::set<std::string_view> families;
  for (uint32_t slot = 0; slot < COLX_DISPATCH_SLOTS; ++slot)
    if (slot_called[slot].exchange(false)) families.insert(family_of_slot(slot));
  for (size_t function = 0; function < function_count; ++function)
    if (function_called[function].exchange(false))
      families.insert(family_of_function(function_names[function]));
  if (walked.exchange(false)) families.insert(walking_scans);
  families.erase(std::string_view{});
  return families;
}

}  // namespace colx::star
