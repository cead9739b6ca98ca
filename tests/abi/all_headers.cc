/* Every public header compiles as C++ too. */
#include "all_headers.c"
