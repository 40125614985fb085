// The clock and the calls that wait, all in milliseconds.
#include <cerrno>

#include "platform/kel.h"
#include "platform/os.h"

namespace os = vor::os;

extern "C" {

int32_t kel_timeofday(kel_timeval *time) {
    const int64_t now = os::clock_milliseconds();
    time->sec = static_cast<int32_t>(now / 1000);
    time->usec = static_cast<int32_t>(now % 1000 * 1000);
    return 0;
}

void kel_sleep(uint32_t seconds) {
    os::sleep_milliseconds(uint64_t{seconds} * 1000);
}

int32_t mt_sleep(const kel_timeval *time) {
    if (time->sec < 0 || time->usec < 0 || time->usec >= 1000000) {
        errno = EINVAL;
        return -1;
    }
    if (time->sec >= KEL_SLEEP_FOREVER) os::sleep_forever();
    const int64_t milliseconds = int64_t{time->sec} * 1000 + time->usec / 1000;
    os::sleep_milliseconds(static_cast<uint64_t>(milliseconds));
    return 0;
}

int32_t mt_delay(uint32_t milliseconds) {
    if (milliseconds >= KEL_DELAY_FOREVER) os::sleep_forever();
    os::sleep_milliseconds(milliseconds);
    return 0;
}

} // extern "C"
