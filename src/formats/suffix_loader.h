// Formats that are loaded because a file of their suffix is about to be opened.
#ifndef VOR_FORMATS_SUFFIX_LOADER_H
#define VOR_FORMATS_SUFFIX_LOADER_H

namespace vor {

// Loads the format that the suffix of a file name stands for, unless KEL_NO_AUTOLOAD is set: the
// one that the file ".formats", which is read once, tells, or without such a file the one of the
// suffix's own name in lower case. A load that fails has been reported, and that is all. NULL is
// allowed.
void offer_suffix(const char *file_name);

} // namespace vor

#endif
