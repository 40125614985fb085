// The turn that every call of the logger takes. It keeps out the other threads of the process and,
// by a mutex that the machine knows by name, its other processes; a hook that logs takes a turn
// within that of its line. Where the mutex cannot be had, processes do not wait for each other.
#ifndef VOR_RUNTIME_LOG_TURN_H
#define VOR_RUNTIME_LOG_TURN_H

namespace vor {

class LogTurn {
public:
    LogTurn();
    ~LogTurn();
    LogTurn(const LogTurn &) = delete;
    LogTurn &operator=(const LogTurn &) = delete;

    // Whether the mutex was looked for in this turn and this process is not its first one.
    bool came_second() const { return came_second_; }

private:
    bool took_mutex_ = false;
    bool came_second_ = false;
};

// Within a turn.

// Whether no other process had the mutex when this one opened it.
bool first_to_log();

// Whether other processes are kept out.
bool keeps_processes_out();

// Lets the other processes in before the turn ends, since this one may take long to end.
void let_processes_in();

} // namespace vor

#endif
