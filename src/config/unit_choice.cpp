// Which units are in force, and in which format numbers are printed.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "config/unit_table.h"
#include "config/units.h"

namespace vor {
namespace {

constexpr unit_format_t start_format = {12, 3};
constexpr char per[] = "1/"; // in front of the name of a raster in lines per unit
constexpr size_t per_length = sizeof per - 1;

} // namespace

constinit UnitsInForce units = {
    millimetre,  centimetre, millimetre, default_speed_unit, {"mm", "1/cm", "1/min", "mm"},
    start_format};

namespace {

int32_t set_format(const void *format) {
    if (format) {
        std::memcpy(&units.format, format, sizeof units.format);
    } else {
        units.format = {start_format.width, resetscale(start_format.decimals)};
    }
    return units.format.width;
}

void set_display_name(int32_t kind, const char *prefix, const char *name) {
    std::snprintf(units.names[kind], sizeof units.names[kind], "%s%s", prefix, name);
}

int32_t set_speed(const char *name) {
    const SpeedUnit *const unit = name ? find_speed_unit(name) : default_speed_unit;
    units.speed = unit ? unit : default_speed_unit;
    set_display_name(UNIT_SPEED, "", units.speed->name);
    if (unit) return 0;
    std::fprintf(stderr, "illegal SPEEDMODE=%s, using %s !\n", name, units.speed->name);
    return 1;
}

// The part of a typed name that counts, without "1/" in front.
std::string_view counted_part(int32_t kind, const char *name) {
    if (std::strncmp(name, per, per_length) == 0) {
        name += per_length;
        if (kind != UNIT_RASTER) std::fputs("'1/' part for size scaling ignored\n", stderr);
    }
    size_t length = 0;
    while (length<longest_unit_name &&static_cast<unsigned char>(name[length])> ' ')
        ++length;
    return {name, length};
}

const LengthUnit **place_in_force(int32_t kind) {
    switch (kind) {
    case UNIT_RASTER:
        return &units.raster;
    case UNIT_ADVANCE:
        return &units.advance;
    default:
        return &units.size;
    }
}

bool set_length(int32_t kind, std::string_view name) {
    const LengthUnit *const unit = find_length_unit(name);
    if (!unit) return false;
    if (unit->is_reciprocal() && kind != UNIT_RASTER) {
        std::fprintf(stderr, "(warning) unit name '%s' for raster, only\n", unit->name);
        return false;
    }
    *place_in_force(kind) = unit;
    const bool needs_per = kind == UNIT_RASTER && !unit->is_reciprocal();
    set_display_name(kind, needs_per ? per : "", unit->plain_name());
    return true;
}

// The default's name stands alone for a raster too: numbers are then distances of lines.
void set_default(int32_t kind) {
    const LengthUnit *const unit = kind == UNIT_RASTER ? centimetre : millimetre;
    *place_in_force(kind) = unit;
    set_display_name(kind, "", unit->name);
}

int32_t set_length_or_default(int32_t kind, const char *text) {
    const std::string_view name = text ? counted_part(kind, text) : "";
    if (text && set_length(kind, name)) return 0;
    set_default(kind);
    if (text) {
        std::fprintf(stderr, "(warning) unit name '%s%.*s' unknown; scaling 1:1 [%s]!\n",
                     kind == UNIT_RASTER ? per : "", static_cast<int>(name.size()), name.data(),
                     units.names[kind]);
    }
    return 1;
}

} // namespace
} // namespace vor

using vor::units;

extern "C" {

int32_t initunits(int32_t kind, const void *name) {
    if (kind == UNIT_FORMAT) return vor::set_format(name);
    kind &= vor::unit_kind_mask;
    if (kind > UNIT_ADVANCE) return -1;
    const char *const text = static_cast<const char *>(name);
    return kind == UNIT_SPEED ? vor::set_speed(text) : vor::set_length_or_default(kind, text);
}

int32_t resetscale(int32_t decimals) {
    constexpr double limits[] = {0.0003, 0.003, 0.03, 0.3, 3, 30, 300};
    int64_t offset = -4;
    for (const double limit : limits) {
        if (units.size->millimetres <= limit) break;
        ++offset;
    }
    return static_cast<int32_t>(std::clamp<int64_t>(decimals + offset, 0, INT32_MAX));
}

int32_t isimperial(void) {
    return units.size->flags & vor::IMPERIAL ? 1 : 0;
}

const char *unitname(int32_t kind) {
    return kind >= UNIT_SIZE && kind <= UNIT_ADVANCE ? units.names[kind] : "";
}

} // extern "C"
