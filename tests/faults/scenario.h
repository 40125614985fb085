// A scenario is run once without a fault and then once for each call of a kind that it makes, that
// call failing: alone, or with all that follow.
#ifndef VOR_TESTS_SCENARIO_H
#define VOR_TESTS_SCENARIO_H

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "codecs/codecs.h"
#include "faults/fault_injection.h"
#include "faults/test_image.h"
#include "formats/formats.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"

namespace vor::test {

class Scenario {
public:
    virtual ~Scenario() = default;
    virtual void prepare() {}
    virtual void run() = 0;
    // `faulted`: a call has failed. Without a fault everything must have gone well.
    virtual void verify(bool faulted) = 0;

protected:
    TempDir dir;
    std::string name = dir.file("image.vor");
    Track track{TestImage::pixels}; // with storage before any call fails
};

using FaultParam = std::tuple<Fault, bool>;

inline std::string fault_name(const ::testing::TestParamInfo<FaultParam> &info) {
    static constexpr const char *names[] = {"Allocation", "Read",      "Write",     "Seek",
                                            "Truncate",   "ShortRead", "ShortWrite"};
    const auto [kind, from_then_on] = info.param;
    return names[static_cast<size_t>(kind)] + std::string(from_then_on ? "FromThenOn" : "Once");
}

class FaultTest : public ::testing::TestWithParam<FaultParam> {
protected:
    // Tables that stay for the life of the process are made here, so that they are no leak.
    FaultTest() {
        lfregisterfmt(nullptr);
        rle_cvtregister(nullptr);
    }

    void run_with_every_fault(Scenario *scenario) {
        scenario->prepare();
        scenario->run();
        scenario->verify(false);
        for (long nth = 1; run_with_fault(scenario, nth) && !HasFailure(); ++nth)
            ASSERT_LT(nth, 10000) << "the scenario does not come to an end";
    }

private:
    // Whether the scenario has made so many calls.
    bool run_with_fault(Scenario *scenario, long nth) {
        const auto [kind, from_then_on] = GetParam();
        SCOPED_TRACE("call " + std::to_string(nth));
        scenario->prepare();
        const int64_t blocks = held().blocks;
        bool reached = false;
        {
            const Injection injection(kind, nth, from_then_on);
            scenario->run();
            reached = injection.reached();
        }
        EXPECT_EQ(held().blocks, blocks) << "blocks were left behind";
        scenario->verify(reached);
        return reached;
    }

    ReportLog log_;
};

// Every scenario under every kind of fault.
#define VOR_INSTANTIATE_FAULTS(suite)                                                              \
    INSTANTIATE_TEST_SUITE_P(                                                                      \
        EveryCall, suite,                                                                          \
        ::testing::Combine(::testing::Values(Fault::allocation, Fault::read, Fault::write,         \
                                             Fault::seek, Fault::truncate, Fault::short_read,      \
                                             Fault::short_write),                                  \
                           ::testing::Bool()),                                                     \
        fault_name)

} // namespace vor::test

#endif
