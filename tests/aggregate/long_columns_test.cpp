// Columns of more than 4 GiB and of more than 2^31 rows: offsets and counts keep all their bits.
//
// Inputs are zeros that take no memory but for the page with the last rows; outputs are one small
// stretch of memory mapped over and over, and a page of its own for the last results.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "kernels/frame/colx_x86.h"
#include "tests/support/scan_stage.h"

namespace colx::test {
namespace {

constexpr size_t page = 4096;
constexpr size_t past_4_gib = (size_t{1} << 32) + page;

class ZeroBytes {
 public:
  explicit ZeroBytes(size_t bytes) : bytes_(bytes) {
    at_ = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE,
               -1, 0);
    // Reads meet huge pages of zeros where the system has them.
    if (at_ != MAP_FAILED) madvise(at_, bytes - page, MADV_HUGEPAGE);
  }
  ~ZeroBytes() { munmap(at_, bytes_); }
  ZeroBytes(const ZeroBytes&) = delete;
  ZeroBytes& operator=(const ZeroBytes&) = delete;

  bool there() const { return at_ != MAP_FAILED; }
  template <class Number>
  Number* as() const {
    return static_cast<Number*>(at_);
  }

 private:
  size_t bytes_;
  void* at_;
};

// Every write to one of the stretches shows in all of them; the last page stands for itself.
class RepeatedBytes {
 public:
  explicit RepeatedBytes(size_t bytes) : bytes_(bytes) {
    const int file = memfd_create("repeated", 0);
    if (file < 0 || ftruncate(file, stretch) != 0) return;
    at_ = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (at_ == MAP_FAILED) return;
    for (size_t offset = 0; offset < bytes - page; offset += stretch) {
      map(offset, std::min(stretch, bytes - page - offset), MAP_SHARED, file);
    }
    map(bytes - page, page, MAP_PRIVATE | MAP_ANONYMOUS, -1);
    close(file);
  }
  ~RepeatedBytes() { munmap(at_, bytes_); }
  RepeatedBytes(const RepeatedBytes&) = delete;
  RepeatedBytes& operator=(const RepeatedBytes&) = delete;

  bool there() const { return whole_; }
  uint8_t* bytes() const { return static_cast<uint8_t*>(at_); }

 private:
  static constexpr size_t stretch = size_t{16} << 20;

  void map(size_t offset, size_t bytes, int flags, int file) {
    void* const due = static_cast<uint8_t*>(at_) + offset;
    whole_ = mmap(due, bytes, PROT_READ | PROT_WRITE, flags | MAP_FIXED, file, 0) == due && whole_;
  }

  size_t bytes_;
  void* at_ = MAP_FAILED;
  bool whole_ = true;
};

struct Column {
  colx_enc_ctx encoding = {};
  colx_cv vector = {};

  Column(void* data, size_t rows, uint32_t flags = 0, uint32_t type = 0, uint32_t width_bits = 0) {
    encoding.colx_enc_ctx_flags = flags;
    encoding.colx_enc_ctx_type = type;
    encoding.colx_enc_ctx_width = width_bits;
    vector.colx_cv_data = data;
    vector.colx_cv_num_of_rows = static_cast<uint32_t>(rows);
    vector.colx_cv_encoding_context = &encoding;
  }
};

uint32_t compute(const char* kernel, void* out, Column& left, Column& right) {
  colx_cv res = {};
  res.colx_cv_data = out;
  const auto call = reinterpret_cast<colx_binary_fn>(kernel_named(kernel).kernel);
  return call(&res, &left.vector, &right.vector, nullptr);
}

TEST(LongColumns, ArithmeticSumsReachTheLastOfMoreThan2To31Rows) {
  constexpr size_t rows = (size_t{1} << 31) + 7;
  const ZeroBytes input(4 * rows + page);
  ASSERT_TRUE(input.there());
  auto* const numbers = input.as<float>();
  numbers[rows - 5] = 2.0f;  // in the last step
  numbers[rows - 1] = 0.5f;  // behind it
  float one = 1.0f, sum = 4.0f;
  Column left(numbers, rows), right(&one, 1, COLX_CONST);
  EXPECT_EQ(compute("colx_mul_float_n_n_sum", &sum, left, right), COLX_DONE);
  EXPECT_EQ(sum, 6.5f);
}

TEST(LongColumns, ArithmeticStoresTheRowsBehind4GiB) {
  constexpr size_t rows = past_4_gib / 8 - 1;  // behind the last step, too
  const ZeroBytes input(past_4_gib);
  const RepeatedBytes output(past_4_gib);
  ASSERT_TRUE(input.there() && output.there());
  auto* const numbers = input.as<double>();
  double one = 1.0;
  for (size_t row = rows - 100; row < rows; ++row) numbers[row] = static_cast<double>(row);
  Column left(&one, 1, COLX_CONST), right(numbers, rows);
  EXPECT_EQ(compute("colx_add_double_n_n", output.bytes(), left, right), COLX_DONE);
  for (size_t row = rows - 100; row < rows; ++row) {
    double sum;
    std::memcpy(&sum, output.bytes() + 8 * row, sizeof sum);
    ASSERT_EQ(sum, static_cast<double>(row) + 1.0) << row;
  }
}

TEST(LongColumns, ConversionStoresTheRowsBehind4GiB) {
  constexpr size_t rows = past_4_gib / 4 - 1;
  const ZeroBytes input(past_4_gib);
  const RepeatedBytes output(past_4_gib);
  ASSERT_TRUE(input.there() && output.there());
  for (size_t row = rows - 100; row < rows; ++row) {
    const uint8_t one[] = {0xBF, 0x80, 0, static_cast<uint8_t>(row)};
    std::memcpy(input.as<uint8_t>() + 4 * row, one, sizeof one);
  }
  Column column(input.as<void>(), rows, 0, COLX_TYPE_FLOAT);
  colx_cv res = {};
  res.colx_cv_data = output.bytes();
  EXPECT_EQ(colx_convert_dydi(&res, &column.vector, nullptr), COLX_DONE);
  for (size_t row = rows - 100; row < rows; ++row) {
    uint32_t bits;
    std::memcpy(&bits, output.bytes() + 4 * row, sizeof bits);
    ASSERT_EQ(bits, 0x3F800000u + (row & 0xFF)) << row;
  }
}

TEST(LongColumns, SumsReachTheDsbRowsBehind4GiB) {
  constexpr size_t rows = past_4_gib / 8;
  const ZeroBytes input(past_4_gib);
  ASSERT_TRUE(input.there());
  input.as<uint8_t>()[8 * rows - 1] = 5;
  Column column(input.as<void>(), rows, 0, COLX_TYPE_DSB, 64);
  int64_t sum = 1;
  colx_cv res = {};
  res.colx_cv_data = &sum;
  EXPECT_EQ(colx_gby_sum_dydi(&res, &column.vector, nullptr, nullptr), COLX_DONE);
  EXPECT_EQ(sum, 6);
  colx_kctx kctx = {};
  kctx.colx_kctx_flags = COLX_KCTX_SUM;
  EXPECT_EQ(colx_convert_dydi(&res, &column.vector, &kctx), COLX_DONE);
  EXPECT_EQ(sum, 11);
}

TEST(LongColumns, GroupSumsReachTheDoublesBehind4GiB) {
  constexpr size_t rows = past_4_gib / 8;
  const ZeroBytes input(past_4_gib), keys(past_4_gib / 2);
  ASSERT_TRUE(input.there() && keys.there());
  input.as<double>()[rows - 1] = 0.25;
  keys.as<uint32_t>()[rows - 1] = 3;
  Column column(input.as<void>(), rows, COLX_NATIVE, COLX_TYPE_DOUBLE);
  double sums[] = {1, 2, 3, 4};
  colx_cv res = {}, groups = {};
  res.colx_cv_data = sums;
  groups.colx_cv_data = keys.as<void>();
  EXPECT_EQ(colx_gby_sum_dydi(&res, &column.vector, &groups, nullptr), COLX_DONE);
  EXPECT_EQ(sums[0], 1.0);
  EXPECT_EQ(sums[3], 4.25);
}

TEST(LongColumns, CrossingsReachTheVerticesBehind4GiB) {
  constexpr size_t vertices = past_4_gib / 8;
  const ZeroBytes xs(past_4_gib), ys(past_4_gib);
  ASSERT_TRUE(xs.there() && ys.there());
  // A paired edge up and one down, and the remainder's edge, which counts twice.
  for (const size_t up : {vertices - 9, vertices - 1}) {
    xs.as<double>()[up] = 5;
    ys.as<double>()[up] = 2;
  }
  double px = 0, py = 1;
  uint32_t count = 0;
  Column x(xs.as<void>(), vertices), y(ys.as<void>(), 0);
  colx_cv res = {}, point_x = {}, point_y = {};
  res.colx_cv_data = &count;
  point_x.colx_cv_data = &px;
  point_y.colx_cv_data = &py;
  EXPECT_EQ(colx_spatial_pip_dydi(&res, &x.vector, &y.vector, &point_x, &point_y, nullptr),
            COLX_DONE);
  EXPECT_EQ(count, 4u);
}

}  // namespace
}  // namespace colx::test
