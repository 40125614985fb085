// The program and the layout of the records once more, for a C++ compiler.
#include "every_header.c"
#include "record_layout.c"
