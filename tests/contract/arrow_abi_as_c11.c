/* The records of the Arrow C data interface as C11: every field where the interface has it. */
#include "host/arrow_abi.h"

#include <stddef.h>

#define AT(record, field, word) \
  _Static_assert(offsetof(struct record, field) == 8 * (word), #record " " #field)

AT(ArrowSchema, format, 0);
AT(ArrowSchema, name, 1);
AT(ArrowSchema, metadata, 2);
AT(ArrowSchema, flags, 3);
AT(ArrowSchema, n_children, 4);
AT(ArrowSchema, children, 5);
AT(ArrowSchema, dictionary, 6);
AT(ArrowSchema, release, 7);
AT(ArrowSchema, private_data, 8);
_Static_assert(sizeof(struct ArrowSchema) == 72, "nine words");

AT(ArrowArray, length, 0);
AT(ArrowArray, null_count, 1);
AT(ArrowArray, offset, 2);
AT(ArrowArray, n_buffers, 3);
AT(ArrowArray, n_children, 4);
AT(ArrowArray, buffers, 5);
AT(ArrowArray, children, 6);
AT(ArrowArray, dictionary, 7);
AT(ArrowArray, release, 8);
AT(ArrowArray, private_data, 9);
_Static_assert(sizeof(struct ArrowArray) == 80, "ten words");
