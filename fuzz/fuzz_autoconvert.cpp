// The first line is the name of a job, the rest is the rule file. The command is not run. To a
// shell, the command for the name has the words and operators of the command for a plain one.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "colour/rule_conversion.h"
#include "harness.h"
#include "libvor.h"

namespace vor::fuzz {
namespace {

namespace fs = std::filesystem;

class Home {
public:
    Home() {
        fs::create_directories(path(".par"));
        ::setenv("QUORVENTAHOME", name_.name(), 1);
        ::setenv("QUORVENTATOP", name_.name(), 1);
    }
    ~Home() { fs::remove_all(name_.name()); }
    Home(const Home &) = delete;
    Home &operator=(const Home &) = delete;

    std::string path(const std::string &name) const {
        return std::string(name_.name()) + "/" + name;
    }
    // False for a name that the system does not take.
    bool store(const std::string &name, std::string_view content) const {
        std::FILE *const file = std::fopen(path(name).c_str(), "wb");
        if (!file) return false;
        std::fwrite(content.data(), 1, content.size(), file);
        return std::fclose(file) == 0;
    }

private:
    ScratchFile name_{".home"};
};

std::string command;
int runs = 0;

int keep_command(const char *text) {
    command = text;
    ++runs;
    return 0;
}

struct Converted {
    int32_t result;
    std::string name;
};

Converted convert(const std::string &name) {
    std::string buffer = name;
    buffer.resize(name.size() + 3);
    runs = 0;
    const int32_t result = convert_by_rule(buffer.data(), keep_command);
    require(runs == (result == 0 ? 1 : 0), "a command is run once, and for success");
    buffer.resize(std::strlen(buffer.data()));
    return {result, buffer};
}

// What a shell sees of a command when it looks for words and operators: a letter for each word.
std::string shape_of(std::string_view text) {
    std::string shape;
    char quote = 0;
    bool in_word = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool operates = !quote && std::strchr("|&;()<>\n", c);
        const bool blank = !quote && (c == ' ' || c == '\t');
        if (operates || blank) {
            in_word = false;
            if (operates) shape += c;
            continue;
        }
        if (!in_word) shape += 'w';
        in_word = true;
        if (c == '\\' && quote != '\'') {
            ++i;
        } else if (quote ? c == quote : (c == '\'' || c == '"')) {
            quote = quote ? '\0' : c;
        }
    }
    return quote ? shape + quote : shape;
}

struct Job {
    std::string base;
    std::string suffix;
    std::string separation;

    std::string file() const { return base + "." + suffix; }
    std::string name() const { return separation.empty() ? file() : file() + ":" + separation; }
    std::string output() const {
        std::string file = base;
        if (!separation.empty()) file.append(".").append(separation);
        return file.append(".vor");
    }
};

// A name of one component with a suffix, and with what is in the way of that left out.
Job job_of(std::string line) {
    std::erase_if(line, [](char c) { return c == 0 || c == '/' || c == '\\'; });
    const size_t separator = std::min(line.find_first_of(":@"), line.size());
    Job job;
    job.separation = line.substr(std::min(separator + 1, line.size()));
    std::replace(job.separation.begin(), job.separation.end(), '.', ':');
    const size_t dot = std::min(line.find_last_of('.', separator), separator);
    job.suffix =
        line.substr(std::min(dot + 1, separator), separator - std::min(dot + 1, separator));
    job.base.push_back('a');
    job.base.append(line, 0, dot);
    return job;
}

void check(const Home &home, Job job) {
    if (!home.store(job.file(), "")) return;
    Job plain = {home.path("a"), job.suffix, job.separation.empty() ? "" : "q"};
    job.base = home.path(job.base);
    const Converted converted = convert(job.name());
    fs::remove(job.file());
    require(converted.result == 0 || converted.result == AUTOCONVERT_NO_RULE ||
                converted.result == AUTOCONVERT_FAILED,
            "a file that is there is converted, or there is no rule for it");
    if (converted.result != 0) {
        require(converted.name == job.base, "a failure leaves the base");
        return;
    }
    require(converted.name == job.output(), "the name becomes that of the output");
    require(!command.empty() && command.size() <= 511, "a command has a limit");
    const std::string shape = shape_of(command);
    if (!home.store("a." + job.suffix, "")) return;
    require(convert(plain.name()).result == 0, "a plain name does wherever another one does");
    fs::remove(plain.file());
    require(shape_of(command) == shape, "a name changes neither words nor operators");
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const Home home;
    const std::string_view input(reinterpret_cast<const char *>(data), size);
    const size_t end = std::min(input.find('\n'), input.size());
    require(home.store(".par/.autoconvert", input.substr(std::min(end + 1, input.size()))),
            "a rule file can be written");
    check(home, job_of(std::string(input.substr(0, end))));
    return 0;
}
