#include "tests/support/join_columns.h"

#include <cstring>

#include "tests/support/call_records.h"

namespace colx::test {
namespace {

bool is_record(oracle::KeyLayout layout) {
  return layout == oracle::KeyLayout::hashrid || layout == oracle::KeyLayout::hashgdrid;
}

}  // namespace

JoinRows join_rows(oracle::KeyLayout layout, bool autorid, std::vector<KeyRow> rows,
                   Random& random) {
  JoinRows all;
  all.keys.layout = layout;
  all.keys.edge = random.one_in(2) ? Edge::begin : Edge::end;
  all.keys.width_bits = 8 * (8 + static_cast<uint32_t>(random.below(9)));
  all.autorid = autorid;
  all.base_rid = random.next();
  for (size_t i = 0; i < rows.size(); ++i) all.values.push_back(random.next());
  all.keys.rows = std::move(rows);
  return all;
}

void set_columns(KeyColumn& keys, PayloadColumn& payload, const JoinRows& rows,
                 unsigned value_bytes) {
  keys.set(rows.keys);
  if (rows.autorid) {
    payload.set_autorid(rows.base_rid, rows.payload_flags);
  } else if (is_record(rows.keys.layout)) {
    payload.set_array({}, value_bytes, Edge::end, rows.payload_flags);
  } else {
    payload.set_array(rows.values, value_bytes, rows.keys.edge, rows.payload_flags,
                      rows.keys.slack_bytes);
  }
}

void start_at_row_0(colx_kctx& kctx, uint8_t* nowhere) {
  std::memset(&kctx, 0x3C, sizeof kctx);
  kctx.colx_kctx_env = reinterpret_cast<colx_env*>(nowhere);
  kctx.colx_kctx_selection = reinterpret_cast<uint64_t*>(nowhere);
  kctx.colx_kctx_rows = reinterpret_cast<const uint32_t*>(nowhere);
  kctx.colx_kctx_position = 0;
  kctx.colx_kctx_key_offset = 0;
}

std::string kctx_difference(const colx_kctx& now, const colx_kctx& expected) {
  std::string text = unlike("position", now.colx_kctx_position, expected.colx_kctx_position);
  if (text.empty()) {
    text = unlike("key_offset", now.colx_kctx_key_offset, expected.colx_kctx_key_offset);
  }
  if (text.empty()) {
    text = unlike("resume_extra", now.colx_kctx_resume_extra, expected.colx_kctx_resume_extra);
  }
  if (text.empty() && !same_bytes(now, expected)) text = "changed: a field of kctx";
  return text;
}

}  // namespace colx::test
