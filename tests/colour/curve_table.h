// Curve tables in tests: made from a spec, and looked at.
#ifndef VOR_TESTS_CURVE_TABLE_H
#define VOR_TESTS_CURVE_TABLE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "colour/colour.h"

namespace vor::test {

using Table = std::vector<uint16_t>;

// Entry i is level(i), as 16 bits.
inline Table table_of(int32_t size, const std::function<int32_t(int32_t)> &level) {
    Table table;
    for (int32_t i = 0; i < size; ++i)
        table.push_back(static_cast<uint16_t>(level(i)));
    return table;
}

inline Table identity(int32_t size = NCOLORS_DEFAULT) {
    return table_of(size, [](int32_t i) { return i; });
}

inline Table inverse(int32_t size = NCOLORS_DEFAULT) {
    return table_of(size, [size](int32_t i) { return size - 1 - i; });
}

// A spec set up over entries that no spec gives.
struct Curve {
    int32_t result;
    Table table;

    explicit Curve(const std::string &spec, int32_t size = NCOLORS_DEFAULT,
                   const char *filename = nullptr)
        : table(static_cast<size_t>(size), uint16_t{0xABCD}) {
        result = wsetupctab(spec.c_str(), table.data(), filename, size);
    }
};

} // namespace vor::test

#endif
