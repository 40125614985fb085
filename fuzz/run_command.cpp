#include "run_command.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <sstream>
#include <streambuf>
#include <vector>

#include "argument_line.h"
#include "harness.h"
#include "report.h"

namespace vor::fuzz {
namespace {

// The modules' own harnesses read what they read.
struct NoModules {
    NoModules() { ::setenv("KEL_NO_AUTOLOAD", "1", 1); }
};
const NoModules no_modules;

// Takes all and keeps nothing.
class Nowhere : public std::streambuf {
protected:
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
    std::streamsize xsputn(const char *, std::streamsize count) override { return count; }
};

// For the life of the object, a stream goes elsewhere.
class Redirected {
public:
    Redirected(std::ostream *stream, std::streambuf *to)
        : stream_(stream), old_(stream->rdbuf(to)) {}
    ~Redirected() {
        stream_->rdbuf(old_);
        stream_->clear();
    }
    Redirected(const Redirected &) = delete;
    Redirected &operator=(const Redirected &) = delete;

private:
    std::ostream *stream_;
    std::streambuf *old_;
};

} // namespace

int run_vor(std::initializer_list<const char *> arguments, std::string *output) {
    std::vector<const char *> line{"vor"};
    line.insert(line.end(), arguments);
    Nowhere nowhere;
    std::stringbuf kept;
    int status = -1;
    try {
        const Redirected errors(&std::cerr, &nowhere);
        const Redirected results(&std::cout,
                                 output ? static_cast<std::streambuf *>(&kept) : &nowhere);
        status = tool::run_command_line(static_cast<int>(line.size()), line.data());
    } catch (const std::exception &error) {
        end_with(error.what());
    }
    require(status == tool::good || status == tool::failed || status == tool::wrong_usage,
            "the command ends with one of its statuses");
    if (output) *output = kept.str();
    return status;
}

} // namespace vor::fuzz
