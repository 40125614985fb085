// Tests of units begin and end with those of the start, since the choice is one for the process.
#ifndef VOR_TESTS_UNITS_FIXTURE_H
#define VOR_TESTS_UNITS_FIXTURE_H

#include <gtest/gtest.h>

#include "config/units.h"

namespace vor::test {

class UnitsTest : public ::testing::Test {
protected:
    UnitsTest() { restore(); }
    ~UnitsTest() override { restore(); }

private:
    static void restore() {
        initunits(UNIT_SIZE, "mm");
        initunits(UNIT_RASTER, "1/cm");
        initunits(UNIT_SPEED, nullptr);
        initunits(UNIT_ADVANCE, "mm");
        initunits(UNIT_FORMAT, nullptr);
    }
};

} // namespace vor::test

#endif
