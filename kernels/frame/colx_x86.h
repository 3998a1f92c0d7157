/* colx_x86.h: the public interface of libcolx_x86.so, valid as C11 and as C++17.
 *
 * In this order: flags and statuses, the call records field by field, the dispatch index, the call
 * shapes of a slot, the exported record, the exported functions by family.
 *
 * Every record and buffer belongs to the host. The library keeps no pointer after a call, holds no
 * state and takes no lock: calls on different colx_kctx records may run at once, but the host
 * serialises the first touch of a compressed column (its decompression slot is filled
 * unsynchronised) and gives concurrent calls on run-length columns a colx_cv of their own.
 *
 * Numbers in column data, dictionaries and compressed streams are big-endian; constants, kernel
 * outputs and the join's hash values are in the machine's byte order. Kernels may read up to 16
 * bytes behind a stream of column data, whatever stands there; docs/formats.md says which do, form
 * by form, and docs/undefined-inputs.md what they take on trust.
 */
#ifndef COLX_X86_H
#define COLX_X86_H

#include <stddef.h>
#include <stdint.h>

/* Marks what the library exports. */
#define COLX_API __attribute__((visibility("default")))

#ifdef __cplusplus
/* Checked while compiling, in either language. */
#define COLX_STATIC_ASSERT(condition) static_assert(condition, #condition)
extern "C" {
#else
#define COLX_STATIC_ASSERT(condition) _Static_assert(condition, #condition)
#endif

/* ---------------------------------------------------------------- statuses and flags */

/* What a kernel returns. Statuses 5 to 9 mean "stopped early with the place saved in colx_kctx":
 * make room and call again with the same records. */
enum {
  COLX_DONE = 0,              /* a scan: at least one bit is set */
  COLX_NOTHING_FOUND = 1,     /* a scan: the final count is 0 */
  COLX_NOT_SERVED = 2,        /* this combination has no kernel; nothing was done */
  COLX_KEY_SPACE_TOO_BIG = 3, /* group keys: product of cardinalities above 32 bits */
  COLX_PARTITION_FULL = 5,    /* partition: no room left; in colx_kctx_resume_extra which one */
  COLX_OVERFLOW_FULL = 6,     /* hash build: no overflow bucket left */
  COLX_PROBE_FULL = 7,        /* probe: no room for another record */
  COLX_DATA_ROOM_FULL = 8,    /* transpose conversion */
  COLX_OUT_OF_ROOM = 9,       /* gather, group keys: no room for another row */
  COLX_BAD_INPUT = 10         /* a layout, type, stride or wpak header that does not exist */
};

/* Bits of colx_enc_ctx_flags. The layout bits exclude one another; the others combine with them. */
enum {
  COLX_NATIVE = 0x1,         /* numbers in native rather than canonical byte form */
  COLX_CONST = 0x4,          /* one constant value instead of one value a row */
  COLX_HASH_VALUES = 0x80,   /* ready-made hash values */
  COLX_DICT = 0x100,         /* dictionary codes */
  COLX_RLE = 0x200,          /* run-length encoded: scans run over the runs */
  COLX_FIXED = 0x800,        /* fixed-width values */
  COLX_LV_SEP = 0x1000,      /* length and value, lengths in a stream of their own */
  COLX_LV = 0x2000,          /* length and value, one stream */
  COLX_LP_SEP = 0x4000,      /* length and pointer, lengths in a stream of their own */
  COLX_LP = 0x8000,          /* length and pointer, one stream */
  COLX_COMPRESSED = 0x10000, /* colx_cv_data is a compressed image */
  COLX_HASHRID = 0x20000,    /* 16-byte records of row id and hash */
  COLX_RIDVALUE = 0x40000,   /* 16-byte records of row id and value */
  COLX_AUTORID = 0x80000,    /* row ids are colx_cv_base_rid plus the row */
  COLX_DLP = 0x100000,       /* words of length and place */
  COLX_GD = 0x400000,        /* exact 32-bit codes */
  COLX_HASHGD = 0x800000     /* 24-byte records of hash, code and row id */
};

/* Bits of colx_kctx_flags. */
enum {
  COLX_KCTX_SELECTIVE = 0x2,      /* walk the selection's set bits instead of scanning */
  COLX_KCTX_WIDE_CODES = 0x4,     /* unpack every code to 4 bytes; codes to decode are 4 bytes */
  COLX_KCTX_MULTIPLY_KEYS = 0x10, /* group keys multiply instead of shift */
  COLX_KCTX_GATHER_RID = 0x20,    /* gather by the row id of a ridvalue record, not its value */
  COLX_KCTX_SUM = 0x80,           /* conversion adds up instead of storing */
  COLX_KCTX_COPY_VALUES = 0x100   /* symbol decode copies values instead of pointing at them */
};

/* Bits of colx_kctx_flags_out, each set by OR. */
enum {
  COLX_OUT_SCAN_SELECTED = 0x200,   /* a scan applied the selection */
  COLX_OUT_DECODE = 0x400,          /* a decode ran */
  COLX_OUT_SET = 0x1000,            /* a set kernel applied the selection */
  COLX_OUT_BLOOM_SELECTED = 0x2000, /* a filter test applied the selection */
  COLX_OUT_UNPACK = 0x4000,         /* an unpacking ran */
  COLX_OUT_XLATE_SELECTED = 0x10000 /* a translation applied the selection */
};

/* Values of colx_enc_ctx_type. */
enum {
  COLX_TYPE_FLOAT = 1,  /* IEEE, 4 bytes */
  COLX_TYPE_DOUBLE = 2, /* IEEE, 8 bytes */
  COLX_TYPE_DSB = 8     /* two's complement, big-endian, 1, 2, 4 or 8 bytes */
};

/* Values of colx_enc_ctx_layout. */
enum {
  COLX_DICT_ONE_LENGTH = 0, /* values of colx_enc_ctx_one_len bytes */
  COLX_DICT_CUMULATIVE = 1  /* values between the offsets of colx_enc_ctx_cla */
};

/* ---------------------------------------------------------------- call records */

typedef struct colx_cv colx_cv;
typedef struct colx_enc_ctx colx_enc_ctx;
typedef struct colx_kctx colx_kctx;
typedef struct colx_env colx_env;
typedef struct colx_decode_env colx_decode_env;

/* The host's expansion of a run-length scan, called when the scan has its bits per run. `env` is
 * that of the scan's kctx; `run_hits` is zero but for colx_kctx_selection (a bit per run) and
 * colx_kctx_aux_set (how many are set). Expected to run the column's burst kernel with `res`, `src`
 * and `run_hits`; its result becomes the scan's status. */
typedef uint32_t (*colx_rle_expand_fn)(colx_env* env, colx_cv* res, colx_cv* src,
                                       colx_kctx* run_hits);

/* Column vector: input and result alike. */
struct colx_cv {
  void* colx_cv_data;          /* codes, values or pointers; the compressed image when compressed */
  void* colx_cv_aux;           /* second stream: lengths */
  uint16_t* colx_cv_row_flags; /* decode results: 2 for a NULL row */
  colx_enc_ctx* colx_cv_encoding_context; /* never null on a source */
  uint64_t* colx_cv_nulls;                /* source: rows that may be reported at all, or null */
  uint64_t* colx_cv_bits;   /* result: a bit a row; other inputs: filter bits, translation table */
  uint32_t colx_cv_num_set; /* written: set bits or rows produced */
  uint32_t colx_cv_num_of_rows; /* on a scan's result: rows to scan */
  uint32_t colx_cv_image_len;   /* bytes of the decompressed image; only when compressed */
  void** colx_cv_decomp_slot;   /* caches the decompressed copy; the host owns and releases it */
  uint64_t colx_cv_decomp_size; /* handed to colx_env_alloc_cached, not read otherwise */
  uint64_t colx_cv_base_rid;    /* first row id of an automatic payload */
  uint64_t colx_cv_capacity;    /* gather result: room of colx_cv_data in bytes */
};

/* Encoding context: how a vector is stored. Read-only to the kernels. */
struct colx_enc_ctx {
  uint8_t colx_enc_ctx_key;          /* bits 5 to 12 of the column's dispatch index */
  const void* colx_enc_ctx_symbols;  /* dictionary: the values' bytes */
  const void* colx_enc_ctx_one_len;  /* dictionary of one length: that length, 2 bytes big-endian */
  const void* colx_enc_ctx_cla;      /* dictionary: cumulative offsets, 4 bytes big-endian each */
  uint32_t colx_enc_ctx_num_symbols; /* dictionary: number of values */
  uint32_t colx_enc_ctx_layout;      /* COLX_DICT_ONE_LENGTH or COLX_DICT_CUMULATIVE */
  const void* colx_enc_ctx_rle_runs; /* a length per run, 1 byte or 2 bytes big-endian */
  uint8_t colx_enc_ctx_rle_width;    /* bits of a run length: 8 or 16 */
  uint32_t colx_enc_ctx_rle_rows;    /* number of runs */
  const void* colx_enc_ctx_rle_cla;  /* cumulative run positions, 4 bytes big-endian, runs + 1 */
  colx_rle_expand_fn colx_enc_ctx_rle_expand; /* never null on a run-length column */
  uint64_t* colx_enc_ctx_rle_bits;            /* output of a scan: a bit per run */
  uint16_t colx_enc_ctx_prefix_stride;        /* prefix coder: values per group, 16 */
  int16_t colx_enc_ctx_prefix_value_len;      /* prefix coder: bytes per value, 1 to 8 */
  uint32_t colx_enc_ctx_prefix_values;        /* prefix coder: values in all */
  uint8_t colx_enc_ctx_bloom_partitioned;   /* filter: 0 one bit array, else an array of pointers */
  uint32_t colx_enc_ctx_bloom_hash_mask;    /* filter: mask on the hash value */
  union {                                   /* one field, two uses */
    uint32_t colx_enc_ctx_bloom_part_shift; /* filter: from the masked hash to the partition */
    uint32_t colx_enc_ctx_xlate_shift;      /* two-level table: from the key to the page */
  };
  union {                                 /* one field, two uses */
    uint32_t colx_enc_ctx_bloom_bit_mask; /* filter: from the hash to the bit */
    uint32_t colx_enc_ctx_xlate_mask; /* two-level table: from the key to the element of its page */
  };
  uint8_t colx_enc_ctx_dlp_bits;  /* offset bits of a dlp place */
  void** colx_enc_ctx_dlp_pages;  /* page base addresses of a dlp place */
  uint32_t colx_enc_ctx_key_base; /* base key of an off translation table */
  uint32_t colx_enc_ctx_flags;    /* COLX_... layout and form bits */
  uint32_t colx_enc_ctx_width;    /* bits of one code or value */
  uint32_t colx_enc_ctx_type;     /* COLX_TYPE_... of a numeric column */
};

/* Per-call context. The host builds one for each call. */
struct colx_kctx {
  colx_env* colx_kctx_env;         /* the host's services */
  uint64_t* colx_kctx_selection;   /* rows to consider, or null; burst: the hits per run */
  uint32_t colx_kctx_flags;        /* COLX_KCTX_... */
  uint64_t colx_kctx_aux_set;      /* burst: set bits of colx_kctx_selection */
  uint32_t colx_kctx_resume_extra; /* hash build and partition: the partition that stopped */
  uint32_t colx_kctx_position;     /* resume row; unpacking leaves the last row it looked at */
  uint32_t colx_kctx_state1;       /* unpacking of runs: index of the current run */
  uint32_t colx_kctx_state2;       /* unpacking of runs: first row behind the current run */
  uint64_t colx_kctx_key_offset;   /* resume byte in an lv or lv_sep key stream */
  uint64_t colx_kctx_value_offset; /* resume byte in an lv or lv_sep payload stream */
  const uint32_t* colx_kctx_rows;  /* row numbers to decode */
  uint32_t colx_kctx_num_rows;     /* length of colx_kctx_rows */
  uint32_t colx_kctx_start_row;    /* translation, Bloom test: first row */
  uint32_t colx_kctx_flags_out;    /* COLX_OUT_..., set by OR */
  void* colx_kctx_prefix_ptrs;     /* prefix decoder: colx_prefix_ptr records, or null */
  const colx_enc_ctx* colx_kctx_off_ctx; /* holds colx_enc_ctx_key_base of an off table */
  void* colx_kctx_xlate_out;             /* _c2d output; group-key translation: the table */
  uint32_t colx_kctx_multiplier;         /* group-key translation */
};

/* The host's services. A null result of an allocator is not checked. */
struct colx_env {
  void* colx_env_host; /* first argument of every service */
  void* colx_env_heap; /* second argument of the cached allocator */
  /* A buffer that outlives the call; unit and align are 8 and 16, size is colx_cv_decomp_size. */
  void* (*colx_env_alloc_cached)(void* host, void* heap, uint32_t bytes, const char* label,
                                 uint32_t unit, uint32_t align, uint64_t size);
  /* Scratch for one call; *cookie receives the value to hand back on release, zero is 0. */
  void* (*colx_env_alloc)(void* host, uint64_t bytes, const char* label, uint32_t unit,
                          uint32_t zero, uint64_t* cookie);
  /* Releases scratch. */
  void (*colx_env_free)(void* host, void* buffer, uint64_t cookie);
  /* Expands `image` into `out`, at most `capacity` bytes, and stores the length. 0 on success. */
  uint32_t (*colx_env_decode)(colx_decode_env* env, const void* image, void* out, uint32_t* out_len,
                              uint32_t capacity);
};

/* What a decoder gets of the host's services. */
struct colx_decode_env {
  void* colx_denv_host; /* colx_env_host of the caller's colx_env */
  void* colx_denv_heap; /* colx_env_heap likewise */
  /* colx_env_alloc likewise. */
  void* (*colx_denv_alloc)(void* host, uint64_t bytes, const char* label, uint32_t unit,
                           uint32_t zero, uint64_t* cookie);
  /* colx_env_free likewise. */
  void (*colx_denv_free)(void* host, void* buffer, uint64_t cookie);
};

/* Iteration over a bit vector; storage is the caller's. Vectors below 2^31 bits. */
typedef struct colx_lbiwv_ictx {
  const uint64_t* colx_ictx_next; /* the word after the current one */
  int32_t colx_ictx_limit;        /* number of bits */
  int32_t colx_ictx_base;         /* bit number of bit 0 of the current word */
  uint64_t colx_ictx_offset;      /* where the current word was entered; read by nobody here */
  uint64_t colx_ictx_word;        /* bits of the current word not yet delivered */
} colx_lbiwv_ictx;

/* One record of colx_kctx_prefix_ptrs. */
typedef struct colx_prefix_ptr {
  const void* colx_prefix_ptr_value; /* the value in the decoder's output */
  uint16_t colx_prefix_ptr_length;   /* its bytes */
  uint8_t colx_prefix_ptr_zero[6];   /* written as 0 */
} colx_prefix_ptr;

/* Call statistics of the host, an entry per dispatch slot. */
typedef struct colx_stats_ctx {
  uint64_t colx_stats_opaque[7];    /* the host's own */
  const uint32_t* colx_stats_calls; /* calls of each slot */
  const double* colx_stats_mrows;   /* million rows a second */
} colx_stats_ctx;

/* Hash of `length` key bytes (never above 65535) under a seed. Must be pure and thread-safe. */
typedef uint64_t (*colx_hash_fn)(const void* key, uint64_t length, uint64_t seed);

/* Codes of colx_ht_type; COLX_HT_GD is added to K4V8 or K4V4 for exact codes as keys. */
enum {
  COLX_HT_K2V8 = 1,   /* 5 slots of 16-bit tags and 8-byte values */
  COLX_HT_K2V4 = 2,   /* 9 slots of 16-bit tags and 4-byte values */
  COLX_HT_K4V8 = 4,   /* 4 slots of 32-bit tags or codes and 8-byte values */
  COLX_HT_K4V4 = 8,   /* 6 slots of 32-bit tags or codes and 4-byte values */
  COLX_HT_GD = 0x1000 /* keys are exact codes */
};

/* A hash table of 64-byte buckets; the host owns and clears the bucket arrays. */
typedef struct colx_ht {
  uint32_t colx_ht_type;         /* COLX_HT_... */
  uint8_t colx_ht_bucket_hi;     /* highest hash bit of the bucket number; 63 or more: all up */
  uint8_t colx_ht_part_hi;       /* highest hash bit of the partition number; likewise */
  uint8_t colx_ht_part_shift;    /* right shift of the partition field */
  void** colx_ht_buckets;        /* a bucket array per partition */
  void** colx_ht_over_cur;       /* per partition: where the next overflow bucket goes */
  void** colx_ht_over_end;       /* per partition: first address past the overflow region */
  uint8_t colx_ht_part_low_bits; /* low hash bits that join the partition number */
} colx_ht;

/* Bits of colx_part_type. */
enum {
  COLX_PART_RID = 0x1,     /* records of row id and hash, 16 bytes */
  COLX_PART_LV = 0x2,      /* records of length, hash and payload */
  COLX_PART_FIXED = 0x4,   /* records of hash and payload of one width */
  COLX_PART_SERVED = 0x8,  /* always set with one of the three */
  COLX_PART_REFUSE = 0x10, /* lv and fixed records: nothing is done */
  COLX_PART_GD = 0x20      /* with COLX_PART_RID: records of hash, code and row id, 24 bytes */
};

/* The output of a partitioning: a cursor and an end per partition. */
typedef struct colx_part_set {
  uint32_t colx_part_type;      /* COLX_PART_... */
  uint8_t colx_part_hi;         /* highest hash bit of the partition field; 63: all bits up */
  uint8_t colx_part_shift;      /* right shift of the partition field */
  uint16_t colx_part_fixed_len; /* fixed records: payload bytes a record carries */
  void** colx_part_cursors;     /* per partition: where the next record goes */
  void** colx_part_ends;        /* per partition: first address past its room; never null */
} colx_part_set;

/* Bits of colx_store_type, tested in the order lp, dlp, cla. */
enum {
  COLX_STORE_ROW_FORM = 0x2, /* an entry is a row of several values */
  COLX_STORE_CLA = 0x8,      /* pages of offsets */
  COLX_STORE_DLP = 0x10,     /* pages of words of place and length */
  COLX_STORE_LP = 0x20       /* pages of records of length and pointer */
};

/* A row store of pages: source of gather, target and source of transpose. */
typedef struct colx_row_store {
  uint32_t colx_store_type;       /* COLX_STORE_... */
  uint16_t colx_store_ncols;      /* entries of a row in a matrix */
  uint16_t colx_store_value_bits; /* width of a value for results of fixed layout */
  uint8_t colx_store_page_hi;     /* highest index bit of the page number; 63: all up */
  uint8_t colx_store_page_shift;  /* low index bits that make the entry; 64: one page */
  void** colx_store_lp_pages;     /* arrays of 16-byte lp records */
  void** colx_store_lp_write;     /* per block or partition: where the next lp record goes */
  void** colx_store_dlp_pages;    /* arrays of 64-bit words */
  void** colx_store_cla_pages;    /* arrays of 32-bit offsets, machine byte order */
  void** colx_store_cla_write;    /* per partition: where the next offset goes */
  void** colx_store_data_bases;   /* cla: base address of the value bytes, per page */
  void** colx_store_data_cursors; /* per partition: where the next value goes */
  void** colx_store_data_ends;    /* per partition: first address past the values' room */
} colx_row_store;

/* ---------------------------------------------------------------- the dispatch index */

enum { COLX_DISPATCH_SLOTS = 8192 };

/* Operations: bits 0 to 4 of an index. The comparisons are of a row with the constant, unsigned;
 * those of two bounds name them in order: GT_LE is low < row <= high. */
enum {
  COLX_OPC_EQ,
  COLX_OPC_LT,
  COLX_OPC_GT,
  COLX_OPC_LE,
  COLX_OPC_GE,
  COLX_OPC_NE,
  COLX_OPC_GT_LT,
  COLX_OPC_GT_LE,
  COLX_OPC_GE_LT,
  COLX_OPC_GE_LE,
  COLX_OPC_DECODE,
  COLX_OPC_DECODE_UNPACK,
  COLX_OPC_DECODE_SYMBOL,
  COLX_OPC_SET,
  COLX_OPC_BURST,
  COLX_OPC_SUM,      /* does nothing and returns 0 */
  COLX_OPC_DISTINCT, /* does nothing and returns 0 */
  COLX_OPC_XLATE,
  COLX_OPC_BLOOM, /* its slots are empty: see colx_bloom_dydi */
  COLX_OPC_ADD,
  COLX_OPC_SUB,
  COLX_OPC_MUL,
  COLX_OPC_COUNT
};

/* Encodings: bits 5 and 6. Under COLX_OPC_XLATE they name the table form. */
enum { COLX_ENC_FIXED, COLX_ENC_DICT, COLX_ENC_DYNP, COLX_ENC_RLE };
enum { COLX_XLATE_SIM, COLX_XLATE_OFF, COLX_XLATE_IND, COLX_XLATE_GROUPKEY };

/* Width codes (bits 7 to 11) that are not made from a width. */
enum {
  COLX_WIDTH_BURST_8BIT = 6,
  COLX_WIDTH_BURST_8BIT_CLA = 7,
  COLX_WIDTH_BURST_16BIT = 14,
  COLX_WIDTH_BURST_16BIT_CLA = 15
};
enum { COLX_WIDTH_BIT, COLX_WIDTH_NIB, COLX_WIDTH_UB1, COLX_WIDTH_UB2, COLX_WIDTH_UB4 };
enum { COLX_WIDTH_DOUBLE = 1, COLX_WIDTH_LEFT_CANONICAL = 4, COLX_WIDTH_RIGHT_CANONICAL = 8 };

/* Bit 12: the variant form (_null, _tz, _c2d or _sum by operation and encoding). */
enum { COLX_FORM_PLAIN, COLX_FORM_VARIANT };

/* Width code of codes and values of `bits` bits: 1 to 20, 24, 32 and 64 have one, other widths
 * give 31, which no slot uses. */
static inline uint32_t colx_width_code(uint32_t bits) {
  return bits >= 1 && bits <= 20 ? bits - 1
         : bits == 24            ? 20
         : bits == 32            ? 21
         : bits == 64            ? 22
                                 : 31;
}

static inline uint32_t colx_slot_index(uint32_t opc, uint32_t enc, uint32_t width_code,
                                       uint32_t form) {
  return opc | enc << 5 | width_code << 7 | form << 12;
}

/* Value of colx_enc_ctx_key for a column; fits 8 bits. */
static inline uint8_t colx_column_key(uint32_t enc, uint32_t width_code, uint32_t form) {
  return (uint8_t)(colx_slot_index(0, enc, width_code, form) >> 5);
}

/* Index of operation `opc` on a column with that key. */
static inline uint32_t colx_column_index(uint32_t opc, uint8_t key) {
  return opc | (uint32_t)key << 5;
}

/* A slot. Kernels differ in their arguments and all return an unsigned 32-bit status: cast the slot
 * to the call shape of its operation, below, before the call. */
typedef void (*colx_kernel_fn)(void);

/* eq, lt, gt, le, ge, ne. args[0] points at the constant: for dictionary codes a number in machine
 * byte order (4 bytes at packed and one-bit widths, else the code's own width), for fixed and dynp
 * rows the kernel's whole word in stored form. args[1] points at a tie code (_tz), args[3] at the
 * colx_enc_ctx that holds the row width (fixed rows). `kctx` may be null. */
typedef uint32_t (*colx_scan_fn)(colx_cv* res, colx_cv* src, const void* const* args,
                                 colx_kctx* kctx);

/* gt_lt, gt_le, ge_lt, ge_le: a lower and an upper bound, each as above. */
typedef uint32_t (*colx_range_scan_fn)(colx_cv* res, colx_cv* src, const void* const* lo_args,
                                       const void* const* hi_args, colx_kctx* kctx);

/* decode, decode_unpack, decode_symbol, burst. */
typedef uint32_t (*colx_decode_fn)(colx_cv* res, colx_cv* src, colx_kctx* kctx);

/* set, sum, distinct, xlate, add, sub, mul: a second input vector. */
typedef uint32_t (*colx_binary_fn)(colx_cv* res, colx_cv* src, colx_cv* other, colx_kctx* kctx);

/* ---------------------------------------------------------------- call shapes of the entries */

/* One word that is not read. */
typedef void colx_setup_call(uint64_t unused);
/* No arguments; returns 0. */
typedef uint32_t colx_thread_call(void);

/* Word bit vectors: arrays of 64-bit words, row r in word r >> 6 at bit r & 63. `dst` may be any
 * of the inputs and needs 8-byte alignment only. ceil(nbits / 64) words are stored whole; `count`
 * (may be null) receives the set bits among the first nbits. */
typedef void colx_lbiwv_unary_call(uint64_t* dst, uint32_t* count, const uint64_t* a,
                                   uint64_t nbits);
/* Two inputs; otherwise as above. */
typedef void colx_lbiwv_binary_call(uint64_t* dst, uint32_t* count, const uint64_t* a,
                                    const uint64_t* b, uint64_t nbits);
/* Three inputs; otherwise as above. */
typedef void colx_lbiwv_ternary_call(uint64_t* dst, uint32_t* count, const uint64_t* a,
                                     const uint64_t* b, const uint64_t* c, uint64_t nbits);
/* `count` must not be null; the count is also returned. */
typedef uint32_t colx_lbiwv_popcnt_call(uint32_t* count, const uint64_t* a, uint64_t nbits);
/* Bits `first` to `last`, both included; `first` at most `last`. */
typedef void colx_lbiwv_range_call(uint64_t* bits, uint64_t first, uint64_t last);
/* Iteration from bit `start`, whose word is read at once whatever `nbits` is. `invert` counts only
 * if its low byte is 1: it complements that word, as iteration over clear bits needs. */
typedef void colx_lbiwv_ini2_call(colx_lbiwv_ictx* ctx, const uint64_t* bits, uint64_t nbits,
                                  uint64_t invert, uint64_t start);

/* Byte bit vectors: ceil(nbits / 8) bytes without alignment, none touched behind the last. */
typedef void colx_lbiv_unary_call(void* dst, uint32_t* count, const void* a, uint64_t nbits);
/* Two inputs; otherwise as above. */
typedef void colx_lbiv_binary_call(void* dst, uint32_t* count, const void* a, const void* b,
                                   uint64_t nbits);
/* Three inputs; otherwise as above. */
typedef void colx_lbiv_ternary_call(void* dst, uint32_t* count, const void* a, const void* b,
                                    const void* c, uint64_t nbits);
/* `count` must not be null. */
typedef void colx_lbiv_popcnt_call(uint32_t* count, const void* a, uint64_t nbits);
/* Bits `first` to `last`, both included; `first` at most `last`. */
typedef void colx_lbiv_range_call(void* bits, uint64_t first, uint64_t last);
/* As for words: reads one whole word, 8 bytes, at bit `start` & ~63, whatever `nbits` is. */
typedef void colx_lbiv_ini2_call(colx_lbiwv_ictx* ctx, const void* bits, uint64_t nbits,
                                 uint64_t invert, uint64_t start);

/* Both forms: the next bit, or the end value once there is none. */
typedef uint64_t colx_bit_iter_call(colx_lbiwv_ictx* ctx);
/* Both forms: stores up to `max` next bits and returns how many, fewer only at the end. */
typedef uint64_t colx_bit_ones_call(colx_lbiwv_ictx* ctx, uint32_t* out, uint64_t max);
/* Both forms: runs of bits are not served, the arguments are not read. */
typedef uint64_t colx_bit_run_call(uint64_t unused1, uint64_t unused2);
/* Both forms: likewise. */
typedef uint64_t colx_bit_runs_call(uint64_t unused1, uint64_t unused2, uint64_t unused3,
                                    uint64_t unused4);

/* Sets the bits of the rows of `src`, big-endian hash values, that pass `filter`; `res` begins
 * clear. `kctx` must not be null and holds the first row. Returns 0, 1 or 2. */
typedef uint32_t colx_bloom_call(colx_cv* res, colx_cv* src, colx_cv* filter, colx_kctx* kctx);
/* `xs` and `ys` are the vertices of a polygon and `px`, `py` a point, all doubles in machine byte
 * order; element 0 of `res` receives how many edges a ray to the right crosses. Returns 0. */
typedef uint32_t colx_spatial_pip_call(colx_cv* res, colx_cv* xs, colx_cv* ys, colx_cv* px,
                                       colx_cv* py, colx_kctx* kctx);
/* 32-bit keys of `num_cols` adjacent columns of codes into `res`, whose colx_cv_num_of_rows is its
 * room in keys; `key_space` receives what every key is below; `scratch` is room for 32-bit codes.
 * Rows start at colx_kctx_position. Returns 0, 2, 3 or 9. */
typedef uint32_t colx_groupkey_call(colx_cv* res, uint32_t* key_space, colx_cv* cols,
                                    uint32_t num_cols, colx_cv* scratch, colx_kctx* kctx);
/* Adds the numbers of `src` to the accumulators of `res`: row r to the one of its 32-bit key in
 * `groups`. Float and double accumulators for their like, 64-bit integers for dsb. Returns 0 or 10.
 */
typedef uint32_t colx_gby_sum_call(colx_cv* res, colx_cv* src, colx_cv* groups, void* unused);
/* Conversion: numbers of `src` into `res`, or their sum (COLX_KCTX_SUM); `kctx` may be null. Prefix
 * decoder: groups of `src` into `res`, which needs 15 bytes of room behind them. Returns 0 or 10.
 */
typedef uint32_t colx_three_call(colx_cv* res, colx_cv* src, colx_kctx* kctx);
/* Hashes the keys of `src` into `res`, 8 bytes each in machine byte order. `seeds` holds one seed
 * of 8 bytes for all rows, or one a row. Returns 0 or 2. */
typedef uint32_t colx_hash_call(colx_cv* res, colx_cv* src, colx_cv* seeds, colx_hash_fn fn,
                                void* unused);
/* Adds the rows of `src` with their values of `payload`: to partition `part`, or, if that is
 * negative, to those that the hashes name. Returns 0, 2 or 6; the place is in `kctx`. */
typedef uint32_t colx_ht_build_call(colx_ht* ht, colx_cv* src, colx_cv* payload, int32_t part,
                                    colx_hash_fn fn, colx_kctx* kctx);
/* Writes a record of 16 bytes, probe value and build value, for each match of a row of `src`.
 * colx_cv_num_of_rows of `res` is the room in records, then how many there are. Returns 0, 2 or 7;
 * the place is in `kctx`. */
typedef uint32_t colx_ht_probe_call(colx_cv* res, colx_cv* src, colx_cv* payload, const colx_ht* ht,
                                    colx_hash_fn fn, colx_kctx* kctx);
/* Writes a record a row at the cursor of the row's partition and moves the cursor on. Returns 0, 2
 * or 5; the place is in `kctx`. */
typedef uint32_t colx_partition_call(colx_part_set* parts, colx_cv* src, colx_cv* payload,
                                     colx_hash_fn fn, colx_kctx* kctx);
/* The values that the entry numbers or records of `src` refer to, into `res` of colx_cv_capacity
 * bytes. Returns 0, 2 or 9; the place is in `kctx`. */
typedef uint32_t colx_gather_call(colx_cv* res, colx_cv* src, const colx_row_store* store,
                                  colx_kctx* kctx);
/* Enters the values of `src` as column `col` of matrix `block`. Returns 0 or 2.
 *
 * `base` is the matrix for a negative `block`, which only fixed and lp_sep columns may use. */
typedef uint32_t colx_transpose_reference_call(colx_row_store* store, colx_cv* src, uint32_t col,
                                               int32_t block, void* base);
/* Copies rows `from` to `to`, both included, of matrix `block` into partition `part` of `out`.
 * Returns 0, 2 or 8; the place is in `kctx`. */
typedef uint32_t colx_transpose_convert_call(colx_row_store* out, const colx_row_store* in,
                                             int32_t part, int32_t block, uint32_t from,
                                             uint32_t to, colx_kctx* kctx);
/* Expands `stream` into `out`, at most `capacity` bytes, and stores the length. Reads up to 16
 * bytes behind the stream. Returns 0, or 10 for a header that is not sound; see
 * docs/undefined-inputs.md. */
typedef uint32_t colx_wpak_decode_call(colx_decode_env* env, const void* stream, void* out,
                                       uint32_t* out_len, uint32_t capacity);
/* Cumulative array of `src_len` lengths as big-endian 32-bit numbers; returns src_len + 1.
 * Asserts res_len >= src_len + 1. */
typedef uint32_t colx_build_cla_call(void* res, uint32_t res_len, const void* src,
                                     uint32_t src_len);

/* ---------------------------------------------------------------- the exported record */

/* Value of colx_sctx_magic. */
#define COLX_SCTX_MAGIC   0xB9018218u
/* Text of colx_sctx_version. */
#define COLX_SCTX_VERSION "19.1-1"
/* Text of colx_sctx_name. */
#define COLX_SCTX_NAME    "tvlpsse4219"

/* All fields are 64 bits wide. An entry whose function is missing from a build is null. */
typedef struct colx_specialized_ctx {
  uint64_t colx_sctx_magic;                                     /* COLX_SCTX_MAGIC */
  const char* colx_sctx_version;                                /* COLX_SCTX_VERSION */
  uint64_t colx_sctx_rev;                                       /* 3 */
  const char* colx_sctx_name;                                   /* COLX_SCTX_NAME */
  uint64_t colx_sctx_sizes[10];                                 /* 8, 8, 8, 8, 8, 8, 8, 16, 0, 16 */
  const colx_kernel_fn* colx_sctx_dispatch;                     /* COLX_DISPATCH_SLOTS slots */
  colx_setup_call* colx_sctx_init_sharedlib;                    /* colx_init_sharedlib_dydi */
  colx_setup_call* colx_sctx_set_trace_level;                   /* colx_set_trace_level_dydi */
  colx_lbiv_popcnt_call* colx_sctx_lbivpopcnt;                  /* colx_lbivpopcnt_dydi */
  colx_lbiv_unary_call* colx_sctx_lbivnot;                      /* colx_lbivnot_dydi */
  colx_lbiv_binary_call* colx_sctx_lbivand;                     /* colx_lbivand_dydi */
  colx_lbiv_binary_call* colx_sctx_lbivor;                      /* colx_lbivor_dydi */
  colx_lbiv_binary_call* colx_sctx_lbivxor;                     /* colx_lbivxor_dydi */
  colx_lbiv_binary_call* colx_sctx_lbivandnot;                  /* colx_lbivandnot_dydi */
  colx_lbiv_ternary_call* colx_sctx_lbivand3;                   /* colx_lbivand3_dydi */
  colx_lbiv_ternary_call* colx_sctx_lbivor3;                    /* colx_lbivor3_dydi */
  colx_lbiv_ternary_call* colx_sctx_lbivxor3;                   /* colx_lbivxor3_dydi */
  colx_lbiv_range_call* colx_sctx_lbivset_range;                /* colx_lbivset_range_dydi */
  colx_lbiv_range_call* colx_sctx_lbivclr_range;                /* colx_lbivclr_range_dydi */
  colx_lbiv_ini2_call* colx_sctx_lbiv_ictx_ini2;                /* colx_lbiv_ictx_ini2_dydi */
  colx_bit_iter_call* colx_sctx_lbiviter;                       /* colx_lbiviter_dydi */
  colx_bit_iter_call* colx_sctx_lbiviter_clr;                   /* colx_lbiviter_clr_dydi */
  colx_bit_ones_call* colx_sctx_lbivones;                       /* colx_lbivones_dydi */
  colx_bit_run_call* colx_sctx_lbivrun;                         /* colx_lbivrun_dydi */
  colx_bit_runs_call* colx_sctx_lbivruns;                       /* colx_lbivruns_dydi */
  colx_lbiwv_popcnt_call* colx_sctx_lbiwvpopcnt;                /* colx_lbiwvpopcnt_dydi */
  colx_lbiwv_unary_call* colx_sctx_lbiwvnot;                    /* colx_lbiwvnot_dydi */
  colx_lbiwv_binary_call* colx_sctx_lbiwvand;                   /* colx_lbiwvand_dydi */
  colx_lbiwv_binary_call* colx_sctx_lbiwvor;                    /* colx_lbiwvor_dydi */
  colx_lbiwv_binary_call* colx_sctx_lbiwvxor;                   /* colx_lbiwvxor_dydi */
  colx_lbiwv_binary_call* colx_sctx_lbiwvandnot;                /* colx_lbiwvandnot_dydi */
  colx_lbiwv_ternary_call* colx_sctx_lbiwvand3;                 /* colx_lbiwvand3_dydi */
  colx_lbiwv_ternary_call* colx_sctx_lbiwvor3;                  /* colx_lbiwvor3_dydi */
  colx_lbiwv_ternary_call* colx_sctx_lbiwvxor3;                 /* colx_lbiwvxor3_dydi */
  colx_lbiwv_range_call* colx_sctx_lbiwvset_range;              /* colx_lbiwvset_range_dydi */
  colx_lbiwv_range_call* colx_sctx_lbiwvclr_range;              /* colx_lbiwvclr_range_dydi */
  colx_lbiwv_ini2_call* colx_sctx_lbiwv_ictx_ini2;              /* colx_lbiwv_ictx_ini2_dydi */
  colx_bit_iter_call* colx_sctx_lbiwviter;                      /* colx_lbiwviter_dydi */
  colx_bit_iter_call* colx_sctx_lbiwviter_clr;                  /* colx_lbiwviter_clr_dydi */
  colx_bit_ones_call* colx_sctx_lbiwvones;                      /* colx_lbiwvones_dydi */
  colx_bit_run_call* colx_sctx_lbiwvrun;                        /* colx_lbiwvrun_dydi */
  colx_bit_runs_call* colx_sctx_lbiwvruns;                      /* colx_lbiwvruns_dydi */
  colx_bloom_call* colx_sctx_bloom;                             /* colx_bloom_dydi */
  colx_spatial_pip_call* colx_sctx_spatial_pip;                 /* colx_spatial_pip_dydi */
  colx_groupkey_call* colx_sctx_groupkey;                       /* colx_groupkey_dydi */
  colx_gby_sum_call* colx_sctx_gby_sum;                         /* colx_gby_sum_dydi */
  colx_three_call* colx_sctx_convert;                           /* colx_convert_dydi */
  colx_three_call* colx_sctx_prefix_decode;                     /* colx_prefix_decode_dydi */
  colx_hash_call* colx_sctx_hash;                               /* colx_hash_dydi */
  colx_ht_build_call* colx_sctx_ht_build;                       /* colx_ht_build_dydi */
  colx_ht_probe_call* colx_sctx_ht_probe;                       /* colx_ht_probe_dydi */
  colx_partition_call* colx_sctx_partition;                     /* colx_partition_dydi */
  colx_gather_call* colx_sctx_gather;                           /* colx_gather_dydi */
  colx_transpose_reference_call* colx_sctx_transpose_reference; /* colx_transpose_reference_dydi */
  colx_transpose_convert_call* colx_sctx_transpose_convert;     /* colx_transpose_convert_dydi */
  colx_wpak_decode_call* colx_sctx_wpak_decode;                 /* colx_wpak_decode_dydi */
  colx_thread_call* colx_sctx_thread_ctx_init;                  /* colx_thread_ctx_init_dydi */
  colx_thread_call* colx_sctx_thread_ctx_fini;                  /* colx_thread_ctx_fini_dydi */
} colx_specialized_ctx;

/* ---------------------------------------------------------------- exported data and functions */

/* What a host reads first; constant. */
extern COLX_API const colx_specialized_ctx colx_global_specialized_ctx;
/* The kernels; null where there is none. */
extern COLX_API const colx_kernel_fn colx_dispatch_table[COLX_DISPATCH_SLOTS];
/* The kernel's name as its function is spelled; "colx_invalid_dispatch" for an empty slot. */
extern COLX_API const char* const colx_dispatch_func_names[COLX_DISPATCH_SLOTS];

/* Returns COLX_DISPATCH_SLOTS. */
COLX_API uint32_t colx_dispatch_table_size(void);

/* Set-up: this library has nothing to do. */

COLX_API colx_setup_call colx_init_sharedlib_dydi;   /* does nothing */
COLX_API colx_setup_call colx_set_trace_level_dydi;  /* does nothing: there is no trace */
COLX_API colx_thread_call colx_thread_ctx_init_dydi; /* does nothing, returns 0 */
COLX_API colx_thread_call colx_thread_ctx_fini_dydi; /* does nothing, returns 0 */

/* Stores the complement of src's bits into res's, ceil(rows / 64) whole words; counts nothing.
 * Asserts equal row counts. Returns 0. */
COLX_API uint32_t colx_null(void* unused1, colx_cv* res, colx_cv* src, void* unused2);

/* Prints a line per slot (all, or only those with calls) on standard output. */
COLX_API void colx_stats_dump(const colx_stats_ctx* ctx, int32_t only_called);

/* Cumulative lengths. */

COLX_API colx_build_cla_call colx_build_cla_1_ub1; /* cumulative array from lengths of 1 byte */
COLX_API colx_build_cla_call colx_build_cla_1_ub2; /* the same from lengths of 2 bytes */

/* Word bit vectors. */

COLX_API colx_lbiwv_unary_call colx_lbiwvnot_dydi;       /* dst = not a */
COLX_API colx_lbiwv_binary_call colx_lbiwvand_dydi;      /* dst = a and b */
COLX_API colx_lbiwv_binary_call colx_lbiwvor_dydi;       /* dst = a or b */
COLX_API colx_lbiwv_binary_call colx_lbiwvxor_dydi;      /* dst = a xor b */
COLX_API colx_lbiwv_binary_call colx_lbiwvandnot_dydi;   /* dst = (not a) and b */
COLX_API colx_lbiwv_ternary_call colx_lbiwvand3_dydi;    /* dst = a and b and c */
COLX_API colx_lbiwv_ternary_call colx_lbiwvor3_dydi;     /* dst = a or b or c */
COLX_API colx_lbiwv_ternary_call colx_lbiwvxor3_dydi;    /* dst = a xor b xor c */
COLX_API colx_lbiwv_popcnt_call colx_lbiwvpopcnt_dydi;   /* stores and returns the set bits */
COLX_API colx_lbiwv_range_call colx_lbiwvset_range_dydi; /* sets bits first to last, both in */
COLX_API colx_lbiwv_range_call colx_lbiwvclr_range_dydi; /* clears bits first to last, both in */
COLX_API colx_lbiwv_ini2_call colx_lbiwv_ictx_ini2_dydi; /* begins an iteration at bit start */
COLX_API colx_bit_iter_call colx_lbiwviter_dydi;         /* the next set bit, or all ones */
COLX_API colx_bit_iter_call colx_lbiwviter_clr_dydi;     /* the next clear bit, or all ones */
COLX_API colx_bit_ones_call colx_lbiwvones_dydi;         /* up to max next set bits */
COLX_API colx_bit_run_call colx_lbiwvrun_dydi;           /* not served: returns all ones */
COLX_API colx_bit_runs_call colx_lbiwvruns_dydi;         /* not served: returns 0 */

/* Byte bit vectors. */

COLX_API colx_lbiv_unary_call colx_lbivnot_dydi;       /* dst = not a */
COLX_API colx_lbiv_binary_call colx_lbivand_dydi;      /* dst = a and b */
COLX_API colx_lbiv_binary_call colx_lbivor_dydi;       /* dst = a or b */
COLX_API colx_lbiv_binary_call colx_lbivxor_dydi;      /* dst = a xor b */
COLX_API colx_lbiv_binary_call colx_lbivandnot_dydi;   /* dst = (not a) and b */
COLX_API colx_lbiv_ternary_call colx_lbivand3_dydi;    /* dst = a and b and c */
COLX_API colx_lbiv_ternary_call colx_lbivor3_dydi;     /* dst = a or b or c */
COLX_API colx_lbiv_ternary_call colx_lbivxor3_dydi;    /* dst = a xor b xor c */
COLX_API colx_lbiv_popcnt_call colx_lbivpopcnt_dydi;   /* stores the set bits, returns nothing */
COLX_API colx_lbiv_range_call colx_lbivset_range_dydi; /* sets bits first to last, both in */
COLX_API colx_lbiv_range_call colx_lbivclr_range_dydi; /* clears bits first to last, both in */
COLX_API colx_lbiv_ini2_call colx_lbiv_ictx_ini2_dydi; /* begins an iteration at bit start */
COLX_API colx_bit_iter_call colx_lbiviter_dydi;        /* the next set bit, or 0xFFFFFFFF */
COLX_API colx_bit_iter_call colx_lbiviter_clr_dydi;    /* the next clear bit, or 0xFFFFFFFF */
COLX_API colx_bit_ones_call colx_lbivones_dydi;        /* up to max next set bits */
COLX_API colx_bit_run_call colx_lbivrun_dydi;          /* not served: returns 0xFFFFFFFF */
COLX_API colx_bit_runs_call colx_lbivruns_dydi;        /* not served: returns 0 */

/* Hash join. */

COLX_API colx_hash_call colx_hash_dydi;           /* hashes of a column's keys, 8 bytes each */
COLX_API colx_partition_call colx_partition_dydi; /* scatters rows by bits of their hash */
COLX_API colx_ht_build_call colx_ht_build_dydi;   /* adds rows to a hash table */
COLX_API colx_ht_probe_call colx_ht_probe_dydi;   /* matches of rows in a hash table */
COLX_API colx_gather_call colx_gather_dydi;       /* values of listed entries of a row store */
/* Enters a column's values into a matrix of lengths and pointers; moves no value bytes. */
COLX_API colx_transpose_reference_call colx_transpose_reference_dydi;
/* Copies the values that a matrix refers to into a row store, a row or a value an entry. */
COLX_API colx_transpose_convert_call colx_transpose_convert_dydi;

/* Bloom filters. */

COLX_API colx_bloom_call colx_bloom_dydi;             /* picks among the four others */
COLX_API colx_bloom_call colx_bloom_hash32;           /* tests hash values of 32 bits */
COLX_API colx_bloom_call colx_bloom_hash64;           /* tests hash values of 64 bits */
COLX_API colx_bloom_call colx_bloom_hash32_selective; /* tests those of selected rows alone */
COLX_API colx_bloom_call colx_bloom_hash64_selective; /* tests those of selected rows alone */

/* Aggregation and conversion of numbers that are stored as their colx_enc_ctx says. */

COLX_API colx_groupkey_call colx_groupkey_dydi; /* keys of adjacent columns; writes no kctx */
COLX_API colx_gby_sum_call colx_gby_sum_dydi;   /* sums by group; null groups: onto element 0 */
COLX_API colx_three_call colx_convert_dydi;     /* canonical to native, or the sum of all rows */
COLX_API colx_spatial_pip_call colx_spatial_pip_dydi; /* raw count of the edges crossed */

/* Stream decoders. */

COLX_API colx_wpak_decode_call colx_wpak_decode_dydi; /* expands a wpak stream */
COLX_API colx_three_call colx_prefix_decode_dydi;     /* expands groups of shared prefixes */

/* Supplied by the host: reports an internal error. It may return; the kernel then carries on.
 * `error_frame` is the host handle again: only the host knows how to reach its frame from it. */
extern void host_raise_internal(void* host, void* error_frame, const char* text, uint64_t zero);

/* ---------------------------------------------------------------- the binary contract */

/* A record's size. */
#define COLX_SIZE(type, bytes)     COLX_STATIC_ASSERT(sizeof(type) == (bytes))
/* A field's place in its record. */
#define COLX_AT(type, field, byte) COLX_STATIC_ASSERT(offsetof(type, field) == (byte))

COLX_SIZE(colx_cv, 96);
COLX_AT(colx_cv, colx_cv_data, 0);
COLX_AT(colx_cv, colx_cv_aux, 8);
COLX_AT(colx_cv, colx_cv_row_flags, 16);
COLX_AT(colx_cv, colx_cv_encoding_context, 24);
COLX_AT(colx_cv, colx_cv_nulls, 32);
COLX_AT(colx_cv, colx_cv_bits, 40);
COLX_AT(colx_cv, colx_cv_num_set, 48);
COLX_AT(colx_cv, colx_cv_num_of_rows, 52);
COLX_AT(colx_cv, colx_cv_image_len, 56);
COLX_AT(colx_cv, colx_cv_decomp_slot, 64);
COLX_AT(colx_cv, colx_cv_decomp_size, 72);
COLX_AT(colx_cv, colx_cv_base_rid, 80);
COLX_AT(colx_cv, colx_cv_capacity, 88);

COLX_SIZE(colx_enc_ctx, 136);
COLX_AT(colx_enc_ctx, colx_enc_ctx_key, 0);
COLX_AT(colx_enc_ctx, colx_enc_ctx_symbols, 8);
COLX_AT(colx_enc_ctx, colx_enc_ctx_one_len, 16);
COLX_AT(colx_enc_ctx, colx_enc_ctx_cla, 24);
COLX_AT(colx_enc_ctx, colx_enc_ctx_num_symbols, 32);
COLX_AT(colx_enc_ctx, colx_enc_ctx_layout, 36);
COLX_AT(colx_enc_ctx, colx_enc_ctx_rle_runs, 40);
COLX_AT(colx_enc_ctx, colx_enc_ctx_rle_width, 48);
COLX_AT(colx_enc_ctx, colx_enc_ctx_rle_rows, 52);
COLX_AT(colx_enc_ctx, colx_enc_ctx_rle_cla, 56);
COLX_AT(colx_enc_ctx, colx_enc_ctx_rle_expand, 64);
COLX_AT(colx_enc_ctx, colx_enc_ctx_rle_bits, 72);
COLX_AT(colx_enc_ctx, colx_enc_ctx_prefix_stride, 80);
COLX_AT(colx_enc_ctx, colx_enc_ctx_prefix_value_len, 82);
COLX_AT(colx_enc_ctx, colx_enc_ctx_prefix_values, 84);
COLX_AT(colx_enc_ctx, colx_enc_ctx_bloom_partitioned, 88);
COLX_AT(colx_enc_ctx, colx_enc_ctx_bloom_hash_mask, 92);
COLX_AT(colx_enc_ctx, colx_enc_ctx_bloom_part_shift, 96);
COLX_AT(colx_enc_ctx, colx_enc_ctx_xlate_shift, 96);
COLX_AT(colx_enc_ctx, colx_enc_ctx_bloom_bit_mask, 100);
COLX_AT(colx_enc_ctx, colx_enc_ctx_xlate_mask, 100);
COLX_AT(colx_enc_ctx, colx_enc_ctx_dlp_bits, 104);
COLX_AT(colx_enc_ctx, colx_enc_ctx_dlp_pages, 112);
COLX_AT(colx_enc_ctx, colx_enc_ctx_key_base, 120);
COLX_AT(colx_enc_ctx, colx_enc_ctx_flags, 124);
COLX_AT(colx_enc_ctx, colx_enc_ctx_width, 128);
COLX_AT(colx_enc_ctx, colx_enc_ctx_type, 132);

COLX_SIZE(colx_kctx, 120);
COLX_AT(colx_kctx, colx_kctx_env, 0);
COLX_AT(colx_kctx, colx_kctx_selection, 8);
COLX_AT(colx_kctx, colx_kctx_flags, 16);
COLX_AT(colx_kctx, colx_kctx_aux_set, 24);
COLX_AT(colx_kctx, colx_kctx_resume_extra, 32);
COLX_AT(colx_kctx, colx_kctx_position, 36);
COLX_AT(colx_kctx, colx_kctx_state1, 40);
COLX_AT(colx_kctx, colx_kctx_state2, 44);
COLX_AT(colx_kctx, colx_kctx_key_offset, 48);
COLX_AT(colx_kctx, colx_kctx_value_offset, 56);
COLX_AT(colx_kctx, colx_kctx_rows, 64);
COLX_AT(colx_kctx, colx_kctx_num_rows, 72);
COLX_AT(colx_kctx, colx_kctx_start_row, 76);
COLX_AT(colx_kctx, colx_kctx_flags_out, 80);
COLX_AT(colx_kctx, colx_kctx_prefix_ptrs, 88);
COLX_AT(colx_kctx, colx_kctx_off_ctx, 96);
COLX_AT(colx_kctx, colx_kctx_xlate_out, 104);
COLX_AT(colx_kctx, colx_kctx_multiplier, 112);

COLX_SIZE(colx_env, 48);
COLX_AT(colx_env, colx_env_host, 0);
COLX_AT(colx_env, colx_env_heap, 8);
COLX_AT(colx_env, colx_env_alloc_cached, 16);
COLX_AT(colx_env, colx_env_alloc, 24);
COLX_AT(colx_env, colx_env_free, 32);
COLX_AT(colx_env, colx_env_decode, 40);

COLX_SIZE(colx_decode_env, 32);
COLX_AT(colx_decode_env, colx_denv_alloc, 16);
COLX_AT(colx_decode_env, colx_denv_free, 24);

COLX_SIZE(colx_lbiwv_ictx, 32);
COLX_AT(colx_lbiwv_ictx, colx_ictx_limit, 8);
COLX_AT(colx_lbiwv_ictx, colx_ictx_base, 12);
COLX_AT(colx_lbiwv_ictx, colx_ictx_offset, 16);
COLX_AT(colx_lbiwv_ictx, colx_ictx_word, 24);

COLX_SIZE(colx_prefix_ptr, 16);
COLX_AT(colx_prefix_ptr, colx_prefix_ptr_length, 8);

COLX_SIZE(colx_stats_ctx, 72);
COLX_AT(colx_stats_ctx, colx_stats_calls, 56);
COLX_AT(colx_stats_ctx, colx_stats_mrows, 64);

COLX_SIZE(colx_ht, 40);
COLX_AT(colx_ht, colx_ht_bucket_hi, 4);
COLX_AT(colx_ht, colx_ht_part_hi, 5);
COLX_AT(colx_ht, colx_ht_part_shift, 6);
COLX_AT(colx_ht, colx_ht_buckets, 8);
COLX_AT(colx_ht, colx_ht_over_cur, 16);
COLX_AT(colx_ht, colx_ht_over_end, 24);
COLX_AT(colx_ht, colx_ht_part_low_bits, 32);

COLX_SIZE(colx_part_set, 24);
COLX_AT(colx_part_set, colx_part_hi, 4);
COLX_AT(colx_part_set, colx_part_shift, 5);
COLX_AT(colx_part_set, colx_part_fixed_len, 6);
COLX_AT(colx_part_set, colx_part_cursors, 8);
COLX_AT(colx_part_set, colx_part_ends, 16);

COLX_SIZE(colx_row_store, 80);
COLX_AT(colx_row_store, colx_store_ncols, 4);
COLX_AT(colx_row_store, colx_store_value_bits, 6);
COLX_AT(colx_row_store, colx_store_page_hi, 8);
COLX_AT(colx_row_store, colx_store_page_shift, 9);
COLX_AT(colx_row_store, colx_store_lp_pages, 16);
COLX_AT(colx_row_store, colx_store_lp_write, 24);
COLX_AT(colx_row_store, colx_store_dlp_pages, 32);
COLX_AT(colx_row_store, colx_store_cla_pages, 40);
COLX_AT(colx_row_store, colx_store_cla_write, 48);
COLX_AT(colx_row_store, colx_store_data_bases, 56);
COLX_AT(colx_row_store, colx_store_data_cursors, 64);
COLX_AT(colx_row_store, colx_store_data_ends, 72);

COLX_SIZE(colx_specialized_ctx, 8 * (15 + 52));
COLX_AT(colx_specialized_ctx, colx_sctx_sizes, 32);
COLX_AT(colx_specialized_ctx, colx_sctx_dispatch, 112);
COLX_AT(colx_specialized_ctx, colx_sctx_init_sharedlib, 120);
COLX_AT(colx_specialized_ctx, colx_sctx_thread_ctx_fini, 528);

#undef COLX_SIZE
#undef COLX_AT

#ifdef __cplusplus
}
#endif

#endif
