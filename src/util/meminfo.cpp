// How much memory a program is to use, as the environment says.
#include <cstdlib>

#include "util/numbers.h"
#include "util/services.h"

namespace {

constexpr int64_t kibibyte = 1024;
constexpr int64_t mebibyte = 1024 * kibibyte;
constexpr int64_t default_memory = 64 * mebibyte;
constexpr int64_t default_page = 4096;

int64_t size_of_environment(const char *variable, int64_t otherwise) {
    const char *const value = std::getenv(variable);
    if (!value) return otherwise;
    const char *end = nullptr;
    const int64_t number = vor::text_to_int32(value, &end, 0);
    if (end == value) return otherwise;
    switch (vor::to_lower(*end)) {
    case 'k':
        return number * kibibyte;
    case 'm':
        return number * mebibyte;
    default:
        return number;
    }
}

} // namespace

extern "C" int64_t meminfo(int32_t which) {
    switch (which) {
    case KEL_MEM_AVAILABLE:
    case KEL_MEM_FREE:
        return size_of_environment("MEMAVAIL", default_memory);
    case KEL_MEM_PAGESIZE:
        return size_of_environment("MEMPAGESIZE", default_page);
    default:
        return size_of_environment("MEMORY", default_memory);
    }
}
