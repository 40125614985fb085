#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "runtime/arrays.h"
#include "support/comma_locale.h"
#include "support/failing_malloc.h"
#include "support/log_hearer.h"

namespace {

using vor::test::FailingMalloc;
using vor::test::Texts;

class NumericArray : public vor::test::LogHearer {};

int32_t get(const char *text, int32_t **data, int32_t *size, uint32_t flags) {
    return xget_int_array_ex(text, data, size, flags);
}
int32_t get(const char *text, double **data, int32_t *size, uint32_t flags) {
    return xget_double_array_ex(text, data, size, flags);
}

// A read into a block that the call makes.
template <class T>
struct Read {
    int32_t result;
    int32_t size = 0;
    T *data = nullptr;

    explicit Read(const std::string &text, uint32_t flags = 0, int32_t wanted = 0) : size(wanted) {
        result = get(text.c_str(), &data, &size, flags);
    }
    ~Read() { std::free(data); }
    Read(const Read &) = delete;
    Read &operator=(const Read &) = delete;

    std::vector<T> values() const { return {data, data + size}; }
};

using Ints = std::vector<int32_t>;
using Doubles = std::vector<double>;

TEST_F(NumericArray, NumbersStandApartBySeparators) {
    const Texts texts = {"1,2;3 4", "[1,2;3 4]", "1\t2\t3\t4", " 1 , ; 2,,3;\t4 ; ",
                         " , [ 1 2 3 4 ] "};
    for (const std::string &text : texts) {
        const Read<int32_t> read(text);
        EXPECT_EQ(read.result, 4) << text;
        EXPECT_EQ(read.values(), (Ints{1, 2, 3, 4})) << text;
    }
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(NumericArray, TextBehindTheBracketIsIgnored) {
    EXPECT_EQ(Read<int32_t>("[1 2] 3 abc").values(), (Ints{1, 2}));
    EXPECT_EQ(Read<int32_t>("1 2]3").values(), (Ints{1, 2}));
    EXPECT_EQ(Read<int32_t>("[1 2").values(), (Ints{1, 2}));
}

TEST_F(NumericArray, EmptyTextHasNoElements) {
    for (const char *text : {"", " ,;", "[]", "[ ]", "]"}) {
        const Read<double> read(text);
        EXPECT_EQ(read.result, 0) << text;
        EXPECT_EQ(read.size, 0);
        EXPECT_NE(read.data, nullptr);
    }
}

TEST_F(NumericArray, RealNumbersAreReadAndRounded) {
    EXPECT_EQ(Read<double>("1.5 -.25 1e3 +2").values(), (Doubles{1.5, -.25, 1000, 2}));
    EXPECT_EQ(Read<int32_t>("1.4 1.5 -1.5 2.5 1e3").values(), (Ints{1, 2, -2, 3, 1000}));
    EXPECT_EQ(Read<int32_t>("1e99 -1e99 nan inf 3000000000").values(),
              (Ints{INT32_MAX, INT32_MIN, 0, INT32_MAX, INT32_MAX}));
    EXPECT_TRUE(std::isnan(Read<double>("nan").values()[0]));
}

TEST_F(NumericArray, IsReadTheSameInEveryLocale) {
    const vor::test::CommaLocale comma;
    EXPECT_EQ(Read<double>("1.5,2.25").values(), (Doubles{1.5, 2.25}));
}

TEST_F(NumericArray, RepeatCountMakesANumberStandThatManyTimes) {
    EXPECT_EQ(Read<int32_t>("1 5x3 2").values(), (Ints{1, 5, 5, 5, 2}));
    EXPECT_EQ(Read<int32_t>("1*2,3*1").values(), (Ints{1, 1, 3}));
    EXPECT_EQ(Read<double>("[1.5x2]").values(), (Doubles{1.5, 1.5}));
}

TEST_F(NumericArray, ZeroBeforeAnXIsRepeatedAndStartsNoHexadecimalNumber) {
    EXPECT_EQ(Read<int32_t>("0x3").values(), (Ints{0, 0, 0}));
    EXPECT_EQ(Read<int32_t>("-0x2,00x2").values(), (Ints{0, 0, 0, 0}));
    EXPECT_EQ(Read<int32_t>("0X3").result, -1);
}

TEST_F(NumericArray, RepeatCountBelowOneFails) {
    struct Row {
        const char *text;
        int32_t count;
    };
    const Row rows[] = {{"7 5*0", 0}, {"7 5x-2", -2}, {"7 5*", 0}, {"7 5*y", 0}};
    for (const Row &row : rows) {
        const Read<int32_t> read(row.text);
        EXPECT_EQ(read.result, -1);
        EXPECT_EQ(read.values(), (Ints{7, 5}));
        EXPECT_EQ(take_log(),
                  Texts{"[Warning]: array_add_rep: bad repeat count=" + std::to_string(row.count)});
    }
}

TEST_F(NumericArray, TextThatIsNoNumberIsAZeroAndAFailure) {
    const Read<int32_t> read("1, 2, three, four, five");
    EXPECT_EQ(read.result, -1);
    EXPECT_EQ(read.values(), (Ints{1, 2, 0}));
    EXPECT_EQ(take_log(),
              Texts{"[Warning]: array_from_string: invalid number near three, four, fi"});
    EXPECT_EQ(Read<double>("1a").values(), (Doubles{1, 0}));
    EXPECT_EQ(take_log(), Texts{"[Warning]: array_from_string: invalid number near a"});
    EXPECT_EQ(Read<int32_t>("1 x2").result, -1);
    EXPECT_EQ(take_log(), Texts{"[Warning]: array_from_string: invalid number near x2"});
}

TEST_F(NumericArray, UnitsScaleDoublesToFractionsOfOne) {
    EXPECT_EQ(Read<double>("50 +50 -50 +5", XARRAY_PERCENT).values(),
              (Doubles{50 * 0.01, 1.5, 0.5, 1.05}));
    EXPECT_EQ(Read<double>("50 +50 -50", XARRAY_PERMILLE).values(),
              (Doubles{50 * 0.001, 1050 * 0.001, 950 * 0.001}));
    for (const uint32_t other : {0U, 3U, 15U})
        EXPECT_EQ(Read<double>("50 +50 -50", other).values(), (Doubles{50, 50, -50}));
}

TEST_F(NumericArray, UnitsScaleIntegersToPerMille) {
    EXPECT_EQ(Read<int32_t>("50 +50 -50 0.05", XARRAY_PERCENT).values(), (Ints{500, 1500, 500, 1}));
    EXPECT_EQ(Read<int32_t>("50 +50 -50", XARRAY_PERMILLE).values(), (Ints{50, 1050, 950}));
    for (const uint32_t other : {0U, 3U, 15U})
        EXPECT_EQ(Read<int32_t>("50 +50 -50", other).values(), (Ints{50, 50, -50}));
}

std::string numbers(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += std::to_string(i) + " ";
    return text;
}

TEST_F(NumericArray, BlockGrowsBy256) {
    const Read<int32_t> read(numbers(300));
    EXPECT_EQ(read.result, 300);
    EXPECT_EQ(read.size, 300);
    for (int32_t i = 0; i < 300; ++i)
        ASSERT_EQ(read.data[i], i);
    // The room behind the elements is there.
    for (int32_t i = 300; i < 512; ++i)
        read.data[i] = i;
    EXPECT_EQ(Read<double>("1x1000").size, 1000);
}

TEST_F(NumericArray, GivenBlockIsUsedAndGrows) {
    int32_t size = 2;
    auto *data = static_cast<int32_t *>(std::malloc(2 * sizeof(int32_t)));
    EXPECT_EQ(xget_int_array_ex("1 2 3", &data, &size, 0), 3);
    EXPECT_EQ(size, 3);
    EXPECT_EQ(data[2], 3);
    std::free(data);
}

TEST_F(NumericArray, FixedRoomIsNeverExceeded) {
    double room[5] = {0, 0, 0, 0, 99};
    double *data = room;
    int32_t size = 4;
    EXPECT_EQ(xget_double_array_ex("1 2 3 4", &data, &size, XARRAY_FIXED), 4);
    size = 4;
    EXPECT_EQ(xget_double_array_ex("1 2 3 4 5", &data, &size, XARRAY_FIXED), -1);
    EXPECT_EQ(size, 4);
    EXPECT_EQ(data, room);
    EXPECT_EQ(room[4], 99);
    EXPECT_EQ(take_log(), Texts{"[Warning]: array_setvar: bad index=4"});
    size = 4;
    EXPECT_EQ(xget_double_array_ex("1 2x9", &data, &size, XARRAY_FIXED | XARRAY_SHRINK), -1);
    EXPECT_EQ(size, 4);
    EXPECT_EQ(room[3], 2);
    EXPECT_EQ(room[4], 99);
    EXPECT_EQ(take_log(), Texts{"[Warning]: array_add_rep: bad index=4"});
}

TEST_F(NumericArray, FixedRoomMustBeThere) {
    int32_t *data = nullptr;
    int32_t size = 4;
    EXPECT_EQ(xget_int_array_ex("1", &data, &size, XARRAY_FIXED), -1);
    EXPECT_EQ(data, nullptr);
}

TEST_F(NumericArray, GivenRoomOfNoSizeFails) {
    int32_t room[1] = {7};
    for (const int32_t none : {0, -1}) {
        int32_t *data = room;
        int32_t size = none;
        EXPECT_EQ(xget_int_array_ex("1", &data, &size, XARRAY_FIXED), -1);
        EXPECT_EQ(xget_int_array(("1"), &data, &size), -1);
        EXPECT_EQ(room[0], 7);
    }
}

TEST_F(NumericArray, ExactSizeIsKeptOrTheReadFails) {
    EXPECT_EQ(Read<int32_t>("1 2 3", XARRAY_EXACT, 3).result, 3);
    EXPECT_EQ(take_log(), Texts{});
    const Read<int32_t> few("1 2", XARRAY_EXACT, 3);
    EXPECT_EQ(few.result, -1);
    EXPECT_EQ(few.values(), (Ints{1, 2}));
    EXPECT_EQ(take_log(), Texts{"[Error]: bad size match on array: want=3 got=2 elts"});
    const Read<int32_t> many("1 2 3 4", XARRAY_EXACT, 3);
    EXPECT_EQ(many.result, -1);
    EXPECT_EQ(many.values(), (Ints{1, 2, 3}));
    EXPECT_EQ(take_log(), Texts{"[Warning]: array_setvar: bad index=3"});
    EXPECT_EQ(Read<int32_t>("1x4", XARRAY_EXACT, 3).result, -1);
    EXPECT_EQ(take_log(), Texts{"[Warning]: array_add_rep: bad index=3"});
}

TEST_F(NumericArray, ExactSizeMayAllowNoneOrOne) {
    struct Row {
        const char *text;
        uint32_t flags;
        int32_t result;
    };
    const Row rows[] = {
        {"", XARRAY_EXACT, -1},
        {"", XARRAY_EXACT | XARRAY_OR_SINGLE, -1},
        {"", XARRAY_EXACT | XARRAY_OR_EMPTY, 0},
        {"5", XARRAY_EXACT, -1},
        {"5", XARRAY_EXACT | XARRAY_OR_EMPTY, -1},
        {"5", XARRAY_EXACT | XARRAY_OR_SINGLE, 1},
        {"5 6", XARRAY_EXACT | XARRAY_OR_EMPTY | XARRAY_OR_SINGLE, -1},
        {"5 6", XARRAY_OR_EMPTY | XARRAY_OR_SINGLE, 2},
    };
    for (const Row &row : rows)
        EXPECT_EQ(Read<double>(row.text, row.flags, 3).result, row.result) << row.text << row.flags;
}

TEST_F(NumericArray, ShortFormsPickTheFlagsByTheBlock) {
    int32_t room[2] = {};
    int32_t *data = room;
    int32_t size = 2;
    EXPECT_EQ(xget_int_array("1 2 3", &data, &size), -1);
    EXPECT_EQ(data, room);
    double *made = nullptr;
    size = 0;
    EXPECT_EQ(xget_double_array("1 2.5 3", &made, &size), 3);
    EXPECT_EQ(size, 3);
    EXPECT_EQ(made[1], 2.5);
    std::free(made);
    int32_t *ints = nullptr;
    size = 0;
    EXPECT_EQ(xget_int_array("", &ints, &size), 0);
    ints[0] = ints[1] = 1; // room for two stays
    std::free(ints);
    double reals[1] = {};
    made = reals;
    size = 1;
    EXPECT_EQ(xget_double_array("4", &made, &size), 1);
    EXPECT_EQ(reals[0], 4);
}

TEST_F(NumericArray, NoMemoryFails) {
    int32_t *data = nullptr;
    int32_t size = 3;
    {
        const FailingMalloc failing(1);
        EXPECT_EQ(xget_int_array_ex("1", &data, &size, 0), -1);
    }
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 0);
    size = 1;
    {
        const FailingMalloc failing(2);
        EXPECT_EQ(xget_int_array_ex("1 2", &data, &size, 0), -1);
    }
    EXPECT_EQ(take_log(), Texts{"[Warning]: array_setvar: bad index=1"});
    EXPECT_EQ(size, 1);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data[0], 1);
    {
        const FailingMalloc failing(1);
        EXPECT_EQ(xget_int_array_ex("1x2", &data, &size, 0), -1);
    }
    EXPECT_EQ(take_log(), Texts{"[Warning]: array_add_rep: bad index=1"});
    std::free(data);
    data = nullptr;
    size = 0;
    {
        const FailingMalloc failing(2); // a block that cannot shrink stays as it is
        EXPECT_EQ(xget_int_array_ex("1 2", &data, &size, XARRAY_SHRINK), 2);
    }
    std::free(data);
}

TEST(CheckArray, ElementsOutsideTheClosedRangeFail) {
    int32_t ints[] = {1, 5, 10};
    EXPECT_EQ(xcheck_int_array(ints, 3, 0, 1, 10), 0);
    EXPECT_EQ(xcheck_int_array(ints, 3, 0, 2, 10), -1);
    EXPECT_EQ(xcheck_int_array(ints, 3, 0, 1, 9), -1);
    EXPECT_EQ(xcheck_int_array(ints, 2, 0, 1, 9), 0);
    EXPECT_EQ(xcheck_int_array(nullptr, 0, 0, 1, 9), 0);
    double reals[] = {1.5, NAN};
    EXPECT_EQ(xcheck_double_array(reals, 1, 0, 1.5, 1.5), 0);
    EXPECT_EQ(xcheck_double_array(reals, 2, 0, 1, 2), -1);
}

TEST(CheckArray, ClampMovesElementsIntoTheRange) {
    int32_t ints[] = {-5, 5, 50};
    EXPECT_EQ(xcheck_int_array(ints, 3, 1, 0, 10), 0);
    EXPECT_EQ((Ints{ints, ints + 3}), (Ints{0, 5, 10}));
    double reals[] = {NAN, -INFINITY, 0.5, INFINITY};
    EXPECT_EQ(xcheck_double_array(reals, 4, -1, 0.25, 2), 0);
    EXPECT_EQ((Doubles{reals, reals + 4}), (Doubles{0.25, 0.25, 0.5, 2}));
}

} // namespace
