#include "tests/support/stored_rows.h"

#include <cstring>

namespace colx::test {

std::string first_touch_difference(const RecordingHost& host, const std::string& kernel,
                                   const colx_cv& src, size_t image_bytes, uint32_t decode_status) {
  if (host.cached_allocations.size() != 1 || host.decodes.size() != 1) {
    return "host: one allocation and one decoding are due";
  }
  const CachedAllocation& a = host.cached_allocations[0];
  const Decode& d = host.decodes[0];
  if (a.label != kernel + ": vec1_decomp") return "allocation label is " + a.label;
  if (a.host != host.handle || a.heap != host.heap || a.bytes != image_bytes || a.unit != 8 ||
      a.align != 16 || a.size != src.colx_cv_decomp_size) {
    return "arguments of colx_env_alloc_cached";
  }
  if (*src.colx_cv_decomp_slot != a.buffer) return "the slot does not hold the buffer";
  if (d.env.colx_denv_host != host.handle || d.env.colx_denv_heap != host.heap ||
      d.env.colx_denv_alloc != host.env.colx_env_alloc ||
      d.env.colx_denv_free != host.env.colx_env_free) {
    return "fields of colx_decode_env";
  }
  if (d.image != src.colx_cv_data || d.out != a.buffer || d.out_len_before != 0 ||
      d.capacity != image_bytes) {
    return "arguments of colx_env_decode";
  }
  if (decode_status == 0) return {};
  if (host.raised.empty()) return "a failed decoding is to be raised";
  const Raised& raised = host.raised[0];
  if (raised.text != kernel + ": colx_wpak_decode failed") return "raised text is " + raised.text;
  if (raised.host != host.handle || raised.zero != 0) return "arguments of host_raise_internal";
  return {};
}

// A compressed image is never looked at by a kernel, nor is the slot of a column that has none.
void StoredRows::place(colx_cv& src, RecordingHost& host, std::span<const uint8_t> stream,
                       size_t slack_bytes, Store store, Edge edge, uint32_t decode_status) {
  stream_.assign(stream.begin(), stream.end());
  store_ = store;
  decode_status_ = decode_status;
  host.reset();
  src.colx_cv_data = nowhere_.unreadable();
  src.colx_cv_decomp_slot = reinterpret_cast<void**>(nowhere_.unreadable());
  slot_ = nullptr;
  placed_ = nullptr;
  if (store == Store::compressed) {
    host.expands_to(stream, slack_bytes);
    host.decode_status = decode_status;
  } else {
    placed_ = pages_.place(stream, slack_bytes, edge);
    (store == Store::plain ? src.colx_cv_data : slot_) = const_cast<uint8_t*>(placed_);
  }
  slot_before_ = slot_;
  if (store == Store::plain) return;
  src.colx_cv_decomp_slot = &slot_;
  src.colx_cv_image_len = static_cast<uint32_t>(stream.size());
  src.colx_cv_decomp_size = 0x0123456789ABCDEF;
}

std::string StoredRows::difference(const colx_cv& src, const RecordingHost& host,
                                   const std::string& kernel, bool reads_rows,
                                   std::span<const std::string> raises) const {
  const bool first_touch = store_ == Store::compressed && reads_rows;
  const bool failed = first_touch && decode_status_ != 0;
  std::vector<std::string> order;
  if (first_touch) order = {"alloc_cached", "decode"};
  order.insert(order.end(), raises.size() + (failed ? 1 : 0), "raise");
  if (host.order != order) {
    std::string text = "host calls:";
    for (const std::string& call : host.order) text += " " + call;
    return text;
  }
  if (first_touch) {
    std::string text = first_touch_difference(host, kernel, src, stream_.size(), decode_status_);
    if (!text.empty()) return text;
  } else if (slot_ != slot_before_) {
    return "changed: the decompression slot";
  }
  for (size_t i = 0; i < raises.size(); ++i) {
    const Raised& raised = host.raised[i + (failed ? 1 : 0)];
    if (raised.text != raises[i]) return "raised text is " + raised.text;
    if (raised.host != host.handle || raised.zero != 0) return "arguments of host_raise_internal";
  }
  if (placed_ != nullptr && !stream_.empty() &&
      std::memcmp(placed_, stream_.data(), stream_.size()) != 0) {
    return "changed: the rows";
  }
  return {};
}

}  // namespace colx::test
