// The table is the process's: what changes it runs in a child process.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "codecs/codec_functions.h"
#include "codecs/codecs.h"
#include "support/codec_handle.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/report_log.h"
#include "support/scoped_env.h"

namespace vor::test {
namespace {

int32_t some_skip(xvor_t *, int32_t) {
    return 1;
}
int32_t some_read(xvor_t *, trackbuf *) {
    return 2;
}
int32_t some_read_ns(xvor_t *, trackbuf *) {
    return 3;
}
int32_t some_write(xvor_t *, trackbuf *) {
    return 4;
}

rle_row forward_only(const char *name) {
    return {name, some_skip, some_read, some_read_ns, nullptr, nullptr, some_write, 9};
}

std::vector<std::string> codec_names(size_t count) {
    std::vector<std::string> names(count);
    for (size_t i = 0; i < count; ++i)
        names[i] = "codec" + std::to_string(i);
    return names;
}

// Runs `code`, which gives whether all went well, on a table of its own.
template <class Code>
bool well_in_child(Code code) {
    return in_child([&] { return std::string(code() ? "well" : "not well"); }) == "well";
}

TEST(CodecTable, HoldsTheBuiltInCodecsInOrder) {
    const rle_row *row = findrle_functions("fw8");
    ASSERT_NE(row, nullptr);
    const rle_row expected[] = {
        {"fw8", skip8b, read_fw8, read_fw8_ns, rev_read_fw8, rev_read_fw8_ns, write_fw8, 127},
        {"fw16", skip16b, read_fw16, read_fw16_ns, rev_read_fw16, rev_read_fw16_ns, write_fw16,
         32767},
        {"fw88", skip88b, read_fw88, read_fw88_ns, rev_read_fw88, rev_read_fw88_ns, write_fw88,
         255},
        {"bm1", skipbm1, read_bilevel, read_bilevel_ns, rev_read_bilevel, rev_read_bilevel_ns,
         write_bilevel, 8},
        {"bm8", skipbm8, read_bm8, read_bm8_ns, rev_read_bm8, rev_read_bm8_ns, write_bm8, 1},
    };
    for (const rle_row &wanted : expected) {
        EXPECT_STREQ(row->name, wanted.name);
        EXPECT_EQ(findrle_functions(wanted.name), row) << wanted.name;
        EXPECT_EQ(row->skip, wanted.skip) << wanted.name;
        EXPECT_EQ(row->read, wanted.read) << wanted.name;
        EXPECT_EQ(row->read_ns, wanted.read_ns) << wanted.name;
        EXPECT_EQ(row->rev_read, wanted.rev_read) << wanted.name;
        EXPECT_EQ(row->rev_read_ns, wanted.rev_read_ns) << wanted.name;
        EXPECT_EQ(row->write, wanted.write) << wanted.name;
        EXPECT_EQ(row->limit, wanted.limit) << wanted.name;
        ++row;
    }
}

TEST(CodecTable, FindsNamesExactly) {
    EXPECT_EQ(findrle_functions("nothing"), nullptr);
    EXPECT_EQ(findrle_functions("FW8"), nullptr);
    EXPECT_EQ(findrle_functions("fw"), nullptr);
    EXPECT_EQ(findrle_functions("fw88 "), nullptr);
    EXPECT_EQ(findrle_functions(""), nullptr);
}

TEST(CodecTable, NoNameIsThatOfNoCodec) {
    ReportLog log;
    EXPECT_EQ(findrle_functions(nullptr), nullptr);
    CodecHandle h;
    h.set_window(0, 10, 10);
    EXPECT_EQ(lfrw_functions(h.get(), nullptr), -1);
    EXPECT_EQ(log.take(), (Lines{"lfrw_functions: invalid argument | Cannot find r/w functions for "
                                 "format"}));
}

TEST(CodecTable, ACodecWithoutANameIsRefused) {
    ReportLog log;
    const rle_row row = forward_only(nullptr);
    EXPECT_EQ(rle_cvtregister(&row), -1);
    EXPECT_EQ(log.take(), (Lines{"rle_cvtregister: invalid argument | codec without a name"}));
}

TEST(CodecTable, SettingItUpAgainChangesNothing) {
    EXPECT_EQ(rle_cvtregister(nullptr), 0);
    const rle_row *row = findrle_functions("fw8");
    EXPECT_EQ(rle_cvtregister(nullptr), 0);
    EXPECT_EQ(rle_cvtregister(nullptr), 0);
    EXPECT_EQ(findrle_functions("fw8"), row);
}

TEST(CodecTable, KeepsTheOldCodecOfAName) {
    const rle_row usurper = forward_only("fw16");
    EXPECT_EQ(rle_cvtregister(&usurper), 1);
    EXPECT_EQ(findrle_functions("fw16")->read, &read_fw16);
}

TEST(CodecTable, CopiesTheRowButNotItsName) {
    EXPECT_TRUE(well_in_child([] {
        const std::string name = "mine";
        rle_row row = forward_only(name.c_str());
        if (rle_cvtregister(&row) != 0) return false;
        row.read = nullptr;
        const rle_row *found = findrle_functions("mine");
        return found && found != &row && found->read == some_read && found->name == name.c_str() &&
               rle_cvtregister(&row) == 1;
    }));
}

// The first table has room for 32 codecs beside the built-in ones.
TEST(CodecTable, GrowsWhenItIsFull) {
    EXPECT_TRUE(well_in_child([] {
        const std::vector<std::string> names = codec_names(100);
        for (size_t i = 0; i < names.size(); ++i) {
            const rle_row row = forward_only(names[i].c_str());
            if (rle_cvtregister(&row) != 0) return false;
            if (rle_cvtregister(&row) != 1) return false;
            for (size_t k = 0; k <= i; ++k) {
                const rle_row *found = findrle_functions(names[k].c_str());
                if (!found || found->name != names[k] || found->write != some_write) return false;
            }
            if (findrle_functions("bm8")->limit != 1) return false;
        }
        return findrle_functions("codec100") == nullptr;
    }));
}

TEST(CodecTable, ThirtyTwoCodecsNeedNoMemory) {
    EXPECT_TRUE(well_in_child([] {
        ReportLog log;
        rle_cvtregister(nullptr);
        const std::vector<std::string> names = codec_names(33);
        const FailingMalloc fail(1, true);
        for (size_t i = 0; i < 32; ++i) {
            const rle_row row = forward_only(names[i].c_str());
            if (rle_cvtregister(&row) != 0) return false;
        }
        const rle_row row = forward_only(names[32].c_str());
        return rle_cvtregister(&row) == -1 && fail.reached() &&
               log.take() == Lines{"rle_cvtregister: out of memory"} &&
               !findrle_functions(names[32].c_str()) && findrle_functions(names[31].c_str());
    }));
}

TEST(CodecTable, GrowsAfterMemoryHasCome) {
    EXPECT_TRUE(well_in_child([] {
        ReportLog log;
        const std::vector<std::string> names = codec_names(33);
        for (size_t i = 0; i < 32; ++i) {
            const rle_row row = forward_only(names[i].c_str());
            rle_cvtregister(&row);
        }
        const rle_row row = forward_only(names[32].c_str());
        {
            const FailingMalloc fail(1);
            if (rle_cvtregister(&row) != -1) return false;
        }
        return rle_cvtregister(&row) == 0 && findrle_functions(names[32].c_str()) &&
               findrle_functions("fw8");
    }));
}

// Whether all goes well while there is no memory for the table, and again when there is.
bool starts_only_with_memory() {
    ReportLog log;
    {
        const FailingMalloc fail(1, true);
        if (rle_cvtregister(nullptr) != -1 || findrle_functions("fw8")) return false;
    }
    const bool named_no_handle = log[0].handle == nullptr;
    const std::string line = "rle_cvtregister: out of memory";
    return named_no_handle && log.take() == Lines{line, line} && findrle_functions("fw8") &&
           log.empty();
}

// Runs in a fresh process, where nobody has set the table up.
TEST(CodecTableDeathTest, CannotBeSetUpWithoutMemory) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(starts_only_with_memory() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

// ---- the functions of a handle ----------------------------------------------------------------

class CodecChoice : public ::testing::Test {
protected:
    ReportLog log;
    CodecHandle h;
};

TEST_F(CodecChoice, GoesByMirrorAndLengths) {
    struct Row {
        uint32_t flags;
        int32_t ya, ye, ysize;
        lf_readtrack_fn expected;
    };
    const Row rows[] = {
        {0, 0, 100, 100, read_fw16_ns},
        {0, 50, 150, 100, read_fw16_ns},
        {0, 0, 100, 99, read_fw16},
        {0, 0, 150, 100, read_fw16},
        {LF_YMIRROR, 0, 100, 100, rev_read_fw16_ns},
        {LF_YMIRROR, 0, 100, 200, rev_read_fw16},
    };
    for (const Row &row : rows) {
        h->flags = row.flags;
        h.set_window(row.ya, row.ye, row.ysize);
        EXPECT_EQ(lfrw_functions(h.get(), "fw16"), 0);
        EXPECT_EQ(h->readtrack, row.expected);
        EXPECT_EQ(h->skiptrack, &skip16b);
        EXPECT_EQ(h->writetrack, &write_fw16);
    }
    EXPECT_TRUE(log.empty());
}

TEST_F(CodecChoice, AnUnknownCodecIsReportedUnderItsName) {
    EXPECT_EQ(lfrw_functions(h.get(), "fw99"), -1);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].handle, nullptr);
    EXPECT_EQ(log[0].brief(), "fw99: invalid argument | Cannot find r/w functions for format");
    EXPECT_EQ(h->readtrack, nullptr);
    EXPECT_EQ(h->skiptrack, nullptr);
    EXPECT_EQ(h->writetrack, nullptr);
    EXPECT_EQ(h->error, 0u) << "the report names no handle";
}

TEST_F(CodecChoice, ReadsForwardAfterAWarningWithoutMirroredReaders) {
    EXPECT_TRUE(well_in_child([&] {
        const rle_row row = forward_only("oneway");
        rle_cvtregister(&row);
        h->flags = LF_YMIRROR;
        h.set_window(0, 100, 50);
        if (lfrw_functions(h.get(), "oneway") != 0 || h->readtrack != some_read) return false;
        h.set_window(0, 100, 100);
        if (lfrw_functions(h.get(), "oneway") != 0 || h->readtrack != some_read_ns) return false;
        const std::string line = "oneway: warning | lfrw_functions: YMIRROR not supported";
        return log[0].handle == nullptr && log.take() == Lines{line, line} && h->error == 0;
    }));
}

TEST_F(CodecChoice, WarnsOfNothingWithoutMirror) {
    EXPECT_TRUE(well_in_child([&] {
        const rle_row row = forward_only("oneway");
        rle_cvtregister(&row);
        return lfrw_functions(h.get(), "oneway") == 0 && log.empty();
    }));
}

TEST_F(CodecChoice, ScalerSetUpTakesTheOneToOneReaderForEqualHeights) {
    EXPECT_EQ(rle_setup_scaler(h.get(), 7, 7, 0, some_read_ns, some_read), 0);
    EXPECT_EQ(h->readtrack, &some_read_ns);
    EXPECT_EQ(rle_setup_scaler(h.get(), 7, 8, 12345, some_read_ns, some_read), 0);
    EXPECT_EQ(h->readtrack, &some_read);
}

// ---- bitmap handles ---------------------------------------------------------------------------

rle_row found_row;
std::string asked_for;
int32_t hook_result;

const rle_row *find_one(const char *name) {
    asked_for = name;
    return std::string(name) == "bm1" ? &found_row : nullptr;
}
int32_t hear_one(const char *name) {
    asked_for = name;
    return hook_result;
}

class BitmapCodecs : public CodecChoice {
protected:
    BitmapCodecs() {
        asked_for.clear();
        hook_result = 0;
        found_row = forward_only("bm1");
    }
    ~BitmapCodecs() override { lfbmsetup(nullptr, nullptr); }

    const ScopedEnv no_module{"KEL_NO_AUTOLOAD", "1"};
};

TEST_F(BitmapCodecs, ComeFromTheFinder) {
    EXPECT_EQ(lfbmsetup(find_one, nullptr), 0);
    h->flags = LF_BITMAP;
    h.set_window(0, 10, 5);
    EXPECT_EQ(lfrw_functions(h.get(), "bm1"), 0);
    EXPECT_EQ(asked_for, "bm1");
    EXPECT_EQ(h->readtrack, &some_read) << "not the table's row of that name";
    EXPECT_EQ(h->skiptrack, &some_skip);
    EXPECT_EQ(lfrw_functions(h.get(), "bm8"), -1);
    EXPECT_EQ(log.take(), Lines{"bm8: invalid argument | Cannot find r/w functions for format"});
}

TEST_F(BitmapCodecs, AreNotAskedForByOtherHandles) {
    lfbmsetup(find_one, nullptr);
    EXPECT_EQ(lfrw_functions(h.get(), "bm1"), 0);
    EXPECT_EQ(asked_for, "");
    EXPECT_EQ(h->skiptrack, &skipbm1);
}

TEST_F(BitmapCodecs, AreUnknownWithoutAFinder) {
    h->flags = LF_BITMAP;
    EXPECT_EQ(lfrw_functions(h.get(), "bm1"), -1);
    EXPECT_EQ(log.take(), Lines{"bm1: invalid argument | Cannot find r/w functions for format"});
}

TEST_F(BitmapCodecs, RegistrationTellsTheHook) {
    EXPECT_TRUE(well_in_child([] {
        lfbmsetup(nullptr, hear_one);
        const rle_row row = forward_only("new");
        hook_result = 5;
        if (lfcvt_register(&row, "newbm") != 0 || asked_for != "newbm") return false;
        if (lfcvt_register(&row, "again") != 1 || asked_for != "again") return false;
        return findrle_functions("new") != nullptr;
    }));
}

TEST_F(BitmapCodecs, RegistrationWithoutABitmapNameTellsNobody) {
    const rle_row row = forward_only("fw8");
    lfbmsetup(nullptr, hear_one);
    hook_result = -3;
    EXPECT_EQ(lfcvt_register(&row, nullptr), 1);
    EXPECT_EQ(lfcvt_register(nullptr, nullptr), 0);
    EXPECT_EQ(asked_for, "");
}

TEST_F(BitmapCodecs, TheHooksResultCountsWithoutARowOrWhenNegative) {
    const rle_row row = forward_only("fw8");
    lfbmsetup(nullptr, hear_one);
    hook_result = 5;
    EXPECT_EQ(lfcvt_register(nullptr, "bm"), 5);
    hook_result = 0;
    EXPECT_EQ(lfcvt_register(nullptr, "bm"), 0);
    hook_result = -3;
    EXPECT_EQ(lfcvt_register(nullptr, "bm"), -3);
    EXPECT_EQ(lfcvt_register(&row, "bm"), -3);
}

TEST_F(BitmapCodecs, RegistrationWithoutAHookIsThatOfTheTable) {
    const rle_row row = forward_only("fw8");
    EXPECT_EQ(lfcvt_register(&row, "bm"), 1);
    EXPECT_EQ(lfcvt_register(&row, nullptr), 1);
    EXPECT_EQ(lfcvt_register(nullptr, nullptr), 0);
}

} // namespace
} // namespace vor::test
