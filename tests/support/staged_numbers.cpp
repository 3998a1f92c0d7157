#include "tests/support/staged_numbers.h"

#include <cstdio>
#include <cstring>

namespace colx::test {
namespace {

template <class Record>
bool same(const Record& a, const Record& b) {
  return std::memcmp(&a, &b, sizeof(Record)) == 0;
}

}  // namespace

colx_cv noisy_vector(void* data, void* untouchable) {
  colx_cv vector;
  std::memset(&vector, 0x5A, sizeof vector);
  vector.colx_cv_data = data;
  vector.colx_cv_aux = untouchable;
  vector.colx_cv_row_flags = static_cast<uint16_t*>(untouchable);
  vector.colx_cv_encoding_context = static_cast<colx_enc_ctx*>(untouchable);
  vector.colx_cv_nulls = vector.colx_cv_bits = static_cast<uint64_t*>(untouchable);
  vector.colx_cv_decomp_slot = static_cast<void**>(untouchable);
  return vector;
}

colx_cv* StagedNumbers::place(const NumberColumn& column) {
  stored_ = column.stored;
  void* const untouchable = nowhere_.unreadable();
  std::memset(&encoding_, 0xA5, sizeof encoding_);
  encoding_.colx_enc_ctx_flags = column.flags;
  encoding_.colx_enc_ctx_type = column.type;
  encoding_.colx_enc_ctx_width = column.width_bits;
  vector_ = noisy_vector(
      stored_.empty() ? untouchable : pages_.place(stored_, column.slack_bytes, column.edge),
      untouchable);
  vector_.colx_cv_encoding_context = &encoding_;
  vector_.colx_cv_num_of_rows = column.rows;
  encoding_before_ = encoding_;
  vector_before_ = vector_;
  return &vector_;
}

std::string StagedNumbers::damage(const char* what) const {
  if (!same(vector_, vector_before_)) return std::string("changed: the record of ") + what;
  if (!same(encoding_, encoding_before_)) return std::string("changed: the encoding of ") + what;
  if (!stored_.empty() && std::memcmp(vector_.colx_cv_data, stored_.data(), stored_.size()) != 0) {
    return std::string("changed: the rows of ") + what;
  }
  return {};
}

std::vector<uint64_t> words_at(const void* at, size_t count, unsigned bytes) {
  std::vector<uint64_t> words(count);
  for (size_t i = 0; i < count; ++i) {
    std::memcpy(&words[i], static_cast<const uint8_t*>(at) + i * bytes, bytes);
  }
  return words;
}

void store_words(void* at, const std::vector<uint64_t>& words, unsigned bytes) {
  for (size_t i = 0; i < words.size(); ++i) {
    std::memcpy(static_cast<uint8_t*>(at) + i * bytes, &words[i], bytes);
  }
}

std::string not_the_word(uint64_t got, uint64_t due) {
  char text[48];
  std::snprintf(text, sizeof text, "0x%llx, not 0x%llx", static_cast<unsigned long long>(got),
                static_cast<unsigned long long>(due));
  return text;
}

}  // namespace colx::test
