// Times of buffer transfers and tracks, in processor ticks.

#include <algorithm>
#include <limits>

#include "runtime/log.h"
#include "trackfile/handle.h"
#include "util/services.h"

namespace vor {
namespace {

constexpr uint64_t no_time = std::numeric_limits<uint64_t>::max();
constexpr int32_t log_level = LOGMESG_INFO | LOGMESG_NO_STDERR;

void add_time(uint64_t start, uint64_t *total, uint64_t *least, uint64_t *most) {
    const uint64_t time = rdtsc() - start;
    *total += time;
    *least = std::min(*least, time);
    *most = std::max(*most, time);
}

int as_us(uint64_t ticks) {
    return ticks == no_time ? 0 : static_cast<int>(rdtsc_us(ticks));
}

uint64_t average(uint64_t total, uint64_t count) {
    return count == 0 ? 0 : total / count;
}

} // namespace

void reset_statistics(xvor_t *h) {
    h->iocount = 0;
    h->trkcount = 0;
    h->iotime = h->iomax = 0;
    h->trktime = h->trkmax = 0;
    h->iomin = h->trkmin = no_time;
}

void count_transfer(xvor_t *h, uint64_t start) {
    add_time(start, &h->iotime, &h->iomin, &h->iomax);
    h->iocount = static_cast<int32_t>(static_cast<uint32_t>(h->iocount) + 1);
}

void count_track(xvor_t *h, uint64_t start) {
    add_time(start, &h->trktime, &h->trkmin, &h->trkmax);
    ++h->trkcount;
}

void log_statistics(const xvor_t *h) {
    if (h->iocount < 1 || rdtsc_init() < 0) return;
    logmesg(log_level, "%s: %s-count=%d, avg=%dus (min=%d, max=%dus)", h->name,
            lfiswrite(h) ? "write" : "read", h->iocount,
            as_us(average(h->iotime, static_cast<uint64_t>(h->iocount))), as_us(h->iomin),
            as_us(h->iomax));
    logmesg(log_level, "tracks=%d, avg=%dus (min=%d, max=%dus)", static_cast<int>(h->trkcount),
            as_us(average(h->trktime, h->trkcount)), as_us(h->trkmin), as_us(h->trkmax));
}

} // namespace vor
