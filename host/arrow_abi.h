/* arrow_abi.h: the two records of the Arrow C data interface, as its published text lays them out.
 *
 * A producer fills a record and sets its `release`; whoever owns the record calls it once, and it
 * marks the record released by clearing `release`. A record is moved by copying its bytes and
 * clearing `release` in the old place. A child may be moved out of its parent that way; it then
 * outlives the parent. C11 and C++; other declarations of the same records may be in force. */
#ifndef COLX_HOST_ARROW_ABI_H
#define COLX_HOST_ARROW_ABI_H

#include <stdint.h>

#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE

#ifdef __cplusplus
extern "C" {
#endif

/* Bits of `flags`. */
#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE           2
#define ARROW_FLAG_MAP_KEYS_SORTED    4

/* The type of an array. */
struct ArrowSchema {
  const char* format; /* the type, for instance "i", "u", "d:18,2"; of a dictionary the indices' */
  const char* name;   /* of the column; may be null */
  const char* metadata; /* may be null */
  int64_t flags;        /* ARROW_FLAG_... */
  int64_t n_children;
  struct ArrowSchema** children;
  struct ArrowSchema* dictionary; /* type of the values of a dictionary, else null */
  void (*release)(struct ArrowSchema*);
  void* private_data; /* the producer's */
};

/* The rows of an array. */
struct ArrowArray {
  int64_t length;     /* rows */
  int64_t null_count; /* -1: not counted */
  int64_t offset;     /* rows of the buffers to pass over */
  int64_t n_buffers;
  int64_t n_children;
  const void** buffers; /* the first one a validity bitmap, or null where no row is NULL */
  struct ArrowArray** children;
  struct ArrowArray* dictionary; /* the values of a dictionary, else null */
  void (*release)(struct ArrowArray*);
  void* private_data; /* the producer's */
};

#ifdef __cplusplus
}
#endif

#endif /* ARROW_C_DATA_INTERFACE */

#endif /* COLX_HOST_ARROW_ABI_H */
