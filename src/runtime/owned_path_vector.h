// Owns a path vector.
#ifndef VOR_RUNTIME_OWNED_PATH_VECTOR_H
#define VOR_RUNTIME_OWNED_PATH_VECTOR_H

#include <memory>

#include "runtime/path_search.h"

namespace vor {

struct PathVectorDeleter {
    void operator()(path_vector *vector) const { destroy_pv(vector); }
};
using owned_path_vector = std::unique_ptr<path_vector, PathVectorDeleter>;

} // namespace vor

#endif
