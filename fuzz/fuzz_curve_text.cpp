// Any text as a colour spec, for tables of all sizes. A failure leaves the identity, composing with
// a table equals looking it up in the curve, and a curve survives its file.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "colour/colour.h"
#include "harness.h"

namespace vor::fuzz {
namespace {

using Table = std::vector<uint16_t>;

// Every item may cost as much as the table is long.
constexpr size_t longest_spec = 400;

// For the life of the object, messages go nowhere.
class Silence {
public:
    Silence() : saved_(::dup(STDERR_FILENO)) {
        static const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(nowhere, STDERR_FILENO);
    }
    ~Silence() {
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
    }
    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;

private:
    int saved_;
};

int32_t set_up(const std::string &spec, Table *curve, const char *filename) {
    const Silence silence;
    return wsetupctab(spec.c_str(), curve->data(), filename, static_cast<int32_t>(curve->size()));
}

int32_t compose(const std::string &spec, Table *table) {
    const Silence silence;
    return assigncolors(table->data(), spec.c_str(), 1, static_cast<int32_t>(table->size()));
}

Table identity(int32_t size) {
    Table table(static_cast<size_t>(size));
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<uint16_t>(i);
    return table;
}

Table looked_up(Table table, const Table &curve) {
    for (uint16_t &value : table) {
        if (value < curve.size()) value = curve[value];
    }
    return table;
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile file(".crv");
    Choices draw(data, size);
    const int32_t entries = draw.coin() ? 1 + draw.below(NCOLORS_MAX) : 256;
    const std::string spec(reinterpret_cast<const char *>(data),
                           std::min(draw.left(), longest_spec));
    if (spec.empty() || spec[0] == 0) return 0; // leaves the table as it is

    Table curve(static_cast<size_t>(entries));
    const int32_t result = set_up(spec, &curve, file.name());
    require(result == 0 || result == CURVE_INVALID || result == CURVE_NO_FILE, "a known result");
    if (result < 0) require(curve == identity(entries), "a failure leaves the identity");

    Table stored(curve.size());
    require(set_up(file.name(), &stored, nullptr) == 0, "a stored curve can be loaded");
    require(stored == curve, "a curve survives its file");

    Table table = curve;
    require(compose(spec, &table) == result, "a spec gives the same result again");
    require(table == looked_up(curve, curve), "composing looks values up");
    return 0;
}
