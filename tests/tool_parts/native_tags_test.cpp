#include <gtest/gtest.h>

#include "native_layout.h"
#include "native_sample.h"

namespace vor::tool {
namespace {

using test::Bytes;
using test::NativeSample;
using test::VorBytes;

struct Walked {
    std::vector<TagRecord> records;
    TagWalk walk;
};

Walked walked(const test::NativeFile &bytes) {
    NativeSample sample(bytes);
    Walked result;
    result.walk = walk_tags(sample.file(), sample.layout(), [&](const TagRecord &record) {
        result.records.push_back(record);
        return true;
    });
    return result;
}

VorBytes empty_image(bool swapped = false) {
    return {VT_FW8, 0, 10, swapped};
}

TEST(TagWalk, SeesEveryRecord) {
    for (const bool swapped : test::byte_orders) {
        VorBytes bytes = empty_image(swapped);
        bytes.tag_list(3).tag("Job", {1, 2, 3, 4}).tag("Empty", {}).tag("Raw", Bytes(100000));
        const Walked result = walked(bytes);
        ASSERT_EQ(result.records.size(), 3U);
        EXPECT_EQ(result.walk.records, 3);
        EXPECT_EQ(result.walk.fault, TagFault::none);
        EXPECT_EQ(result.walk.end, static_cast<int64_t>(bytes.end()));
        const TagRecord &job = result.records[0];
        EXPECT_EQ(job.index, 0);
        EXPECT_EQ(job.offset, 256);
        EXPECT_EQ(job.tagsize, 36U);
        EXPECT_EQ(job.name, "Job");
        EXPECT_EQ(job.payload_offset, 292);
        EXPECT_EQ(job.payload_bytes, 4);
        EXPECT_EQ(result.records[1].offset, 296);
        EXPECT_EQ(result.records[1].payload_bytes, 0);
        EXPECT_EQ(result.records[2].index, 2);
        EXPECT_EQ(result.records[2].payload_bytes, 100000);
    }
}

TEST(TagWalk, EndsWhereTheVisitorHasSeenEnough) {
    VorBytes bytes = empty_image();
    bytes.tag_list(2).tag("Job", {}).tag("Other", {});
    NativeSample sample(bytes);
    const TagWalk walk =
        walk_tags(sample.file(), sample.layout(), [](const TagRecord &) { return false; });
    EXPECT_EQ(walk.records, 1);
    EXPECT_EQ(walk.fault, TagFault::none);
}

TEST(TagWalk, WithoutAListSeesNothing) {
    const Walked result = walked(empty_image());
    EXPECT_EQ(result.walk.records, 0);
    EXPECT_EQ(result.walk.fault, TagFault::none);
}

// A good record, then one that is not.
TEST(TagWalk, EndsAtTheFirstMalformedRecord) {
    const auto second = [](uint32_t tagsize, size_t payload, size_t cut = 0) {
        VorBytes bytes = empty_image();
        bytes.tag_list(9).tag("Job", {1, 2, 3, 4}).tag_record(tagsize, "Bad", Bytes(payload));
        Bytes image = bytes.bytes();
        image.resize(image.size() - cut);
        return image;
    };
    const struct {
        Bytes image;
        TagFault fault;
    } rows[] = {{second(36, 4), TagFault::head_cut}, // nine are claimed, two are there
                {second(34, 4), TagFault::size_odd},
                {second(28, 4), TagFault::size_small},
                {second(0, 4), TagFault::size_small},
                {second(0x80000000, 4), TagFault::size_small},
                {second(0xFFFFFFFC, 4), TagFault::size_small},
                {second(40, 4), TagFault::payload_cut},
                {second(0x7FFFFFFC, 4), TagFault::payload_cut},
                {second(36, 4, 1), TagFault::payload_cut},
                {second(36, 4, 5), TagFault::head_cut},
                {second(36, 4, 39), TagFault::head_cut}};
    for (const auto &row : rows) {
        NativeSample sample(row.image);
        const TagWalk walk = walk_tags(sample.file(), sample.layout(), {});
        EXPECT_EQ(walk.fault, row.fault) << tag_fault_text(row.fault);
        EXPECT_EQ(walk.fault_offset, walk.end);
        EXPECT_GE(walk.records, 1);
        EXPECT_EQ(sample.layout().find(SectionKind::tags)->bytes, walk.end - 256);
        EXPECT_STRNE(tag_fault_text(row.fault), "");
    }
}

TEST(TagWalk, GoesOnBehindANameWithoutEndOrLetters) {
    VorBytes bytes = empty_image();
    bytes.tag_list(3).tag(std::string(32, 'x'), {}).tag("", {}).tag("Job", {});
    const Walked result = walked(bytes);
    ASSERT_EQ(result.records.size(), 3U);
    EXPECT_EQ(result.records[0].name, std::string(32, 'x'));
    EXPECT_EQ(result.walk.fault, TagFault::name_open);
    EXPECT_EQ(result.walk.fault_offset, 256);
    EXPECT_EQ(result.records[1].name, "");

    VorBytes nameless = empty_image();
    nameless.tag_list(1).tag("", {});
    EXPECT_EQ(walked(nameless).walk.fault, TagFault::name_empty);
}

TEST(TagWalk, TellsTheFaultThatEndsItBeforeThoseOfNames) {
    VorBytes bytes = empty_image();
    bytes.tag_list(2).tag("", {}).tag_record(33, "Job", {});
    const TagWalk walk = walked(bytes).walk;
    EXPECT_EQ(walk.fault, TagFault::size_odd);
    EXPECT_EQ(walk.fault_offset, 292);
    EXPECT_EQ(walk.records, 1);
}

TEST(TagWalk, OfAListOutsideTheFileSeesNothing) {
    VorBytes bytes = empty_image();
    bytes.set(VorBytes::tagoff_at, 10000).set(VorBytes::tagcount_at, 0x7FFFFFFF);
    const Walked result = walked(bytes);
    EXPECT_EQ(result.walk.fault, TagFault::outside);
    EXPECT_TRUE(result.records.empty());
}

} // namespace
} // namespace vor::tool
