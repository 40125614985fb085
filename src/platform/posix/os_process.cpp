// Child programs on a POSIX system.
//
// The child is forked and waits at a gate, a pipe, while this process makes the descriptor that
// stands for it; then it becomes the program. A second pipe, which the start of the program closes,
// brings back the error if that fails, so that a program that is not there was never started.
// Between fork and exec the child makes only calls that are safe in the child of a process with
// threads: all that needs memory is made ready before.
#include "platform/os.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "platform/posix/command_line.h"

namespace vor::os {

const char *const null_device = "/dev/null";

struct Process {
    int descriptor; // stands for the process, -1 if there is none
    pid_t id;
    bool ended; // and has been reaped
    int32_t code;
    Process *next; // among those that were closed while they ran
};

namespace {

struct FreeProcess {
    void operator()(Process *process) const {
        if (process->descriptor >= 0) ::close(process->descriptor);
        std::free(process);
    }
};
using ProcessOwner = std::unique_ptr<Process, FreeProcess>;

struct Pipe {
    int read_end = -1;
    int write_end = -1;

    Pipe() = default;
    ~Pipe() {
        close_end(&read_end);
        close_end(&write_end);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    bool open() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) return false;
        read_end = ends[0];
        write_end = ends[1];
        return true;
    }
    static void close_end(int *end) {
        if (*end >= 0) ::close(*end);
        *end = -1;
    }
};

// Blocks all signals, so that none of this process's handlers runs in the child.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &old_);
    }
    ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &old_, nullptr); }
    BlockedSignals(const BlockedSignals &) = delete;
    BlockedSignals &operator=(const BlockedSignals &) = delete;

private:
    sigset_t old_;
};

// What the child needs, made ready before the fork.
struct Plan {
    Texts arguments;
    Texts environment;
    Texts names; // to try, one after the other
    char *const *variables = environ;

    // False with errno if there is no memory or no program.
    bool make(const Program &program) {
        arguments = split_command_line(program.command_line);
        if (program.environment) environment = split_environment(program.environment);
        if (!arguments || (program.environment && !environment)) return false;
        if (environment) variables = environment.get();
        if (!arguments[0] || !*arguments[0]) {
            errno = ENOENT;
            return false;
        }
        const char *const path = std::getenv("PATH");
        names = program_names(arguments[0], path ? path : "/bin:/usr/bin");
        return names != nullptr;
    }
};

// Where the child puts its descriptors.
enum Place { input, output, error_output, gate, report, places };

// In the child, before it is the program.

[[noreturn]] void give_up(int report_to, int cause) {
    os::write(report_to, &cause, sizeof cause);
    ::_exit(exit_code_killed);
}

// Moves the descriptors to their places, in two steps as one may lie where another is to go, and
// closes all others.
void place_descriptors(int (&descriptors)[places]) {
    const int report_to = descriptors[report];
    for (int &fd : descriptors) {
        fd = ::fcntl(fd, F_DUPFD_CLOEXEC, static_cast<int>(places));
        if (fd == -1) give_up(report_to, errno);
    }
    for (int place = input; place < places; ++place) {
        const bool kept = place <= error_output;
        if (::dup3(descriptors[place], place, kept ? 0 : O_CLOEXEC) == -1) {
            give_up(descriptors[report], errno);
        }
    }
    ::closefrom(places);
}

void reset_signals() {
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        ::sigaction(number, &action, nullptr);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Whether a name that could not be started leaves the search going.
bool search_goes_on(int cause) {
    return cause == EACCES || cause == ENOENT || cause == ENOTDIR || cause == ELOOP ||
           cause == ENAMETOOLONG;
}

[[noreturn]] void become_program(const Plan &plan, int (&descriptors)[places]) {
    place_descriptors(descriptors);
    ::setsid();
    reset_signals();
    char word = 0;
    if (os::read(gate, &word, 1) != 1) ::_exit(exit_code_killed); // nobody is there any more
    int cause = ENOENT;
    for (char *const *name = plan.names.get(); *name; ++name) {
        ::execve(*name, plan.arguments.get(), plan.variables);
        if (!search_goes_on(errno)) give_up(report, errno);
        if (cause != EACCES) cause = errno; // a program that is there counts most
    }
    give_up(report, cause);
}

// In the parent.

// Reaps the child if it has ended; `options` may hold WNOHANG. False if the system refuses.
bool reap(Process *process, int options) {
    if (process->ended) return true;
    siginfo_t state = {};
    const bool by_descriptor = process->descriptor >= 0;
    const idtype_t kind = by_descriptor ? P_PIDFD : P_PID;
    const id_t id = static_cast<id_t>(by_descriptor ? process->descriptor : process->id);
    while (::waitid(kind, id, &state, WEXITED | options) == -1) {
        if (errno != EINTR) return false;
    }
    if (state.si_pid == 0) return true; // it runs
    process->ended = true;
    process->code = state.si_code == CLD_EXITED ? state.si_status : exit_code_killed;
    return true;
}

// Children that were closed while they ran. They are reaped by and by, at the calls that start and
// close others, so that they do not pile up as zombies.
Process *closed_processes = nullptr;
std::mutex closed_lock;

void reap_closed() {
    const std::lock_guard<std::mutex> guard(closed_lock);
    for (Process **link = &closed_processes; *link;) {
        Process *const process = *link;
        if (reap(process, WNOHANG) && !process->ended) {
            link = &process->next;
            continue;
        }
        *link = process->next;
        FreeProcess()(process);
    }
}

void let_run(ProcessOwner process) {
    const std::lock_guard<std::mutex> guard(closed_lock);
    process->next = closed_processes;
    closed_processes = process.release();
}

int open_process(pid_t id) {
    return static_cast<int>(::syscall(SYS_pidfd_open, id, 0));
}

// Lets the child through the gate and gives the error that kept it from becoming the program, or 0.
int open_gate(Pipe *gate_pipe, Pipe *report_pipe) {
    Pipe::close_end(&report_pipe->write_end);
    os::write(gate_pipe->write_end, "", 1); // the read end is open here: no broken pipe
    int cause = 0;
    const int64_t got = os::read(report_pipe->read_end, &cause, sizeof cause);
    return got == static_cast<int64_t>(sizeof cause) ? cause : 0;
}

} // namespace

int32_t duplicate(int32_t fd) {
    return ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
}

bool start_program(const Program &program, Process **process) {
    reap_closed();
    Plan plan;
    Pipe gate_pipe;
    Pipe report_pipe;
    ProcessOwner child(static_cast<Process *>(std::calloc(1, sizeof(Process))));
    if (!child) return false;
    child->descriptor = -1;
    if (!plan.make(program) || !gate_pipe.open() || !report_pipe.open()) return false;
    {
        const BlockedSignals blocked;
        child->id = ::fork();
        if (child->id == -1) return false;
        if (child->id == 0) {
            int descriptors[places] = {program.input, program.output, program.error,
                                       gate_pipe.read_end, report_pipe.write_end};
            become_program(plan, descriptors);
        }
    }
    child->descriptor = open_process(child->id);
    if (const int cause = open_gate(&gate_pipe, &report_pipe)) {
        reap(child.get(), 0);
        errno = cause;
        return false;
    }
    if (child->descriptor == -1) {
        *process = nullptr;
        let_run(std::move(child));
    } else {
        *process = child.release();
    }
    return true;
}

bool wait_for(Process *process) {
    return reap(process, 0);
}

bool read_exit_code(Process *process, int32_t *code) {
    if (!reap(process, WNOHANG)) return false;
    *code = process->ended ? process->code : exit_code_running;
    return true;
}

bool terminate(const Process *process) {
    return ::syscall(SYS_pidfd_send_signal, process->descriptor, SIGKILL, nullptr, 0) == 0;
}

void close_process(Process *process) {
    reap_closed();
    ProcessOwner owner(process);
    if (reap(process, WNOHANG) && !process->ended) let_run(std::move(owner));
}

} // namespace vor::os
