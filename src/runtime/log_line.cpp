// Log lines, built whole and written at once. Most fit a buffer on the stack; a longer one is
// measured, built in a block of its size, written all the same, and then ends the process: a
// program that logs such a line has lost hold of its data.
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/kel.h"
#include "platform/os.h"
#include "runtime/log.h"
#include "runtime/log_file.h"
#include "runtime/log_turn.h"
#include "util/owned.h"

namespace {

constexpr const char *unnamed = "anonymous";
constexpr size_t line_room = LOGMESG_MAX_LINE + 1;

// Guarded by the turn of each call.
const char *log_progname = unnamed; // the caller's text
int32_t log_pid = 0;                // 0: not read yet
logmesg_hook log_hook = nullptr;

// What stands before the text of a line.
struct Prefix {
    std::tm time;
    int milliseconds;
    const char *level;
};

const char *level_word(int32_t level) {
    switch (level & LOGMESG_LEVEL_MASK) {
    case LOGMESG_FATAL:
        return "FATAL";
    case LOGMESG_ERROR:
        return "Error";
    case LOGMESG_WARNING:
        return "Warning";
    case LOGMESG_NOTE:
        return "Note";
    default:
        return "Info";
    }
}

Prefix prefix_of_now(int32_t level) {
    kel_timeval now;
    kel_timeofday(&now);
    Prefix prefix = {};
    vor::os::local_time(now.sec, &prefix.time);
    prefix.milliseconds = now.usec / 1000;
    prefix.level = level_word(level);
    return prefix;
}

// The three parts of a line print at the end of what is there, as far as the room goes, and count
// their bytes in full.
struct Printed {
    char *text;
    size_t room;
    size_t length;

    char *end() const { return length < room ? text + length : nullptr; }
    size_t rest() const { return length < room ? room - length : 0; }
    void count(int printed) { length += printed > 0 ? static_cast<size_t>(printed) : 0; }
};

void print_prefix(Printed *line, const Prefix &prefix) {
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%03d", prefix.milliseconds);
    const std::tm &t = prefix.time;
    line->count(std::snprintf(line->end(), line->rest(),
                              "%02d.%02d.%04d %02d:%02d:%02d%s %s.%ld[%s]: ", t.tm_mday,
                              t.tm_mon + 1, t.tm_year + 1900, t.tm_hour, t.tm_min, t.tm_sec,
                              fraction, log_progname, long{log_pid}, prefix.level));
}

// Prints a line and gives its length, which has not found room if that is `room` or more.
VOR_PRINTF(3, 0)
size_t print_line(Printed line, const Prefix &prefix, const char *format, va_list args) {
    print_prefix(&line, prefix);
    va_list again;
    va_copy(again, args);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the check loses the copy
    line.count(std::vsnprintf(line.end(), line.rest(), format, again));
    va_end(again);
    // It is the format that counts: a text that brings its own newline gets another one.
    const size_t length = std::strlen(format);
    if (length == 0 || format[length - 1] != '\n')
        line.count(std::snprintf(line.end(), line.rest(), "\n"));
    return line.length;
}

void write_second_output(const char *line) {
    if (log_hook) {
        log_hook(line);
        return;
    }
    std::fputs(line, stderr);
    std::fflush(stderr);
}

[[noreturn]] void abort_for_overrun() {
    char line[line_room];
    std::snprintf(line, sizeof line, "%s: STACK CORRUPTION DETECTED -- ABORTING\n", log_progname);
    vor::write_to_open_log_file(line, std::strlen(line));
    write_second_output(line);
    vor::let_processes_in();
    std::abort();
}

VOR_PRINTF(2, 0)
void write_line(int32_t level, const char *format, va_list args) {
    if (log_pid == 0) log_pid = vor::os::process_id();
    const Prefix prefix = prefix_of_now(level);
    char line[line_room];
    const size_t length = print_line({line, sizeof line, 0}, prefix, format, args);
    vor::malloc_ptr<char[]> grown;
    if (length >= sizeof line) {
        grown.reset(vor::allocate_array<char>(length + 1));
        if (grown) print_line({grown.get(), length + 1, 0}, prefix, format, args);
    }
    const char *const whole = grown ? grown.get() : line;
    if (!(level & LOGMESG_NO_FILE)) vor::write_to_log_file(whole, std::strlen(whole));
    if (!(level & LOGMESG_NO_STDERR)) write_second_output(whole);
    if (length >= sizeof line) abort_for_overrun();
}

} // namespace

extern "C" {

int32_t logmesg(int32_t level, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int32_t result = vlogmesg(level, format, args);
    va_end(args);
    return result;
}

int32_t vlogmesg(int32_t level, const char *format, va_list args) {
    const vor::LogTurn turn;
    if (level == LOGMESG_SET_FILE) {
        vor::set_log_file(format, !turn.came_second());
    } else if (level == LOGMESG_SET_HOOK) {
        log_hook = std::bit_cast<logmesg_hook>(format);
    } else if (level >= 0 && !format) {
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the check loses the parameter
        const char *const name = va_arg(args, const char *);
        log_progname = name ? name : unnamed;
        log_pid = vor::os::process_id();
    } else if (level >= 0) {
        write_line(level, format, args);
    }
    return 0;
}

} // extern "C"
