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
/* Says to other headers that the records are declared. */
#define ARROW_C_DATA_INTERFACE

#ifdef __cplusplus
extern "C" {
#endif

/* Bit of a schema's flags: the indices of a dictionary are ordered as its values are. */
#define ARROW_FLAG_DICTIONARY_ORDERED 1
/* Bit of a schema's flags: rows may be NULL. */
#define ARROW_FLAG_NULLABLE           2
/* Bit of a schema's flags: the keys of each map are sorted. */
#define ARROW_FLAG_MAP_KEYS_SORTED    4

/* The type of an array. */
struct ArrowSchema {
  const char* format; /* the type, for instance "i", "u", "d:18,2"; of a dictionary the indices' */
  const char* name;   /* of the column; may be null */
  const char* metadata;                 /* may be null */
  int64_t flags;                        /* ARROW_FLAG_... */
  int64_t n_children;                   /* elements of `children` */
  struct ArrowSchema** children;        /* of a struct its columns' types; null for none */
  struct ArrowSchema* dictionary;       /* type of the values of a dictionary, else null */
  void (*release)(struct ArrowSchema*); /* null: released, or moved elsewhere */
  void* private_data;                   /* the producer's */
};

/* The rows of an array. */
struct ArrowArray {
  int64_t length;                /* rows */
  int64_t null_count;            /* -1: not counted */
  int64_t offset;                /* rows of the buffers to pass over */
  int64_t n_buffers;             /* elements of `buffers` */
  int64_t n_children;            /* elements of `children` */
  const void** buffers;          /* the first one a validity bitmap, or null where no row is NULL */
  struct ArrowArray** children;  /* of a struct its columns; null for none */
  struct ArrowArray* dictionary; /* the values of a dictionary, else null */
  void (*release)(struct ArrowArray*); /* null: released, or moved elsewhere */
  void* private_data;                  /* the producer's */
};

#ifdef __cplusplus
}
#endif

#endif /* ARROW_C_DATA_INTERFACE */

#endif /* COLX_HOST_ARROW_ABI_H */
