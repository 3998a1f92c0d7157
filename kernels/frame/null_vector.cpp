// The complement of a row set, called with the argument list of a kernel.
#include "kernels/frame/assertion.h"
#include "kernels/frame/colx_x86.h"

extern "C" {

// The bits of the last word above the row count come out complemented as well: a consumer masks by
// the row count.
uint32_t colx_null(void*, colx_cv* res, colx_cv* src, void*) {
  if (src->colx_cv_num_of_rows != res->colx_cv_num_of_rows)
    __assert_fail("((src)->colx_cv_num_of_rows) == ((res)->colx_cv_num_of_rows)", "colxc_x86", 1609,
                  "colx_null");
  colx_lbiwvnot_dydi(res->colx_cv_bits, nullptr, src->colx_cv_bits, src->colx_cv_num_of_rows);
  return 0;
}

}  // extern "C"
