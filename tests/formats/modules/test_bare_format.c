/* A format without a single function, as a module. */
#include "formats/formats.h"

extern VOR_MODULE_EXPORT lffmt_t bare_cvtformat;
lffmt_t bare_cvtformat = {.name = "bare"};
