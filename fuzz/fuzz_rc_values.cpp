// Any text as the value of a key, with every accessor. What an accessor gives is what the parser of
// its type makes of the text, or the default where the text fails the test; limits hold, and no
// duration is negative but the one that tells of a fault.
#include <cmath>
#include <cstring>
#include <string>

#include "harness.h"
#include "libvor.h"

namespace vor::fuzz {
namespace {

// Whether two results are the same, where no number is the same as itself too.
bool same(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

void check_integers(const char *text) {
    const bool set = rc_testint(text) == 1;
    require(rc_integer("KEY", 77) == (set ? rc_parseinteger(text) : 77), "an integer");
    require(rc_nthinteger("KEY", 0, 77) == rc_integer("KEY", 77), "an integer by index 0");
    require(rc_nthinteger("KEY", 1, 77) == 77, "an index that is not set");
    const int32_t limited = rc_intval("KEY", 5, -10, 10);
    require(limited >= -10 && limited <= 10, "an integer within limits");
    require(rc_nthintval("KEY", 0, 5, -10, 10) == limited, "the same by index 0");
    require(rc_boolean("KEY", -1) >= 0, "a switch that is set is not negative");
    require(rc_nthboolean("KEY", 0, -1) == rc_parsebool(text), "a switch by index 0");
}

void check_reals(const char *text) {
    const bool set = rc_testdouble(text) == 1;
    require(same(rc_double("KEY", 77), set ? rc_parsedouble(text) : 77), "a real number");
    require(same(rc_nthdouble("KEY", 0, 77), rc_double("KEY", 77)), "a real number by index 0");
    const double limited = rc_value("KEY", 5, -10, 10);
    require(limited >= -10 && limited <= 10, "a real number within limits");
    require(rc_nthvalue("KEY", 0, 5, -10, 10) == limited, "the same by index 0");
    require(set || rc_length("KEY", 77) == 77, "a length that is not set");
}

void check_proportions(const char *text) {
    constexpr int32_t limit = 1000000000;
    const bool set = rc_testdouble(text) == 1;
    const int32_t ppt = rc_ppt("KEY", 77);
    const int32_t ppm = rc_ppm("KEY", 77);
    require(ppt == (set ? rc_parseppt(text) : 77), "thousandths");
    require(ppm == (set ? rc_parseppm(text) : 77), "millionths");
    require(std::abs(ppt) <= limit && std::abs(ppm) <= limit, "proportions have limits");
    require(rc_nthppt("KEY", 0, 77) == ppt, "thousandths by index 0");
    require(rc_nthppm("KEY", 0, 77) == ppm, "millionths by index 0");
}

void check_durations(const char *text) {
    const int32_t parsed = rc_parsems(text);
    require(parsed >= -1 && parsed <= 2000000000, "a duration has limits");
    const bool set = *text >= '0' && *text <= '9';
    require(rc_ms("KEY", 77) == (set ? parsed : 77), "a duration");
    require(rc_nthms("KEY", 0, 77) == rc_ms("KEY", 77), "a duration by index 0");
}

void hear_nothing(const char *) {}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile no_file(".rc");
    logmesg_set_hook(hear_nothing);
    readrcfile(no_file.name(), RCF_WARN);
    std::string text(reinterpret_cast<const char *>(data), size);
    text.resize(std::strlen(text.c_str()));
    ::setenv("KEY", text.c_str(), 1);
    require(rc_strval("KEY") == text, "a text");
    check_integers(text.c_str());
    check_reals(text.c_str());
    check_proportions(text.c_str());
    check_durations(text.c_str());
    return 0;
}
