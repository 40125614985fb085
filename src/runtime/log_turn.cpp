// A lock of this process outside, the mutex of the machine inside it. The lock is taken before a
// fork, so that the child finds the logger as a line leaves it and not in the middle of one.
#include "runtime/log_turn.h"

#include <mutex>

#include "platform/os.h"

namespace {

namespace os = vor::os;

constexpr const char *mutex_name = "KEL_LOGGER_MUTEX";

// Orders the threads. A thread may take it again, and counts how often, so that the one thread of a
// forked child can give back what it held before.
constinit std::mutex threads_lock;
constinit thread_local int depth = 0;

void keep_threads_out() {
    if (depth++ == 0) threads_lock.lock();
}

void let_threads_in() {
    if (--depth == 0) threads_lock.unlock();
}

// Guarded by the lock.
os::Mutex log_mutex = os::no_mutex;
bool mutex_is_held = false;
bool was_first = false;
bool forks_are_watched = false;

// The mutex and all holds on it are the parent's.
void start_as_child() {
    if (log_mutex != os::no_mutex) os::close_mutex(log_mutex);
    log_mutex = os::no_mutex;
    mutex_is_held = false;
    let_threads_in();
}

void watch_forks() {
    if (forks_are_watched) return;
    forks_are_watched = os::watch_forks(keep_threads_out, let_threads_in, start_as_child);
}

// Before any line, since a fork beside the first of them must wait for it as well.
[[maybe_unused]] const bool tried_at_the_start = (watch_forks(), true);

void open_log_mutex() {
    was_first = false;
    watch_forks();
    if (forks_are_watched) log_mutex = os::open_mutex(mutex_name, &was_first);
}

} // namespace

namespace vor {

LogTurn::LogTurn() {
    keep_threads_out();
    if (log_mutex == os::no_mutex) {
        open_log_mutex();
        came_second_ = !was_first;
    }
    if (log_mutex != os::no_mutex && !mutex_is_held) {
        took_mutex_ = os::lock_mutex(log_mutex);
        mutex_is_held = took_mutex_;
    }
}

LogTurn::~LogTurn() {
    if (took_mutex_) let_processes_in();
    let_threads_in();
}

bool first_to_log() {
    return was_first;
}

bool keeps_processes_out() {
    return mutex_is_held;
}

void let_processes_in() {
    if (mutex_is_held) os::unlock_mutex(log_mutex);
    mutex_is_held = false;
}

} // namespace vor
