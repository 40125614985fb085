// A locale whose decimal point is a comma, in force for as long as the object lives. It is made on
// the spot, since none need be installed.
#ifndef VOR_TESTS_COMMA_LOCALE_H
#define VOR_TESTS_COMMA_LOCALE_H

#include <clocale>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace vor::test {

class CommaLocale {
public:
    CommaLocale() : path_("LOCPATH", folder_.path().c_str()) {
        const char *const old = std::setlocale(LC_ALL, nullptr);
        saved_ = old ? old : "C";
        const std::string make = "localedef --no-archive -i de_DE -f UTF-8 '" +
                                 folder_.file("de_DE.UTF-8") + "' >/dev/null 2>&1";
        const int status = std::system(make.c_str());
        if (status != 0 || !std::setlocale(LC_ALL, "de_DE.UTF-8") ||
            *std::localeconv()->decimal_point != ',') {
            throw std::runtime_error("no locale with a decimal comma can be made");
        }
    }
    ~CommaLocale() { std::setlocale(LC_ALL, saved_.c_str()); }
    CommaLocale(const CommaLocale &) = delete;
    CommaLocale &operator=(const CommaLocale &) = delete;

private:
    TempDir folder_;
    ScopedEnv path_;
    std::string saved_;
};

} // namespace vor::test

#endif
