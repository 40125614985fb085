/* A module that exports nothing that anybody looks for. */
#include "vor_api.h"

extern VOR_MODULE_EXPORT int some_number;
int some_number = 1;
