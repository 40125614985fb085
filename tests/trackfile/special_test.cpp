// Special requests and the statistics that two of them serve.

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/log.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"
#include "util/services.h"
#include "vor/vor.h"

// The statistics go to the log file alone, and measuring the clock takes a second. The linker sends
// both calls through here; a test may look at the first and answer the second.
namespace {

struct Logged {
    int32_t level;
    std::string text;
};
std::vector<Logged> *logged = nullptr;
const int32_t *clock_answer = nullptr;

} // namespace

extern "C" {

int32_t __real_rdtsc_init(void);
int32_t __wrap_rdtsc_init(void);
int32_t __wrap_logmesg(int32_t level, const char *format, ...) VOR_PRINTF(2, 3);

int32_t __wrap_rdtsc_init(void) {
    return clock_answer ? *clock_answer : __real_rdtsc_init();
}

int32_t __wrap_logmesg(int32_t level, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int32_t result = 0;
    if (logged && format) {
        char text[1024];
        std::vsnprintf(text, sizeof text, format, args);
        logged->push_back({level, text});
    } else {
        result = vlogmesg(level, format, args);
    }
    va_end(args);
    return result;
}

} // extern "C"

namespace vor::test {
namespace {

class SpecialTest : public ::testing::Test {
protected:
    ReportLog log;
    Toy toy = Toy::memory();

    static Handle open(uint32_t mode = LF_READ) {
        return Handle(lfdopen(-1, "memory.toy", mode, Toy::type(), nullptr));
    }
    static Handle open_checked() {
        Handle h = open();
        EXPECT_EQ(lfcheck(h.get()), 0);
        return h;
    }
};

using Lfspecial = SpecialTest;
using GeometryRecord = SpecialTest;

// ---- who answers ----------------------------------------------------------------------------

struct Asked {
    int32_t result;
    int32_t request;
    void *arg;
} asked;

int32_t record_request(xvor_t *, int32_t request, void *arg) {
    asked.request = request;
    asked.arg = arg;
    return asked.result;
}

TEST_F(Lfspecial, FormatIsAskedFirstWithTheSameArguments) {
    toy.special = record_request;
    const Handle h = open_checked();
    uint32_t word = 77;
    const int32_t requests[] = {LFS_FLAGS, LFS_RECORD, LFS_LOG_STATISTICS, LFS_RESET_STATISTICS,
                                12345};
    for (const int32_t request : requests) {
        for (const int32_t result : {0, 5, -1, -3}) {
            asked = {result, -1, nullptr};
            EXPECT_EQ(lfspecial(h.get(), request, &word), result);
            EXPECT_EQ(asked.request, request);
            EXPECT_EQ(asked.arg, &word);
        }
    }
    EXPECT_EQ(word, 77u) << "the format's answer takes precedence";
}

TEST_F(Lfspecial, FormatMayLeaveARequestToTheLibrary) {
    toy.special = record_request;
    const Handle h = open_checked();
    asked = {LF_UNHANDLED, -1, nullptr};
    uint32_t word = 77;
    EXPECT_EQ(lfspecial(h.get(), LFS_FLAGS, &word), 0);
    EXPECT_EQ(word, h->flags);
    EXPECT_EQ(lfspecial(h.get(), 30, nullptr), -1);
}

TEST_F(Lfspecial, FlagsAreStored) {
    const Handle h = open(LF_READ | LF_MEASURE | LF_XMIRROR);
    uint32_t word = 0;
    EXPECT_EQ(lfspecial(h.get(), LFS_FLAGS, &word), 0);
    EXPECT_EQ(word, LF_MEASURE | LF_XMIRROR);
}

TEST_F(Lfspecial, UnknownRequestLeavesItsCodeWithoutAReport) {
    const Handle h = open();
    for (const int32_t request : {30, 2, 22, 25, -1, 1000000}) {
        h->error = 0;
        EXPECT_EQ(lfspecial(h.get(), request, nullptr), -1) << request;
        lfinfo info;
        ASSERT_EQ(lfgetinfo(h.get(), LF_OUTPUT_GEOMETRY, &info), 0);
        EXPECT_EQ(info.error, LFE_REQUEST);
    }
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(lferror(h.get(), "place", LFE_STORED, 0, nullptr), -1);
    EXPECT_EQ(log.take(), Lines{"place: request not supported"}) << "printed when asked for";
}

// ---- request 1 ------------------------------------------------------------------------------

lfrecord record_of(const Handle &h) {
    lfrecord record;
    std::memset(&record, 0xEE, sizeof record);
    EXPECT_EQ(lfspecial(h.get(), LFS_RECORD, &record), 0);
    return record;
}

TEST_F(GeometryRecord, HasTheOutputGeometryAndNothingElse) {
    const Handle h = open();
    ASSERT_EQ(lfscale(h.get(), 8, 4), 0);
    const lfrecord record = record_of(h);
    lfrecord expected;
    std::memset(&expected, 0, sizeof expected);
    expected.tracks = 8;
    expected.pitch = 0.125F;
    expected.xlength = 1.0F;
    expected.ylength = 5.0F;
    expected.subtype = 3;
    expected.pixels = 20;
    expected.flags = 0x100;
    expected.xres = 8.0F;
    expected.magic = 0x12345678;
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
}

TEST_F(GeometryRecord, FieldsLieWhereANativeHeaderHasThem) {
    const Handle h = open();
    const lfrecord record = record_of(h);
    vorhdr header;
    static_assert(sizeof record == sizeof header);
    std::memcpy(&header, &record, sizeof header);
    EXPECT_EQ(header.tracks, 10u);
    EXPECT_EQ(header.xpitch, 0.1F);
    EXPECT_EQ(header.xlength, 1.0F);
    EXPECT_EQ(header.ylength, 5.0F);
    EXPECT_EQ(header.type, 3u);
    EXPECT_EQ(header.pixels, 100u);
    EXPECT_EQ(header.hflags, HF_BYTEORDER);
    EXPECT_EQ(header.byteorder, VOR_BYTEORDER);
}

struct Parameters {
    double a, f;
    int32_t a_result, f_result;
    std::vector<int32_t> requests;
} parameters;

int32_t give_parameters(xvor_t *, int32_t request, void *arg) {
    parameters.requests.push_back(request);
    if (request == LFS_GET_PARAM_A) {
        *static_cast<double *>(arg) = parameters.a;
        return parameters.a_result;
    }
    if (request == LFS_GET_PARAM_F) {
        *static_cast<double *>(arg) = parameters.f;
        return parameters.f_result;
    }
    return LF_UNHANDLED;
}

TEST_F(GeometryRecord, TakesTwoParametersFromTheFormat) {
    toy.special = give_parameters;
    const Handle h = open_checked();
    const struct {
        Parameters given;
        float a, f;
        uint32_t flags;
    } rows[] = {
        {{2.5, 3.5, 0, 0, {}}, 2.5F, 3.5F, 0x111}, {{2.5, 3.5, 1, 7, {}}, 2.5F, 3.5F, 0x111},
        {{2.5, 3.5, 0, -2, {}}, 2.5F, 0, 0x101},   {{2.5, 3.5, -1, 0, {}}, 0, 3.5F, 0x110},
        {{0, 3.5, 0, 0, {}}, 0, 3.5F, 0x110},      {{-2.5, 0, 0, 0, {}}, -2.5F, 0, 0x101},
        {{2.5, 3.5, -2, -2, {}}, 0, 0, 0x100},
    };
    for (const auto &row : rows) {
        parameters = row.given;
        const lfrecord record = record_of(h);
        EXPECT_EQ(record.param_a, row.a);
        EXPECT_EQ(record.param_f, row.f);
        EXPECT_EQ(record.flags, row.flags);
        EXPECT_EQ(parameters.requests,
                  (std::vector<int32_t>{LFS_RECORD, LFS_GET_PARAM_A, LFS_GET_PARAM_F}));
    }
}

TEST_F(GeometryRecord, OfAFormatWithoutRequestsHasNoParameters) {
    const Handle h = open();
    ASSERT_EQ(h->special, nullptr);
    const lfrecord record = record_of(h);
    EXPECT_EQ(record.param_a, 0.0F);
    EXPECT_EQ(record.param_f, 0.0F);
    EXPECT_EQ(record.flags, 0x100u);
}

// ---- statistics -----------------------------------------------------------------------------

class Statistics : public SpecialTest {
protected:
    ~Statistics() override {
        ::logged = nullptr;
        ::clock_answer = nullptr;
    }

    std::vector<Logged> log_statistics(const Handle &h, int32_t clock) {
        std::vector<Logged> lines;
        ::logged = &lines;
        ::clock_answer = &clock;
        EXPECT_EQ(lfspecial(h.get(), LFS_LOG_STATISTICS, nullptr), 0);
        ::logged = nullptr;
        ::clock_answer = nullptr;
        return lines;
    }
    static void set_statistics(const Handle &h, uint64_t second) {
        h->iocount = 4;
        h->iotime = second / 250; // 1 ms each
        h->iomin = second / 2000;
        h->iomax = second / 500;
        h->trkcount = 10;
        h->trktime = second / 5; // 20 ms each
        h->trkmin = second / 100;
        h->trkmax = second / 20;
    }
};

TEST_F(Statistics, OfAFreshHandleAreNotLogged) {
    const Handle h = open_checked();
    EXPECT_TRUE(log_statistics(h, 0).empty());
}

TEST_F(Statistics, AreNotLoggedWithoutAClock) {
    const Handle h = open_checked();
    h->iocount = 1;
    EXPECT_TRUE(log_statistics(h, -1).empty());
}

// Ticks of about a second; the first call takes one.
uint64_t ticks_of_a_second() {
    EXPECT_EQ(rdtsc_init(), 0);
    uint64_t ticks = 1;
    while (rdtsc_us(ticks) < 1000000)
        ticks += ticks / 1000 + 1;
    return ticks;
}

bool is_near(int value, int expected) {
    return value > expected * 98 / 100 - 2 && value < expected * 102 / 100 + 2;
}

TEST_F(Statistics, AreLoggedForTheFileAloneInMicroseconds) {
    const Handle h = open_checked();
    set_statistics(h, ticks_of_a_second());
    const std::vector<Logged> lines = log_statistics(h, 0);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, 516);
    EXPECT_EQ(lines[1].level, 516);
    int count = 0, average = 0, least = 0, most = 0;
    ASSERT_EQ(std::sscanf(lines[0].text.c_str(),
                          "memory.toy: read-count=%d, avg=%dus (min=%d, max=%dus)", &count,
                          &average, &least, &most),
              4)
        << lines[0].text;
    EXPECT_EQ(count, 4);
    EXPECT_TRUE(is_near(average, 1000)) << average;
    EXPECT_TRUE(is_near(least, 500)) << least;
    EXPECT_TRUE(is_near(most, 2000)) << most;
    ASSERT_EQ(std::sscanf(lines[1].text.c_str(), "tracks=%d, avg=%dus (min=%d, max=%dus)", &count,
                          &average, &least, &most),
              4)
        << lines[1].text;
    EXPECT_EQ(count, 10);
    EXPECT_TRUE(is_near(average, 20000)) << average;
    EXPECT_TRUE(is_near(least, 10000)) << least;
    EXPECT_TRUE(is_near(most, 50000)) << most;
}

TEST_F(Statistics, NameTheRoad) {
    for (const uint32_t access : {LF_READ, LF_WRITE, LF_UPDATE}) {
        const Handle h = open(access);
        h->iocount = 1;
        const std::vector<Logged> lines = log_statistics(h, 0);
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_NE(lines[0].text.find(access == LF_READ ? ": read-count=1," : ": write-count=1,"),
                  std::string::npos);
    }
}

TEST_F(Statistics, WithoutATrackAreNoDivisionByZero) {
    const Handle h = open_checked();
    h->iocount = 1;
    const std::vector<Logged> lines = log_statistics(h, 0);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1].text.substr(0, 19), "tracks=0, avg=0us (");
}

TEST_F(Statistics, AreStillThereAfterTheyWereLogged) {
    const Handle h = open_checked();
    set_statistics(h, 1000000);
    ASSERT_EQ(log_statistics(h, 0).size(), 2u);
    EXPECT_EQ(h->iocount, 4);
    EXPECT_EQ(h->iotime, 4000u);
    EXPECT_EQ(h->trkcount, 10u);
    EXPECT_EQ(log_statistics(h, 0).size(), 2u);
}

TEST_F(Statistics, AreClearedByARequestWhoseResultIsOne) {
    const Handle h = open_checked();
    set_statistics(h, 1000000);
    EXPECT_EQ(lfspecial(h.get(), LFS_RESET_STATISTICS, nullptr), 1);
    EXPECT_EQ(h->iocount, 0);
    EXPECT_EQ(h->iotime, 0u);
    EXPECT_EQ(h->iomin, UINT64_MAX);
    EXPECT_EQ(h->iomax, 0u);
    EXPECT_EQ(h->trkcount, 0u);
    EXPECT_EQ(h->trktime, 0u);
    EXPECT_EQ(h->trkmin, UINT64_MAX);
    EXPECT_EQ(h->trkmax, 0u);
    EXPECT_TRUE(log_statistics(h, 0).empty());
}

} // namespace
} // namespace vor::test
