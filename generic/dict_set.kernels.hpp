// The kernels of set membership over dictionary codes: X(width).
#include "generic/dict_compare.kernels.hpp"

#define VORN_SET_ENTRY_OF(w, X)  X(w)
#define VORN_DICT_SET_KERNELS(X) VORN_DICT_WIDTHS(VORN_SET_ENTRY_OF, X)
