// The vector forms of the checker's decoders.
#ifndef VOR_VOR_CHECKER_AVX2_H
#define VOR_VOR_CHECKER_AVX2_H

#include "vor/checker_walk.h"

namespace vor {

// For track formats of one code a length; NULL where there is none for the processor at hand.
add_codes_fn find_vector_adder(uint32_t format, bool swapped);

} // namespace vor

#endif
