#include <gtest/gtest.h>

#include "platform/kel.h"
#include "support/in_child.h"
#include "util/services.h"

namespace {

TEST(TickClock, BeforeTheMeasurementGivesNoTime) {
    EXPECT_EQ(vor::test::in_child([] { return std::to_string(rdtsc_us(1000000)); }), "0");
}

std::string measure_and_tell() {
    const uint64_t start = rdtsc();
    if (rdtsc_init() != 0) return "the counter does not move";
    const uint64_t measured = rdtsc_us(rdtsc() - start);
    if (measured < 999000 || measured > 3000000) return "the measurement is off";

    const uint64_t again = rdtsc();
    if (rdtsc_init() != 0 || rdtsc_us(rdtsc() - again) > 500000) return "it measures once more";

    const uint64_t before = rdtsc();
    mt_delay(50);
    const uint64_t passed = rdtsc_us(rdtsc() - before);
    if (passed < 45000 || passed > 1000000) return "a time span is off";
    return rdtsc_us(0) == 0 ? "right" : "no ticks take time";
}

// One test in a process of its own, since the measurement takes a second and is kept.
TEST(TickClock, MeasuresOnceAndThenTellsMicroseconds) {
    EXPECT_EQ(vor::test::in_child(measure_and_tell), "right");
}

} // namespace
