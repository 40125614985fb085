// The units that there are.
#include "config/unit_table.h"

#include <iterator>

namespace vor {
namespace {

constexpr double inch = 25.4;
constexpr double point = inch / 72.27;
constexpr double didot = point * 1238 / 1157;

} // namespace

const LengthUnit length_units[] = {
    {"um", 0.001, 0},
    {"mm", 1, 0},
    {"cm", 10, 0},
    {"dm", 100, 0},
    {"m", 1000, 0},
    {"nm", 0.000001, 0},
    {"inch", inch, IMPERIAL},
    {"in", inch, IMPERIAL},
    {"mil", 0.0254, IMPERIAL},
    {"bp", inch / 72, IMPERIAL | PRINTERS},
    {"pt", point, IMPERIAL | PRINTERS},
    {"pica", 12 * point, IMPERIAL | PRINTERS},
    {"pc", 12 * point, IMPERIAL | PRINTERS},
    {"sp", point / 65536, IMPERIAL | PRINTERS},
    {"didot", didot, IMPERIAL | PRINTERS},
    {"dd", didot, IMPERIAL | PRINTERS},
    {"cicero", 12 * didot, IMPERIAL | PRINTERS},
    {"cc", 12 * didot, IMPERIAL | PRINTERS},
    {"/dpi", inch, IMPERIAL},
    {"/lpi", inch, IMPERIAL},
};
static_assert(std::size(length_units) == length_unit_count);

const SpeedUnit speed_units[] = {
    {"1/min", 1, false}, {"u/min", 1, false},    {"rpm", 1, false},
    {"1/s", 60, false},  {"m/min", 1000, true},  {"m/s", 60000, true},
    {"cm/s", 600, true}, {"inch/s", 1524, true}, {"ips", 1524, true},
};
static_assert(std::size(speed_units) == speed_unit_count);

const LengthUnit *find_length_unit(std::string_view name) {
    for (const LengthUnit &unit : length_units) {
        if (name == unit.plain_name()) return &unit;
    }
    return nullptr;
}

const SpeedUnit *find_speed_unit(std::string_view name) {
    for (const SpeedUnit &unit : speed_units) {
        if (name == unit.name) return &unit;
    }
    return nullptr;
}

namespace {

// Collects names as far as there is room for them, or counts them.
class NameList {
public:
    NameList(const char **names, int32_t max) : names_(names), max_(max) {}

    void add(const char *name) {
        if (names_ && count_ >= max_) return;
        if (names_) names_[count_] = name;
        ++count_;
    }
    int32_t finish() {
        if (names_ && count_ < max_) names_[count_] = nullptr;
        return count_;
    }

private:
    const char **names_;
    int32_t max_;
    int32_t count_ = 0;
};

} // namespace
} // namespace vor

extern "C" {

int32_t get_unames(const char **names, int32_t max, int32_t kind) {
    vor::NameList list(names, max);
    if (kind == UNIT_SPEED) {
        for (const vor::SpeedUnit &unit : vor::speed_units)
            list.add(unit.name);
    } else if (kind >= UNIT_SIZE && kind <= UNIT_ADVANCE) {
        for (const vor::LengthUnit &unit : vor::length_units) {
            if (unit.is_reciprocal() == (kind == UNIT_RASTER)) list.add(unit.plain_name());
        }
    }
    return list.finish();
}

} // extern "C"
