// Sections of a file: what lies within it, and what can be read of it.
#include <unistd.h>

#include "platform/kel.h"
#include "support/native_test.h"

namespace vor::test {
namespace {

class Sections : public NativeTest {
protected:
    Sections() {
        Bytes bytes(1000);
        for (size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<uint8_t>(i);
        write_bytes(name, bytes);
        h.fd = kel_open(name.c_str(), KEL_O_RDONLY, 0);
    }
    ~Sections() override { kel_close(h.fd); }

    xvor_t h = {};
};

TEST_F(Sections, LieWithinTheFileIfAllTheirElementsDo) {
    const struct {
        int64_t offset;
        uint64_t count;
        uint32_t width;
        bool inside;
    } rows[] = {
        {0, 1000, 1, true},        {0, 1001, 1, false},
        {0, 250, 4, true},         {1, 250, 4, false},
        {1000, 0, 8, true},        {1000, 1, 1, false},
        {1001, 0, 8, false},       {-1, 1, 1, false},
        {INT64_MIN, 0, 1, false},  {INT64_MAX, UINT64_MAX, 8, false},
        {0, UINT64_MAX, 8, false}, {0, UINT64_C(1) << 61, 8, false},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(row.inside, section_in_file(&h, row.offset, row.count, row.width))
            << row.offset << " " << row.count;
    }
}

TEST_F(Sections, SizeOfTheFileIsToldAndThePositionStays) {
    ASSERT_EQ(123, kel_lseek(h.fd, 123, KEL_SEEK_SET));
    EXPECT_EQ(1000, data_size(&h));
    EXPECT_EQ(123, kel_lseek(h.fd, 0, KEL_SEEK_CUR));
}

// A device that can be sought has the size that its end tells, though the system tells none.
TEST_F(Sections, SizeOfADeviceIsThatOfItsEnd) {
    xvor_t device = {};
    device.fd = kel_open("/dev/zero", KEL_O_RDONLY, 0);
    ASSERT_GE(device.fd, 0);
    EXPECT_EQ(0, data_size(&device));
    kel_close(device.fd);
}

TEST_F(Sections, OfSomethingWithoutASizeAreNeverThere) {
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    xvor_t pipe_end = {};
    pipe_end.fd = ends[0];
    EXPECT_EQ(-1, data_size(&pipe_end));
    EXPECT_FALSE(section_in_file(&pipe_end, 0, 0, 1));
    uint8_t byte = 0;
    EXPECT_FALSE(read_section(&pipe_end, 0, &byte, 1));
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(Sections, AreReadFromTheirOffset) {
    uint8_t bytes[4] = {};
    EXPECT_TRUE(read_section(&h, 500, bytes, sizeof bytes));
    EXPECT_EQ(Bytes({244, 245, 246, 247}), Bytes(bytes, bytes + 4));
    EXPECT_TRUE(read_section(&h, 996, bytes, sizeof bytes));
    EXPECT_FALSE(read_section(&h, 997, bytes, sizeof bytes));
    EXPECT_FALSE(read_section(&h, -1, bytes, sizeof bytes));
}

} // namespace
} // namespace vor::test
