// A home with a rule file for conversions, and a directory for jobs, which is the current one.
#ifndef VOR_TESTS_RULE_HOME_H
#define VOR_TESTS_RULE_HOME_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "support/byte_file.h"
#include "support/temp_dir.h"
#include "util/install.h"

namespace vor::test {

// The library asks for the two directories once a process.
class RuleInstallation {
public:
    RuleInstallation() {
        ::setenv("QUORVENTAHOME", dir_.file("home").c_str(), 1);
        ::setenv("QUORVENTATOP", dir_.file("top").c_str(), 1);
    }
    std::string user_rules() const { return dir_.file("home/.par/.autoconvert"); }
    std::string default_rules() const { return dir_.file("top/lib/.autoconvert"); }

private:
    TempDir dir_;
};

inline const RuleInstallation &rule_installation() {
    static const RuleInstallation only;
    return only;
}

class RuleHome : public ::testing::Test {
protected:
    RuleHome() {
        for (const std::string &rules : {user_rules_, default_rules_}) {
            const std::filesystem::path folder = std::filesystem::path(rules).parent_path();
            std::filesystem::create_directories(folder);
            std::filesystem::remove_all(rules);
        }
        std::filesystem::current_path(jobs_.path());
    }
    ~RuleHome() override { std::filesystem::current_path(before_); }

    void set_rules(const std::string &text) const { write_text(user_rules_, text); }

    const std::string user_rules_ = rule_installation().user_rules();
    const std::string default_rules_ = rule_installation().default_rules();
    const std::filesystem::path before_ = std::filesystem::current_path();
    const TempDir jobs_;
};

} // namespace vor::test

#endif
