// Words of a header that are changed, and those that follow from them.

#include "header_patch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>

namespace vor::tool {
namespace {

constexpr int64_t far = 0x123456789A;

NativeLayout layout(ByteOrder order, uint32_t version = VOR_VERSION) {
    NativeLayout layout;
    layout.order = order;
    std::fill(layout.bytes.begin(), layout.bytes.end(), uint8_t{0xAA});
    put_number(layout.bytes.data() + offsetof(vorhdr, hflags), uint32_t{HF_BYTEORDER}, order);
    put_number(layout.bytes.data() + offsetof(vorhdr, version), version, order);
    put_number(layout.bytes.data() + offsetof(vorhdr, hcrc), uint32_t{0}, order);
    layout.header = decode_header(layout.bytes, order);
    return layout;
}

uint32_t flags(const HeaderPatch &patch) {
    return patch.word(offsetof(vorhdr, hflags));
}

TEST(HeaderPatch, LeavesAllOtherBytesAlone) {
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
        const NativeLayout before = layout(order);
        HeaderPatch patch(before);
        patch.set_word(offsetof(vorhdr, stopcount), 7);
        EXPECT_TRUE(patch.set_offset(SectionKind::stops, 0x7FFFFFFF));
        const auto bytes = patch.finish();
        EXPECT_EQ(number_at<uint32_t>(bytes.data() + offsetof(vorhdr, stopcount), order), 7u);
        EXPECT_EQ(number_at<uint32_t>(bytes.data() + offsetof(vorhdr, stopoff_lo), order),
                  0x7FFFFFFFu);
        for (size_t i = 0; i < bytes.size(); ++i) {
            if (i < offsetof(vorhdr, stopoff_lo) || i >= offsetof(vorhdr, hmaxruns)) {
                EXPECT_EQ(bytes[i], before.bytes[i]) << i;
            }
        }
    }
}

// The high words hold anything as long as they do not count.
TEST(HeaderPatch, AFarOffsetMakesTheHighWordsCount) {
    HeaderPatch patch(layout(ByteOrder::little));
    EXPECT_TRUE(patch.set_offset(SectionKind::tags, far));
    EXPECT_EQ(flags(patch), HF_BYTEORDER | HF_OFF64);
    EXPECT_EQ(patch.word(offsetof(vorhdr, tagoff_lo)), static_cast<uint32_t>(far));
    EXPECT_EQ(patch.word(offsetof(vorhdr, tagoff_hi)), 0x12u);
    for (const size_t place : {offsetof(vorhdr, stopoff_hi), offsetof(vorhdr, seekoff_hi),
                               offsetof(vorhdr, ctaboff_hi), offsetof(vorhdr, cinfooff_hi)})
        EXPECT_EQ(patch.word(place), 0u);
    EXPECT_TRUE(patch.set_offset(SectionKind::tags, 512));
    EXPECT_EQ(patch.word(offsetof(vorhdr, tagoff_hi)), 0u);
}

TEST(HeaderPatch, AnOldVersionHasNoHighWords) {
    HeaderPatch patch(layout(ByteOrder::little, 1));
    EXPECT_FALSE(patch.set_offset(SectionKind::tags, far));
    EXPECT_TRUE(patch.set_offset(SectionKind::tags, 0xFFFFFFFF));
    EXPECT_EQ(patch.word(offsetof(vorhdr, tagoff_lo)), 0xFFFFFFFFu);
    EXPECT_EQ(flags(patch), HF_BYTEORDER);
}

TEST(HeaderPatch, AChecksumIsRenewedWhereOneCounts) {
    NativeLayout with = layout(ByteOrder::big);
    put_number(with.bytes.data() + offsetof(vorhdr, hcrc), header_checksum(with.bytes), with.order);
    with.header = decode_header(with.bytes, with.order);
    HeaderPatch patch(with);
    patch.set_word(offsetof(vorhdr, stopcount), 7);
    const auto bytes = patch.finish();
    const vorhdr header = decode_header(bytes, with.order);
    EXPECT_TRUE(checksum_counts(header));
    EXPECT_EQ(header.hcrc, header_checksum(bytes));
    EXPECT_NE(header.hcrc, with.header.hcrc);
}

} // namespace
} // namespace vor::tool
