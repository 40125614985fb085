// Programs are started from a command line, as the first platform does it; the platform below
// splits the line where its programs take an array of arguments.
#include "runtime/spawn.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "platform/kel.h"
#include "platform/os.h"
#include "runtime/log.h"
#include "util/owned.h"

static_assert(KEL_PROCESS_KILLED == vor::os::exit_code_killed);
static_assert(KEL_PROCESS_RUNNING == vor::os::exit_code_running);

namespace {

constexpr int32_t no_descriptor = -1;

vor::os::Process *native(kel_process *process) {
    return reinterpret_cast<vor::os::Process *>(process);
}

kel_process *handle_of(vor::os::Process *process) {
    return reinterpret_cast<kel_process *>(process);
}

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int32_t fd) : fd_(fd) {}
    ~Descriptor() {
        if (valid()) kel_close(fd_);
    }
    Descriptor(Descriptor &&other) noexcept : fd_(other.fd_) { other.fd_ = no_descriptor; }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    bool valid() const { return fd_ != no_descriptor; }
    int32_t get() const { return fd_; }

private:
    int32_t fd_ = no_descriptor;
};

// Where a program's output goes, told by the name of the file.
struct Target {
    const char *file; // NULL: nowhere
    bool drops_errors;

    explicit Target(const char *outfile) : file(nullptr), drops_errors(false) {
        // A first byte above 127 has always meant no file; programs have come to rely on it.
        if (!outfile || !*outfile || static_cast<unsigned char>(*outfile) >= 0x80) return;
        drops_errors = *outfile == '@';
        file = outfile + drops_errors;
    }
};

Descriptor open_null() {
    Descriptor device(kel_open(vor::os::null_device, KEL_O_RDWR, 0));
    if (!device.valid()) logmesg(LOGMESG_ERROR, "spawnvx: cannot open NUL: error=%d", errno);
    return device;
}

// The file is neither cut nor appended to.
Descriptor open_output(const Target &target) {
    if (!target.file) return open_null();
    constexpr int32_t flags = KEL_O_RDWR | KEL_O_CREAT | KEL_O_SEQUENTIAL;
    Descriptor file(kel_open(target.file, flags, KEL_DEFAULT_PERMISSIONS));
    if (!file.valid()) {
        logmesg(LOGMESG_WARNING, "spawnvx: open outfile=\"%.1023s\": error=%d", target.file, errno);
    }
    return file;
}

// Shares the position of the output, so that the two do not write over each other.
Descriptor open_errors(const Target &target, const Descriptor &output) {
    if (target.drops_errors) return open_null();
    Descriptor copy(vor::os::duplicate(output.get()));
    if (!copy.valid()) {
        logmesg(LOGMESG_WARNING, "spawnvx: cannot duplicate handle: error=%d", errno);
    }
    return copy;
}

// The texts one behind the other, an empty one at the end; NULL if there is no memory.
vor::malloc_ptr<char[]> environment_block(const char *const *envp) {
    size_t size = 1;
    for (const char *const *text = envp; *text; ++text)
        size += std::strlen(*text) + 1;
    vor::malloc_ptr<char[]> block(vor::allocate_array<char>(size));
    if (!block) {
        logmesg(LOGMESG_ERROR, "spawnvx: cannot duplicate environment block");
        return block;
    }
    char *to = block.get();
    for (; *envp; ++envp) {
        const size_t length = std::strlen(*envp) + 1;
        std::memcpy(to, *envp, length);
        to += length;
    }
    *to = 0;
    return block;
}

class CommandLine {
public:
    // False, with a line in the log, if the arguments do not fit.
    bool build(const char *const *argv) {
        for (const char *const *argument = argv; *argument; ++argument) {
            const size_t length = std::strlen(*argument);
            if (length >= SPAWN_COMMAND_SIZE || length_ + length + 4 >= SPAWN_COMMAND_SIZE) {
                logmesg(LOGMESG_ERROR, "spawnvx: Win32 command line too long");
                return false;
            }
            if (argument != argv) put(" ", 1);
            const bool quoted = std::strpbrk(*argument, " \t") != nullptr;
            if (quoted) put("\"", 1);
            put(*argument, length);
            if (quoted) put("\"", 1);
        }
        text_[length_] = 0;
        return true;
    }
    const char *text() const { return text_; }

private:
    // What is added to an argument takes three bytes, the final zero byte one.
    void put(const char *text, size_t length) {
        std::memcpy(text_ + length_, text, length);
        length_ += length;
    }

    char text_[SPAWN_COMMAND_SIZE];
    size_t length_ = 0;
};

vor::os::Process *start(const char *commandline, const char *environment, const char *outfile) {
    const Target target(outfile);
    const Descriptor input = open_null();
    const Descriptor output = open_output(target);
    const Descriptor errors = open_errors(target, output);
    if (!input.valid() || !output.valid() || !errors.valid()) {
        logmesg(LOGMESG_ERROR, "spawnvx: redirect stdio failed");
        return nullptr;
    }
    std::fflush(nullptr);
    vor::os::Process *process = nullptr;
    if (!vor::os::start_program({commandline, environment, input.get(), output.get(), errors.get()},
                                &process)) {
        logmesg(LOGMESG_ERROR, "spawnvx: CreateProcess failed: error=%d", errno);
    } else if (!process) {
        logmesg(LOGMESG_ERROR, "spawnvx: re-open of spawned process id failed");
    }
    return process;
}

// The program that win32_system waits for. Its handle is open as long as it stands here.
kel_process *system_child = nullptr;
std::mutex system_child_lock;

void set_system_child(kel_process *process) {
    const std::lock_guard<std::mutex> guard(system_child_lock);
    system_child = process;
}

// Waits for the end of a program and gives its exit code, or -1.
int32_t await_exit_code(kel_process *process) {
    int32_t code = 0;
    do {
        if (kel_process_wait(process) != 0) return -1;
        if (kel_process_exitcode(process, &code) != 0) return -1;
    } while (code == KEL_PROCESS_RUNNING); // a system that knows such a code waits for ever
    return code < 0 ? KEL_PROCESS_KILLED : code;
}

} // namespace

extern "C" {

kel_process *spawnvx(const char *commandline, const char *const *argv, const char *const *envp,
                     const char *outfile) {
    vor::malloc_ptr<char[]> environment;
    if (envp) {
        environment = environment_block(envp);
        if (!environment) return nullptr;
    }
    CommandLine built;
    if (argv) {
        if (!built.build(argv)) return nullptr;
        commandline = built.text();
    }
    return handle_of(start(commandline ? commandline : "", environment.get(), outfile));
}

int32_t kel_process_wait(kel_process *process) {
    return vor::os::wait_for(native(process)) ? 0 : -1;
}

int32_t kel_process_exitcode(kel_process *process, int32_t *code) {
    return vor::os::read_exit_code(native(process), code) ? 0 : -1;
}

int32_t kel_process_terminate(kel_process *process) {
    return vor::os::terminate(native(process)) ? 0 : -1;
}

int32_t kel_process_close(kel_process *process) {
    if (process) vor::os::close_process(native(process));
    return 0;
}

int32_t win32_system(const char *commandline) {
    kel_process *const process = spawnvx(commandline, nullptr, nullptr, nullptr);
    if (!process) return -1;
    set_system_child(process);
    const int32_t result = await_exit_code(process);
    set_system_child(nullptr);
    kel_process_close(process);
    return result;
}

int32_t win32_system_abort(void) {
    const std::lock_guard<std::mutex> guard(system_child_lock);
    if (!system_child) return -1;
    kel_process_terminate(system_child);
    return 0;
}

} // extern "C"
