// The tables of units and which of them are in force.
#ifndef VOR_CONFIG_UNIT_TABLE_H
#define VOR_CONFIG_UNIT_TABLE_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "config/units.h"

namespace vor {

// The bits of a flags argument that hold the kind.
constexpr int32_t unit_kind_mask = 7;

// No more of a unit's name that is typed is looked at.
constexpr size_t longest_unit_name = 19;

enum LengthFlags : uint32_t { IMPERIAL = 1, PRINTERS = 2 };

struct LengthUnit {
    const char *name; // with "/" in front: lines in so many millimetres, for rasters alone
    double millimetres;
    uint32_t flags;

    constexpr bool is_reciprocal() const { return name[0] == '/'; }
    constexpr const char *plain_name() const { return is_reciprocal() ? name + 1 : name; }
};

struct SpeedUnit {
    const char *name;
    double factor; // revolutions per minute, or of the surface millimetres per minute
    bool is_of_surface;
};

struct UnitsInForce {
    const LengthUnit *size;
    const LengthUnit *raster;
    const LengthUnit *advance;
    const SpeedUnit *speed;
    char names[4][16]; // shown behind numbers, one a kind
    unit_format_t format;
};

extern UnitsInForce units;

// A name is looked for from the first row on, and lists of names come in this order.
constexpr size_t length_unit_count = 20;
constexpr size_t speed_unit_count = 9;
extern const LengthUnit length_units[length_unit_count];
extern const SpeedUnit speed_units[speed_unit_count];

constexpr const LengthUnit *millimetre = &length_units[1];
constexpr const LengthUnit *centimetre = &length_units[2];

// The unit that an unknown name of a speed stands for.
constexpr const SpeedUnit *default_speed_unit = &speed_units[0];

// The first unit of that name, a "/" in front of the unit's own not counted, or NULL.
const LengthUnit *find_length_unit(std::string_view name);

// The unit of that name, or NULL.
const SpeedUnit *find_speed_unit(std::string_view name);
} // namespace vor

#endif
