// What the command says on the standard error stream: one line a message, "vor: FILE: text".
#ifndef VOR_TOOL_REPORT_H
#define VOR_TOOL_REPORT_H

#include <cstdarg>
#include <stdexcept>
#include <string>
#include <vector>

#include "vor_api.h"

namespace vor::tool {

// Exit statuses of the command.
enum Status { good = 0, failed = 1, wrong_usage = 2 };

// A job that cannot be done; main prints it.
struct Failure : std::runtime_error {
    Failure(std::string name, const std::string &text)
        : std::runtime_error(text), file(std::move(name)) {}
    std::string file;
};

// A job that cannot be done as the command line has it.
struct WrongUsage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A failure that has been printed already.
struct Told {};

// Thrown by check_output; main prints it.
struct OutputLost {};

// Ends the job if what went to the standard output is lost: a full disk, a reader that has gone.
// For loops that print, at least once a track; it does not flush, so the loss of what a buffer
// still holds shows later.
void check_output();

// printf into a string.
std::string format(const char *form, ...) VOR_PRINTF(1, 2);

// The text of the last system error.
std::string system_error_text();

void print_line(const std::string &text);
void complain(const std::string &file, const std::string &text);
// Unless start_reports was told to be quiet.
void warn(const std::string &file, const std::string &text);

// From here on the library's reports are printed, as one line each; of several failures on the way
// out of a job, the first, which is the cause. Warnings are left out under `quiet`.
void start_reports(bool quiet);

// For the life of the object, reports that name no file are about this one.
class AboutFile {
public:
    explicit AboutFile(const std::string &file);
    ~AboutFile();
    AboutFile(const AboutFile &) = delete;
    AboutFile &operator=(const AboutFile &) = delete;

    // Ends the job after a call that should have reported; makes up for a report that never came.
    [[noreturn]] void give_up(const std::string &otherwise) const;

private:
    std::string file_;
    std::string before_;
};

// For the life of the object, it is a failure that a format cannot be loaded; otherwise that is not
// told, since any suffix of a file is tried.
class LoadingFormats {
public:
    LoadingFormats();
    ~LoadingFormats();
    LoadingFormats(const LoadingFormats &) = delete;
    LoadingFormats &operator=(const LoadingFormats &) = delete;
};

// For the life of the object, failures are kept and not printed, and warnings go unheard.
class KeepReports {
public:
    KeepReports();
    ~KeepReports();
    KeepReports(const KeepReports &) = delete;
    KeepReports &operator=(const KeepReports &) = delete;

    void clear();
    // The first report, the cause of the others.
    std::string first(const std::string &otherwise) const;

private:
    std::vector<std::string> texts_;
    std::vector<std::string> *outer_;
};

} // namespace vor::tool

#endif
