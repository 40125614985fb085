// A clock of the finest grain the machine has, measured against a second of the system's.
#include "platform/kel.h"
#include "platform/os.h"
#include "util/services.h"

namespace {

uint64_t ticks_per_second = 0;

} // namespace

extern "C" {

uint64_t rdtsc(void) {
    return vor::os::tick_counter();
}

int32_t rdtsc_init(void) {
    if (ticks_per_second != 0) return 0;
    const uint64_t start = rdtsc();
    mt_delay(1000);
    ticks_per_second = rdtsc() - start;
    return ticks_per_second != 0 ? 0 : -1;
}

uint64_t rdtsc_us(uint64_t ticks) {
    return ticks_per_second != 0 ? ticks * 1000000 / ticks_per_second : 0;
}

} // extern "C"
