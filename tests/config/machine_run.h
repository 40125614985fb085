// A program of the machine started with an rc file, or without one, and with no environment but the
// one that a test gives.
#ifndef VOR_TESTS_MACHINE_RUN_H
#define VOR_TESTS_MACHINE_RUN_H

#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/byte_file.h"
#include "support/temp_dir.h"

namespace vor::test {

using Texts = std::vector<std::string>;

struct MachineRun {
    int exit_code;                             // -1 if it ended by no exit
    std::map<std::string, std::string> fields; // what the program printed, by name
    Texts reports;      // the standard error stream; a line of the log as "Error: text"
    std::string errors; // the same as it came

    // "(missing)" if there is no such field.
    std::string operator[](const std::string &name) const {
        const auto found = fields.find(name);
        return found == fields.end() ? "(missing)" : found->second;
    }
};

// How a run starts.
struct MachineStart {
    uint32_t flags = 0;
    Texts environment = {};
    std::string name = "/some/where/prog";
    std::string file = "";
    long failing = 0; // the allocation that fails, if any
};

class Machine {
public:
    // Settings that a machine can run with; the rest is defaults.
    static constexpr const char *legal = "GSTEP=0.01\nGENCODER=4096\nSENCODER=8192\n";

    // Directories with names that are easy to tell in results.
    std::string home() const { return home_.path(); }
    static std::string top() { return "/top"; }

    // With an rc file of that text.
    MachineRun with_file(const std::string &text, const MachineStart &start = {}) const {
        write_text(home_.file(".gravurrc"), text);
        return run(start);
    }
    // With settings that can run, and some more.
    MachineRun with(const std::string &more, const MachineStart &start = {}) const {
        return with_file(legal + more + "\n", start);
    }
    // With no rc file: the environment holds all settings.
    MachineRun without_file(const MachineStart &start) const {
        ::unlink(home_.file(".gravurrc").c_str());
        return run(start);
    }

private:
    MachineRun run(const MachineStart &start) const {
        Texts arguments = {VOR_SETTINGS_PROGRAM, std::to_string(start.flags), start.name,
                           start.file};
        if (start.failing > 0) arguments.push_back(std::to_string(start.failing));
        Texts environment = start.environment;
        environment.insert(environment.end(), {"QUORVENTAHOME=" + home(), "QUORVENTATOP=" + top()});
        const std::string output = outputs_.file("output");
        const std::string errors = outputs_.file("errors");
        const int status = execute(arguments, environment, output, errors);
        MachineRun result = {WIFEXITED(status) ? WEXITSTATUS(status) : -1, {}, {}, ""};
        for (const std::string &line : lines_of(read_text(output))) {
            const size_t at = line.find('=');
            if (at != std::string::npos) result.fields[line.substr(0, at)] = line.substr(at + 1);
        }
        result.errors = read_text(errors);
        for (const std::string &line : lines_of(result.errors))
            result.reports.push_back(without_prefix(line));
        return result;
    }

    static int execute(Texts &arguments, Texts &environment, const std::string &output,
                       const std::string &errors) {
        std::vector<char *> argument_pointers = pointers(arguments);
        std::vector<char *> environment_pointers = pointers(environment);
        const pid_t child = ::fork();
        if (child < 0) throw std::runtime_error("no child");
        if (child == 0) {
            if (!std::freopen(output.c_str(), "w", stdout)) ::_exit(95);
            if (!std::freopen(errors.c_str(), "w", stderr)) ::_exit(95);
            ::execve(argument_pointers[0], argument_pointers.data(), environment_pointers.data());
            ::_exit(95);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return status;
    }

    static std::vector<char *> pointers(Texts &texts) {
        std::vector<char *> result;
        for (std::string &text : texts)
            result.push_back(text.data());
        result.push_back(nullptr);
        return result;
    }

    static Texts lines_of(const std::string &text) {
        Texts lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line);
        return lines;
    }

    // "date time program.process[level]: text" becomes "level: text".
    static std::string without_prefix(const std::string &line) {
        const size_t from = line.find('[');
        const size_t to = line.find("]: ");
        const bool is_log = line.size() > 2 && line[2] == '.' && to != std::string::npos;
        if (!is_log || from > to) return line;
        return line.substr(from + 1, to - from - 1) + line.substr(to + 1);
    }

    TempDir home_;
    TempDir outputs_;
};

} // namespace vor::test

#endif
