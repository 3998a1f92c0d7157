// The vocabulary of 16-byte vectors: the only place that names an intrinsic. A function is one
// instruction unless its comment says otherwise; a template argument `L` is the lane size in bytes.
// Patterns speak these words alone, so that a wider form could be built from them another day.
#pragma once

#include <nmmintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "kernels/frame/platform.h"

namespace colx {

using Vec = __m128i;

// Sixteen bytes of a constant table.
struct alignas(16) Mask {
  uint8_t bytes[16];
};

constexpr bool begins(const Mask& mask, std::array<uint8_t, 16> bytes) {
  for (unsigned k = 0; k < 16; ++k)
    if (mask.bytes[k] != bytes[k]) return false;
  return true;
}

COLX_INLINE Vec load(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i_u*>(from));
}
COLX_INLINE Vec load(const Mask& mask) {
  return _mm_load_si128(reinterpret_cast<const __m128i*>(mask.bytes));
}
COLX_INLINE Vec load_aligned(const void* from) {
  return _mm_load_si128(static_cast<const Vec*>(from));
}
COLX_INLINE void store(void* to, Vec v) {
  _mm_storeu_si128(static_cast<__m128i_u*>(to), v);
}
COLX_INLINE void store_aligned(void* to, Vec v) {
  _mm_store_si128(static_cast<Vec*>(to), v);
}
COLX_INLINE Vec load_low_half(const void* from) {
  return _mm_loadl_epi64(static_cast<const __m128i_u*>(from));
}
COLX_INLINE void store_low_half(void* to, Vec v) {
  _mm_storel_epi64(static_cast<__m128i_u*>(to), v);
}

// `v` with the high half replaced.
COLX_INLINE Vec with_high_half_at(Vec v, const void* from) {
  return _mm_castps_si128(_mm_loadh_pi(_mm_castsi128_ps(v), static_cast<const __m64*>(from)));
}

COLX_INLINE Vec zeros() {
  return _mm_setzero_si128();
}
COLX_INLINE Vec all_ones() {
  return _mm_set1_epi32(-1);
}

// The low L bytes of `value` in every lane. A short sequence; for use outside of loops.
template <unsigned L>
COLX_INLINE Vec splat(uint64_t value) {
  if constexpr (L == 1) return _mm_set1_epi8(static_cast<char>(value));
  if constexpr (L == 2) return _mm_set1_epi16(static_cast<short>(value));
  if constexpr (L == 4) return _mm_set1_epi32(static_cast<int>(value));
  if constexpr (L == 8) return _mm_set1_epi64x(static_cast<long long>(value));
}

// `value` in the lowest lane of 4 bytes and zeros above.
COLX_INLINE Vec in_low_lane(uint32_t value) {
  return _mm_cvtsi32_si128(static_cast<int>(value));
}

// Two instructions; for use outside of loops.
COLX_INLINE Vec from_halves(uint64_t low, uint64_t high) {
  return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
}

COLX_INLINE Vec both(Vec a, Vec b) {
  return _mm_and_si128(a, b);
}
COLX_INLINE Vec either(Vec a, Vec b) {
  return _mm_or_si128(a, b);
}
COLX_INLINE Vec differ(Vec a, Vec b) {
  return _mm_xor_si128(a, b);
}
// Bytes of `a` where the mask's byte has its top bit, else of `b`.
COLX_INLINE Vec chosen(Vec mask, Vec a, Vec b) {
  return _mm_blendv_epi8(b, a, mask);
}
// Lanes of `a` where the mask's lane has its top bit, else of `b`; L of 4 or 8.
template <unsigned L>
COLX_INLINE Vec chosen_lanes(Vec mask, Vec a, Vec b) {
  if constexpr (L == 4)
    return _mm_castps_si128(
        _mm_blendv_ps(_mm_castsi128_ps(b), _mm_castsi128_ps(a), _mm_castsi128_ps(mask)));
  else
    return _mm_castpd_si128(
        _mm_blendv_pd(_mm_castsi128_pd(b), _mm_castsi128_pd(a), _mm_castsi128_pd(mask)));
}
// Bits of `a` that are clear in `b`.
COLX_INLINE Vec without(Vec a, Vec b) {
  return _mm_andnot_si128(b, a);
}
// Two instructions where a register of ones has to be made.
COLX_INLINE Vec complement(Vec a) {
  return _mm_xor_si128(a, all_ones());
}

template <unsigned L>
COLX_INLINE Vec equal(Vec a, Vec b) {
  if constexpr (L == 1) return _mm_cmpeq_epi8(a, b);
  if constexpr (L == 2) return _mm_cmpeq_epi16(a, b);
  if constexpr (L == 4) return _mm_cmpeq_epi32(a, b);
  if constexpr (L == 8) return _mm_cmpeq_epi64(a, b);
}

// Lanes in which `a` is above `b`, both signed.
template <unsigned L>
COLX_INLINE Vec above_signed(Vec a, Vec b) {
  if constexpr (L == 1) return _mm_cmpgt_epi8(a, b);
  if constexpr (L == 2) return _mm_cmpgt_epi16(a, b);
  if constexpr (L == 4) return _mm_cmpgt_epi32(a, b);
  if constexpr (L == 8) return _mm_cmpgt_epi64(a, b);
}

template <unsigned L>
COLX_INLINE Vec sum(Vec a, Vec b) {
  if constexpr (L == 1) return _mm_add_epi8(a, b);
  if constexpr (L == 2) return _mm_add_epi16(a, b);
  if constexpr (L == 4) return _mm_add_epi32(a, b);
  if constexpr (L == 8) return _mm_add_epi64(a, b);
}

template <unsigned L>
COLX_INLINE Vec difference(Vec a, Vec b) {
  if constexpr (L == 1) return _mm_sub_epi8(a, b);
  if constexpr (L == 2) return _mm_sub_epi16(a, b);
  if constexpr (L == 4) return _mm_sub_epi32(a, b);
  if constexpr (L == 8) return _mm_sub_epi64(a, b);
}

// a - b, or 0 where that is negative; unsigned lanes, L of 1 or 2.
template <unsigned L>
COLX_INLINE Vec saturated_difference(Vec a, Vec b) {
  if constexpr (L == 1) return _mm_subs_epu8(a, b);
  if constexpr (L == 2) return _mm_subs_epu16(a, b);
}

// a - b as near as a signed lane allows, L of 1 or 2.
template <unsigned L>
COLX_INLINE Vec signed_saturated_difference(Vec a, Vec b) {
  if constexpr (L == 1) return _mm_subs_epi8(a, b);
  if constexpr (L == 2) return _mm_subs_epi16(a, b);
}

// The lower and the higher of two unsigned lanes, L of 1, 2 or 4.
template <unsigned L>
COLX_INLINE Vec lower_of(Vec a, Vec b) {
  if constexpr (L == 1) return _mm_min_epu8(a, b);
  if constexpr (L == 2) return _mm_min_epu16(a, b);
  if constexpr (L == 4) return _mm_min_epu32(a, b);
}
template <unsigned L>
COLX_INLINE Vec higher_of(Vec a, Vec b) {
  if constexpr (L == 1) return _mm_max_epu8(a, b);
  if constexpr (L == 2) return _mm_max_epu16(a, b);
  if constexpr (L == 4) return _mm_max_epu32(a, b);
}

// Low L bytes of the lanes' products, L of 2 or 4.
template <unsigned L>
COLX_INLINE Vec product(Vec a, Vec b) {
  if constexpr (L == 2) return _mm_mullo_epi16(a, b);
  if constexpr (L == 4) return _mm_mullo_epi32(a, b);
}

// The whole products of the low halves of lanes of 8 bytes.
COLX_INLINE Vec whole_product(Vec a, Vec b) {
  return _mm_mul_epu32(a, b);
}

// High halves of the products of lanes of two bytes.
COLX_INLINE Vec product_high(Vec a, Vec b) {
  return _mm_mulhi_epu16(a, b);
}

// Logical shifts of every lane by a constant, L of 2, 4 or 8.
template <unsigned L, int Bits>
COLX_INLINE Vec shifted_right(Vec a) {
  if constexpr (L == 2) return _mm_srli_epi16(a, Bits);
  if constexpr (L == 4) return _mm_srli_epi32(a, Bits);
  if constexpr (L == 8) return _mm_srli_epi64(a, Bits);
}
template <unsigned L, int Bits>
COLX_INLINE Vec shifted_left(Vec a) {
  if constexpr (L == 2) return _mm_slli_epi16(a, Bits);
  if constexpr (L == 4) return _mm_slli_epi32(a, Bits);
  if constexpr (L == 8) return _mm_slli_epi64(a, Bits);
}

// Logical shifts of lanes of 4 bytes by a number of bits that is not a constant; zeros from 32 on.
// Two instructions.
COLX_INLINE Vec shifted_left_by(Vec a, uint32_t bits) {
  return _mm_sll_epi32(a, _mm_cvtsi32_si128(static_cast<int>(bits)));
}
COLX_INLINE Vec shifted_right_by(Vec a, uint32_t bits) {
  return _mm_srl_epi32(a, _mm_cvtsi32_si128(static_cast<int>(bits)));
}

// `a` with one lane of L bytes replaced by the low bytes of `value`.
template <unsigned L, int lane>
COLX_INLINE Vec with_lane(Vec a, uint64_t value) {
  if constexpr (L == 1) return _mm_insert_epi8(a, static_cast<int>(value), lane);
  if constexpr (L == 2) return _mm_insert_epi16(a, static_cast<int>(value), lane);
  if constexpr (L == 4) return _mm_insert_epi32(a, static_cast<int>(value), lane);
  if constexpr (L == 8) return _mm_insert_epi64(a, static_cast<long long>(value), lane);
}

// Byte k of the result is byte control[k] & 15 of `v`, or 0 where control[k] has its top bit.
COLX_INLINE Vec shuffle(Vec v, Vec control) {
  return _mm_shuffle_epi8(v, control);
}

// Lanes of two vectors to lanes half as wide, `a` in the low half; L is the wide lane, 2 or 4.
// Signed saturation: exact for masks and for numbers that fit, and what is not 0 stays so.
template <unsigned L>
COLX_INLINE Vec narrowed(Vec a, Vec b) {
  if constexpr (L == 2) return _mm_packs_epi16(a, b);
  if constexpr (L == 4) return _mm_packs_epi32(a, b);
}

// The high halves of lanes of 8 bytes of two vectors, `a` in the low half.
COLX_INLINE Vec high_halves(Vec a, Vec b) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0xDD));
}

// Their low halves.
COLX_INLINE Vec low_halves(Vec a, Vec b) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0x88));
}

// The high half of `a` and, above it, the low half of `b`.
COLX_INLINE Vec inner_halves(Vec a, Vec b) {
  return _mm_castpd_si128(_mm_shuffle_pd(_mm_castsi128_pd(a), _mm_castsi128_pd(b), 1));
}

// Lanes of two vectors alternating, from the low halves or from the high halves, `a` first.
template <unsigned L>
COLX_INLINE Vec alternated_low(Vec a, Vec b) {
  if constexpr (L == 1) return _mm_unpacklo_epi8(a, b);
  if constexpr (L == 2) return _mm_unpacklo_epi16(a, b);
  if constexpr (L == 4) return _mm_unpacklo_epi32(a, b);
  if constexpr (L == 8) return _mm_unpacklo_epi64(a, b);
}
template <unsigned L>
COLX_INLINE Vec alternated_high(Vec a, Vec b) {
  if constexpr (L == 1) return _mm_unpackhi_epi8(a, b);
  if constexpr (L == 2) return _mm_unpackhi_epi16(a, b);
  if constexpr (L == 4) return _mm_unpackhi_epi32(a, b);
  if constexpr (L == 8) return _mm_unpackhi_epi64(a, b);
}

// The whole vector moved up by a number of bytes, zeros following from below.
template <int Bytes>
COLX_INLINE Vec moved_up(Vec a) {
  return _mm_slli_si128(a, Bytes);
}
// The same downward.
template <int Bytes>
COLX_INLINE Vec moved_down(Vec a) {
  return _mm_srli_si128(a, Bytes);
}

// The low four bytes as lanes of 4 bytes.
COLX_INLINE Vec widened(Vec a) {
  return _mm_cvtepu8_epi32(a);
}

// The sum of the low eight bytes and that of the high eight, in two lanes of 8 bytes.
COLX_INLINE Vec byte_sums(Vec a) {
  return _mm_sad_epu8(a, zeros());
}

// Lanes of L bytes with zeros between them: the low half or the high half of `a` in lanes twice as
// wide. Two instructions where a register of zeros has to be made.
template <unsigned L>
COLX_INLINE Vec widened_low(Vec a) {
  return alternated_low<L>(a, zeros());
}
template <unsigned L>
COLX_INLINE Vec widened_high(Vec a) {
  return alternated_high<L>(a, zeros());
}

// Lanes of floating-point numbers, Number being float or double; each lane is rounded by itself.
template <class Number>
COLX_INLINE Vec number_sum(Vec a, Vec b) {
  if constexpr (sizeof(Number) == 4)
    return _mm_castps_si128(_mm_add_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b)));
  else
    return _mm_castpd_si128(_mm_add_pd(_mm_castsi128_pd(a), _mm_castsi128_pd(b)));
}
template <class Number>
COLX_INLINE Vec number_difference(Vec a, Vec b) {
  if constexpr (sizeof(Number) == 4)
    return _mm_castps_si128(_mm_sub_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b)));
  else
    return _mm_castpd_si128(_mm_sub_pd(_mm_castsi128_pd(a), _mm_castsi128_pd(b)));
}
template <class Number>
COLX_INLINE Vec number_product(Vec a, Vec b) {
  if constexpr (sizeof(Number) == 4)
    return _mm_castps_si128(_mm_mul_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b)));
  else
    return _mm_castpd_si128(_mm_mul_pd(_mm_castsi128_pd(a), _mm_castsi128_pd(b)));
}

// Lanes of 8 bytes in which `a` is below `b`, as doubles; none with a NaN.
COLX_INLINE Vec double_below(Vec a, Vec b) {
  return _mm_castpd_si128(_mm_cmplt_pd(_mm_castsi128_pd(a), _mm_castsi128_pd(b)));
}

COLX_INLINE bool is_zero(Vec v) {
  return _mm_testz_si128(v, v) != 0;
}

// Bit k is the top bit of byte k.
COLX_INLINE uint32_t top_bits(Vec v) {
  return static_cast<uint32_t>(_mm_movemask_epi8(v));
}

// Bit k is the top bit of lane k of 8 bytes.
COLX_INLINE uint32_t half_top_bits(Vec v) {
  return static_cast<uint32_t>(_mm_movemask_pd(_mm_castsi128_pd(v)));
}

// Bit k is the top bit of lane k of 4 bytes.
COLX_INLINE uint32_t lane_top_bits(Vec v) {
  return static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(v)));
}

COLX_INLINE uint64_t low_half(Vec v) {
  return static_cast<uint64_t>(_mm_cvtsi128_si64(v));
}
COLX_INLINE uint64_t high_half(Vec v) {
  return static_cast<uint64_t>(_mm_extract_epi64(v, 1));
}

// How far ahead a scan asks for its stream. The processor's own prefetcher stops at each page; a
// page ahead, the next one is under way in time.
inline constexpr size_t stream_prefetch_bytes = 4096;

// Into all cache levels, or past them for data that is used once. Never faults.
COLX_INLINE void prefetch(const void* address) {
  _mm_prefetch(static_cast<const char*>(address), _MM_HINT_T0);
}
COLX_INLINE void prefetch_once(const void* address) {
  _mm_prefetch(static_cast<const char*>(address), _MM_HINT_NTA);
}

// Reverses the bytes of each lane of L bytes, by shuffle.
template <unsigned L>
inline constexpr Mask byte_swap_mask = [] {
  Mask mask{};
  for (unsigned k = 0; k < 16; ++k) mask.bytes[k] = static_cast<uint8_t>(k / L * L + L - 1 - k % L);
  return mask;
}();
static_assert(byte_swap_mask<4>.bytes[0] == 3 && byte_swap_mask<4>.bytes[15] == 12);

template <unsigned L>
COLX_INLINE Vec lanes_byte_reversed(Vec v) {
  if constexpr (L == 1) return v;
  return shuffle(v, load(byte_swap_mask<L>));
}

}  // namespace colx
