/* Every type of the public header, for the debug information that dump_interface.py reads. */
#include "kernels/frame/colx_x86.h"
