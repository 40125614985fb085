// The file of a list of numbers.
#ifndef VOR_RUNTIME_ARRAY_FILE_H
#define VOR_RUNTIME_ARRAY_FILE_H

#include "util/owned.h"

namespace vor {

// The text of a list file as a whole, ended by a zero byte, with its length; null, and a line in
// the log, if there is none or it cannot be read.
malloc_ptr<char[]> read_list_file(const char *name, size_t *length);

} // namespace vor

#endif
