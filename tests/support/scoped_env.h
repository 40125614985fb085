// An environment variable set or taken away for as long as the object lives.
#ifndef VOR_TESTS_SCOPED_ENV_H
#define VOR_TESTS_SCOPED_ENV_H

#include <stdlib.h>

#include <optional>
#include <string>

namespace vor::test {

class ScopedEnv {
public:
    // A null value takes the variable away.
    ScopedEnv(std::string name, const char *value) : name_(std::move(name)) {
        if (const char *const old = ::getenv(name_.c_str())) old_ = old;
        set(value);
    }
    ~ScopedEnv() { set(old_ ? old_->c_str() : nullptr); }
    ScopedEnv(const ScopedEnv &) = delete;
    ScopedEnv &operator=(const ScopedEnv &) = delete;

private:
    void set(const char *value) {
        if (value) {
            ::setenv(name_.c_str(), value, 1);
        } else {
            ::unsetenv(name_.c_str());
        }
    }

    std::string name_;
    std::optional<std::string> old_;
};

} // namespace vor::test

#endif
