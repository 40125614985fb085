#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/native_file.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/toy_format.h"
#include "vor/vor.h"

namespace {

using namespace std::string_literals;

using vor::test::Bytes;
using vor::test::FailingMalloc;
using vor::test::Handle;
using vor::test::NativeFile;
using vor::test::read_text;
using vor::test::ReportLog;
using vor::test::TempDir;
using vor::test::Toy;
using vor::test::write_text;

// Names and payloads.
using Tags = std::vector<std::pair<std::string, std::string>>;

constexpr size_t most = 2000000; // bytes of payload that a file may bring

class TagFiles : public ::testing::Test {
protected:
    Handle create(const std::string &name = "image.vor") {
        Handle h(lfopen(dir_.file(name).c_str(), LF_WRITE, lffdev(0, 2), nullptr));
        EXPECT_EQ(lfsetsize(h.get(), 1, 100), 0);
        EXPECT_EQ(lfcheck(h.get()), 0);
        return h;
    }
    int32_t add(const Handle &h, const std::string &text) {
        write_text(text_, text);
        return lfadd_ftags(h.get(), text_.c_str());
    }
    int32_t put(const Handle &h, const std::string &name, const std::string &payload) {
        std::string record(36, '\0');
        const auto size = static_cast<uint32_t>(payload.size() + 32);
        std::memcpy(record.data(), &size, sizeof size);
        record.replace(4, name.size(), name);
        record += payload;
        return lfspecial(h.get(), LFS_ADD_TAG, record.data());
    }
    static Tags all(const Handle &h) {
        Tags tags;
        for (vor_tagslot slot = {0, nullptr}; lfspecial(h.get(), LFS_NTH_TAG, &slot) == 0;
             ++slot.index) {
            if (!slot.record) continue;
            const char *payload = slot.record->tagname + 32;
            tags.emplace_back(slot.record->tagname,
                              std::string(payload, slot.record->tagsize - 32));
        }
        return tags;
    }

    TempDir dir_;
    std::string text_ = dir_.file("tags.txt");
    ReportLog log_;
};

TEST_F(TagFiles, LinesAreReadByTheirGrammar) {
    struct Row {
        std::string text;
        Tags tags;
    };
    const Row rows[] = {
        {"", {}},
        {"\n\n\n", {}},
        // Text tags end at an empty line or the end of the file.
        {"name\nline\n", {{"name", "line\0\0\0\0"s}}},
        {"name\nline", {{"name", "line\0\0\0\0"s}}},
        {"name\nabc\n\nother\nabcd\n", {{"name", "abc\0"s}, {"other", "abcd\0\0\0\0"s}}},
        {"\n\nname\na\nb\nc\n\n\n", {{"name", "a\nb\nc\0\0\0"s}}},
        {"name\n:8:x\n", {{"name", ":8:x\0\0\0\0"s}}}, // a payload line, not a binary tag
        {"n\nab\ncde\n", {{"n", "ab\ncde\0\0"s}}},
        // One without lines is not added.
        {"name", {}},
        {"name\n", {}},
        {"name\n\nother\nx\n", {{"other", "x\0\0\0"s}}},
        // Names with colons.
        {"::name\nx\n", {{":name", "x\0\0\0"s}}},
        {"::8:name\nx\n", {{":8:name", "x\0\0\0"s}}},
        {"::\nx\n", {{":", "x\0\0\0"s}}},
        {":name\nx\n", {{":name", "x\0\0\0"s}}},
        {":\nx\n", {{":", "x\0\0\0"s}}},
        {"na:8:me\nx\n", {{"na:8:me", "x\0\0\0"s}}},
        // Binary tags.
        {":4:name\nabcd", {{"name", "abcd"}}},
        {":4:name\nabcd:8:other\n\n\n\n\n\n\n\n\n",
         {{"name", "abcd"}, {"other", "\n\n\n\n\n\n\n\n"}}},
        {":4:name\n\0\r \f"s, {{"name", "\0\r \f"s}}},
        {":4:a:b\nabcd", {{"a:b", "abcd"}}},
        {": +4:name\nabcd", {{"name", "abcd"}}},
        {":4x:name\nabcd", {{"name", "abcd"}}},
        {":004:name\nabcdother\nx\n", {{"name", "abcd"}, {"other", "x\0\0\0"s}}},
        // Without a name the line is nothing, and no payload is behind it.
        {":8:\nname\nx\n", {{"name", "x\0\0\0"s}}},
        {":8:  \nname\nx\n", {{"name", "x\0\0\0"s}}},
        // What lines are.
        {"name \t \r\nline \t\r\n", {{"name", "line\0\0\0\0"s}}},
        {"name\fa\fb\f\fother\nx", {{"name", "a\nb\0"s}, {"other", "x\0\0\0"s}}},
        {"name\na\n \t\nother\nb\n", {{"name", "a\0\0\0"s}, {"other", "b\0\0\0"s}}},
        {"na\0me\n\0a\0\n"s, {{"na me", " a\0\0"s}}},
        {" name\n a\\\nb\n", {{" name", " a\\\nb\0\0\0"s}}},
        // A second tag of a name replaces the first.
        {"name\na\n\nname\nb\n", {{"name", "b\0\0\0"s}}},
    };
    for (const Row &row : rows) {
        const Handle h = create();
        EXPECT_EQ(add(h, row.text), 0) << row.text;
        EXPECT_EQ(all(h), row.tags) << row.text;
    }
    EXPECT_TRUE(log_.empty());
}

TEST_F(TagFiles, MalformedFilesAreRefused) {
    const std::string texts[] = {
        ":0:name\nabcd",
        ":-4:name\nabcd",
        ":1:name\na",
        ":3:name\nabc",
        ":5:name\nabcde",
        ":x:name\nabcd",
        ":0x4:name\nabcd", // decimal: this is 0
        ":4294967300:name\nabcd",
        ":4:name\nabc", // the file ends within the payload
        ":4:name",
        ":4:name\n",
        ":4:" + std::string(32, 'n') + "\nabcd",
        std::string(32, 'n') + "\nx\n",
        std::string(32, 'n'), // though it has no lines
        "::" + std::string(31, 'n') + "\nx\n",
    };
    for (const std::string &text : texts) {
        const Handle h = create();
        EXPECT_EQ(add(h, "first\nx\n\n" + text), -1) << text;
        EXPECT_EQ(all(h), (Tags{{"first", "x\0\0\0"s}})) << text; // what was added stays
    }
    EXPECT_TRUE(log_.empty());
}

TEST_F(TagFiles, NameOf31CharactersIsTaken) {
    const std::string name(31, 'n'), colon = ":" + std::string(30, 'm');
    const Handle h = create();
    EXPECT_EQ(add(h, name + "\nx\n\n:" + colon + "\ny\n"), 0);
    EXPECT_EQ(all(h), (Tags{{name, "x\0\0\0"s}, {colon, "y\0\0\0"s}}));
}

TEST_F(TagFiles, LargestBinaryTagIsTaken) {
    const Handle h = create();
    const std::string payload(most, 'p');
    EXPECT_EQ(add(h, ":2000000:large\n" + payload + ":4:small\nabcd"), 0);
    EXPECT_EQ(all(h), (Tags{{"large", payload}, {"small", "abcd"}}));
}

TEST_F(TagFiles, BinaryTagBeyondTheLimitIsRefused) {
    const Handle h = create();
    EXPECT_EQ(add(h, ":2000004:large\n" + std::string(most + 4, 'p')), -1);
    EXPECT_TRUE(all(h).empty());
}

// A text of that length in lines of up to 999 characters.
std::string lines_of(size_t length) {
    std::string text(length, 't');
    for (size_t i = 999; i + 1 < length; i += 1000)
        text[i] = '\n';
    return text;
}

TEST_F(TagFiles, LargestTextTagIsTaken) {
    // With the closing zero byte the first fills the limit exactly, the second after filling up.
    for (const size_t length : {most - 1, most - 4}) {
        const Handle h = create();
        const std::string text = lines_of(length);
        EXPECT_EQ(add(h, "large\n" + text + "\n"), 0);
        const Tags tags = all(h);
        ASSERT_EQ(tags.size(), 1u);
        EXPECT_EQ(tags[0].second, text + std::string(most - length, '\0'));
    }
}

TEST_F(TagFiles, TextTagBeyondTheLimitIsRefused) {
    for (const size_t length : {most, most + 1, most + 5000}) {
        const Handle h = create();
        EXPECT_EQ(add(h, "large\n" + lines_of(length) + "\n"), -1);
        EXPECT_TRUE(all(h).empty());
    }
}

TEST_F(TagFiles, LongLineIsTakenWhole) {
    const Handle h = create();
    const std::string text(50001, 't');
    EXPECT_EQ(add(h, "name\n" + text + "\nx\n"), 0);
    EXPECT_EQ(all(h), (Tags{{"name", text + "\nx\0"s}}));
}

TEST_F(TagFiles, FileThatCannotBeReadIsRefused) {
    const Handle h = create();
    EXPECT_EQ(lfadd_ftags(h.get(), dir_.file("missing").c_str()), -1);
    EXPECT_EQ(lfadd_ftags(h.get(), dir_.path().c_str()), -1);
    EXPECT_EQ(lfadd_ftags(h.get(), nullptr), -1);
}

TEST_F(TagFiles, HandleThatReadsTakesNoTags) {
    NativeFile(2, 1, 100).put({100, 0}).write(dir_.file("image.vor"));
    const Handle h(lfopen(dir_.file("image.vor").c_str(), LF_READ, 0, nullptr));
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(add(h, "name\nx\n"), -1);
    EXPECT_EQ(add(h, "\n\n"), 0); // nothing to add
    EXPECT_TRUE(all(h).empty());
}

TEST_F(TagFiles, HandleOfAnotherFormatTakesNoTags) {
    const Toy toy = Toy::memory();
    const Handle h(lfopen(dir_.file("other.toy").c_str(), LF_WRITE, Toy::type(), nullptr));
    ASSERT_TRUE(h);
    EXPECT_EQ(add(h, "name\nx\n"), -1);
}

TEST_F(TagFiles, NoMemoryAtAnyPointIsARefusal) {
    write_text(text_, "name\n" + std::string(6000, 'x') + "\n\n:4:other\nabcd");
    long nth = 1;
    for (;; ++nth) {
        const Handle h = create();
        const FailingMalloc fail(nth);
        const int32_t result = lfadd_ftags(h.get(), text_.c_str());
        if (!fail.reached()) {
            EXPECT_EQ(result, 0);
            break;
        }
        EXPECT_EQ(result, -1) << nth;
        EXPECT_LT(all(h).size(), 2u);
    }
    EXPECT_GE(nth, 7);
}

// ---- dump ---------------------------------------------------------------------------------------

TEST_F(TagFiles, DumpIsInTheBinaryForm) {
    const Handle h = create();
    EXPECT_EQ(add(h, "text\nab\ncd\n\n::x\ny\n"), 0);
    EXPECT_EQ(put(h, "empty", ""), 0);
    EXPECT_EQ(put(h, "bytes", "\0\n\r\xFF"s), 0);
    EXPECT_EQ(lfdump_ftags(h.get(), text_.c_str()), 3); // those with a payload
    EXPECT_EQ(read_text(text_), ":8:text\nab\ncd\0\0\0:4::x\ny\0\0\0:4:bytes\n\0\n\r\xFF"s);
}

TEST_F(TagFiles, DumpIsReadBackIntoEqualRecords) {
    const Handle h = create();
    std::string bytes(1024, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i);
    EXPECT_EQ(add(h, "text\nab\ncd\n\n:name\ny\n"), 0);
    EXPECT_EQ(put(h, "bytes", bytes), 0);
    EXPECT_EQ(put(h, std::string(31, 'n'), std::string(most, '\n')), 0);
    EXPECT_EQ(lfdump_ftags(h.get(), text_.c_str()), 4);
    const Handle other = create("other.vor");
    EXPECT_EQ(lfadd_ftags(other.get(), text_.c_str()), 0);
    EXPECT_EQ(all(other), all(h));
}

TEST_F(TagFiles, DumpSkipsFreeSlots) {
    const Handle h = create();
    EXPECT_EQ(add(h, "a\nx\n\nb\nx\n\nc\nx\n"), 0);
    char name[] = "b";
    EXPECT_EQ(lfspecial(h.get(), LFS_DELETE_TAG, name), 0);
    EXPECT_EQ(lfdump_ftags(h.get(), text_.c_str()), 2);
    EXPECT_EQ(read_text(text_), ":4:a\nx\0\0\0:4:c\nx\0\0\0"s);
}

TEST_F(TagFiles, DumpOfManyTagsGoesBeyondTheFirstSlots) {
    const Handle h = create();
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(put(h, std::to_string(i), "abcd"), 0);
    EXPECT_EQ(lfdump_ftags(h.get(), text_.c_str()), 100);
}

TEST_F(TagFiles, DumpReplacesTheFile) {
    write_text(text_, "old text");
    const Handle h = create();
    EXPECT_EQ(lfdump_ftags(h.get(), text_.c_str()), 0);
    EXPECT_EQ(read_text(text_), "");
}

TEST_F(TagFiles, DumpOfAHandleWithoutTagRequestsIsEmpty) {
    Toy toy = Toy::memory();
    write_text(dir_.file("other.toy"), std::string(300, 'x'));
    const Handle h(lfopen(dir_.file("other.toy").c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    EXPECT_EQ(lfdump_ftags(h.get(), text_.c_str()), 0);
}

TEST_F(TagFiles, DumpOfTagsThatDoNotLoadIsEmpty) {
    NativeFile file(2, 1, 100);
    file.put({100, 0}).tag_list(1).tag_record(33, "bad", Bytes(16)).write(dir_.file("image.vor"));
    const Handle h(lfopen(dir_.file("image.vor").c_str(), LF_READ, 0, nullptr));
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(lfdump_ftags(h.get(), text_.c_str()), 0);
}

TEST_F(TagFiles, DumpToAFileThatCannotBeMadeFails) {
    const Handle h = create();
    EXPECT_EQ(lfdump_ftags(h.get(), dir_.path().c_str()), -1);
    EXPECT_EQ(lfdump_ftags(h.get(), dir_.file("no/such/place").c_str()), -1);
}

TEST_F(TagFiles, DumpThatDoesNotFitFails) {
    const Handle h = create();
    EXPECT_EQ(put(h, "small", "abcd"), 0);
    EXPECT_EQ(lfdump_ftags(h.get(), "/dev/full"), -1); // the close tells
    EXPECT_EQ(put(h, "large", std::string(most, 'x')), 0);
    EXPECT_EQ(lfdump_ftags(h.get(), "/dev/full"), -1);
}

} // namespace
