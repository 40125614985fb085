// The sizes of paper that there are.
#ifndef VOR_CONFIG_PAPER_H
#define VOR_CONFIG_PAPER_H

#include "config/gd.h"

namespace vor {

// Ends with a row without a name.
extern const papersize_t paper_table[];

} // namespace vor

#endif
