// Any bytes as a curve file, loaded into tables of all sizes. What it gives, written anew, gives
// the same.
#include <string>
#include <vector>

#include "colour/colour.h"
#include "colour/curve_file.h"
#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile input(".crv");
    static const ScratchFile output(".crv");
    Choices draw(data, size);
    const int32_t entries = draw.coin() ? 1 + draw.below(NCOLORS_MAX) : 256;
    input.store(data, size);

    std::vector<uint16_t> table(static_cast<size_t>(entries));
    const int32_t count = vor::ctab_load(input.name(), table.data(), entries);
    require(count >= CURVE_INVALID && count <= entries, "a count within the table, or a fault");
    for (size_t i = count > 0 ? static_cast<size_t>(count) : table.size(); i < table.size(); ++i)
        require(table[i] == 0, "the rest of the table is 0");

    std::vector<uint16_t> again(table.size());
    require(write_ctab(output.name(), table.data(), entries) == 0, "a curve can be stored");
    require(vor::ctab_load(output.name(), again.data(), entries) == entries, "and loaded");
    require(again == table, "and is the same");
    return 0;
}
