// What is asked of a comparison. A benchmark is called "family/peer"; the peer "ours" is held
// against the others.
#ifndef VOR_BENCH_RATIOS_H
#define VOR_BENCH_RATIOS_H

#include <string>

namespace vor::bench {

// Ours is to be at least `times` as fast as the peer.
void want_times_as_fast(const std::string &family, const std::string &peer, double times);

// Ours is to take at most `times` the time of the peer, a limit that nothing can beat.
void want_times_the_time(const std::string &family, const std::string &peer, double times);

} // namespace vor::bench

#endif
