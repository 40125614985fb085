#include "interrupt.h"

#include <csignal>

namespace vor::tool {
namespace {

volatile std::sig_atomic_t signal_seen = 0;

extern "C" void note_signal(int number) {
    signal_seen = number;
    std::signal(number, SIG_DFL);
}

// A handler and not SIG_IGN, which programs that are started would inherit.
extern "C" void survive_signal(int number) {
    std::signal(number, survive_signal);
}

} // namespace

void catch_signals() {
    std::signal(SIGINT, note_signal);
    std::signal(SIGTERM, note_signal);
#ifdef SIGPIPE
    std::signal(SIGPIPE, survive_signal);
#endif
#ifdef SIGXFSZ
    std::signal(SIGXFSZ, survive_signal);
#endif
}

bool interrupted() {
    return signal_seen != 0;
}

void stop_if_interrupted() {
    if (interrupted()) throw Interrupted();
}

void end_by_signal() {
    const int number = signal_seen;
    std::signal(number, SIG_DFL);
    std::raise(number);
}

} // namespace vor::tool
