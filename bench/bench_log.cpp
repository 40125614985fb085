// Lines a second into one log file: the logger beside a bare write of the same line, from one
// process and from several at once. The writers are forked, get ready and start together.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "platform/os.h"
#include "runtime/log.h"

namespace {

namespace fs = std::filesystem;

constexpr int lines_of_all = 32000;
constexpr const char *text = "track 12345 of the image has been engraved";

// Where the log is, in memory if there is such a place, so that no disk is measured.
class Place {
public:
    Place() {
        const fs::path memory = "/dev/shm";
        const fs::path parent = fs::is_directory(memory) ? memory : fs::temp_directory_path();
        path_ = (parent / "vor_bench_XXXXXX").string();
        if (!::mkdtemp(path_.data())) std::abort();
        vor::os::mutex_directory = path_.c_str();
        ::setenv("MESGLOG_SIZE", "0", 1);
    }
    ~Place() { fs::remove_all(path_); }
    Place(const Place &) = delete;
    Place &operator=(const Place &) = delete;

    std::string log() const { return path_ + "/mesg.log"; }

private:
    std::string path_;
};

const Place &place() {
    static const Place only;
    return only;
}

class Logger {
public:
    explicit Logger(const std::string &name) {
        logmesg_set_program("bench_log");
        logmesg_set_file(name.c_str());
    }
    void write() const { logmesg(LOGMESG_NOTE | LOGMESG_NO_STDERR, "%s", text); }
};

class BareWrite {
public:
    explicit BareWrite(const std::string &name)
        : fd_(::open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666)),
          line_(std::string("21.11.2026 12:00:00.000 bench_log.12345[Note]: ") + text + "\n") {}
    void write() const {
        if (::write(fd_, line_.data(), line_.size()) < 0) std::abort();
    }

private:
    int fd_;
    std::string line_;
};

// A writer's life: the first line, which opens everything; a byte to say so; and the others once
// the gate, a pipe, is closed at its other end.
template <class Writer>
[[noreturn]] void be_writer(int ready, int gate, int lines) {
    const Writer writer(place().log());
    writer.write();
    char byte = 0;
    if (::write(ready, &byte, 1) != 1) std::abort();
    while (::read(gate, &byte, 1) > 0) {
    }
    for (int i = 0; i < lines; ++i)
        writer.write();
    ::_exit(0);
}

// Seconds that the writers take for all lines.
template <class Writer>
double time_writers(int writers) {
    int ready[2];
    int gate[2];
    if (::pipe(ready) != 0 || ::pipe(gate) != 0) std::abort();
    for (int i = 0; i < writers; ++i) {
        if (::fork() != 0) continue;
        ::close(gate[1]);
        be_writer<Writer>(ready[1], gate[0], lines_of_all / writers);
    }
    char byte = 0;
    for (int i = 0; i < writers; ++i)
        if (::read(ready[0], &byte, 1) != 1) std::abort();
    const auto start = std::chrono::steady_clock::now();
    ::close(gate[1]);
    int status = 0;
    for (int i = 0; i < writers; ++i)
        if (::wait(&status) < 0 || status != 0) std::abort();
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    for (const int fd : {ready[0], ready[1], gate[0]})
        ::close(fd);
    return passed.count();
}

template <class Writer>
void write_lines(benchmark::State &state) {
    const int writers = static_cast<int>(state.range(0));
    for (auto iteration : state) {
        fs::remove(place().log());
        state.SetIterationTime(time_writers<Writer>(writers));
    }
    state.SetItemsProcessed(state.iterations() * lines_of_all);
}

BENCHMARK(write_lines<BareWrite>)->Name("log/1_writer/bare_write")->Arg(1)->UseManualTime();
BENCHMARK(write_lines<Logger>)->Name("log/1_writer/ours")->Arg(1)->UseManualTime();
BENCHMARK(write_lines<BareWrite>)->Name("log/8_writers/bare_write")->Arg(8)->UseManualTime();
BENCHMARK(write_lines<Logger>)->Name("log/8_writers/ours")->Arg(8)->UseManualTime();

} // namespace
