#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "platform/kel.h"
#include "support/failing_calls.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/native_file.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/toy_format.h"
#include "vor/driver.h"
#include "vor/vor.h"

namespace {

using vor::priv;
using vor::test::Bytes;
using vor::test::Call;
using vor::test::calls_of;
using vor::test::close_now;
using vor::test::FailingCall;
using vor::test::FailingMalloc;
using vor::test::Handle;
using vor::test::header_word;
using vor::test::in_child;
using vor::test::Lines;
using vor::test::NativeFile;
using vor::test::read_bytes;
using vor::test::ReportLog;
using vor::test::TempDir;
using vor::test::Toy;
using vor::test::Track;
using vor::test::write_bytes;

using Tags = std::vector<std::pair<std::string, Bytes>>;

// A record with its payload, as request 13 takes it.
class Record {
public:
    Record(const std::string &name, const Bytes &payload)
        : Record(static_cast<uint32_t>(payload.size() + 32), name, payload) {}
    Record(uint32_t tagsize, std::string name, const Bytes &payload)
        : block_(static_cast<vortag *>(std::calloc(1, 36 + payload.size())), std::free) {
        name.resize(32);
        block_->tagsize = tagsize;
        std::memcpy(block_->tagname, name.data(), 32);
        if (!payload.empty()) std::memcpy(block_.get() + 1, payload.data(), payload.size());
    }
    vortag *get() const { return block_.get(); }

private:
    std::unique_ptr<vortag, void (*)(void *)> block_;
};

Bytes payload_of(const vortag *record) {
    Bytes payload(record->tagsize - 32);
    if (!payload.empty()) std::memcpy(payload.data(), record + 1, payload.size());
    return payload;
}

std::string numbered(std::string name, uint32_t number) {
    name += std::to_string(number);
    return name;
}

// ---- requests ----

int32_t add(const Handle &h, const std::string &name, const Bytes &payload) {
    return lfspecial(h.get(), LFS_ADD_TAG, Record(name, payload).get());
}

int32_t drop(const Handle &h, const char *name) {
    std::string copy = name;
    return lfspecial(h.get(), LFS_DELETE_TAG, copy.data());
}

// NULL if the request fails.
const vortag *find(const Handle &h, const char *name) {
    vor_tagreq request = {name, nullptr};
    return lfspecial(h.get(), LFS_FIND_TAG, &request) == 0 ? request.record : nullptr;
}

int32_t slot(const Handle &h, int32_t index, const vortag **record) {
    vor_tagslot request = {index, nullptr};
    const int32_t result = lfspecial(h.get(), LFS_NTH_TAG, &request);
    *record = request.record;
    return result;
}

// The tags of the slots in order; a free slot is left out.
Tags all(const Handle &h) {
    Tags tags;
    const vortag *record = nullptr;
    for (int32_t i = 0; slot(h, i, &record) == 0; ++i)
        if (record) tags.emplace_back(record->tagname, payload_of(record));
    return tags;
}

int32_t slots(const Handle &h) {
    const vortag *record = nullptr;
    int32_t count = 0;
    while (slot(h, count, &record) == 0)
        ++count;
    return count;
}

int32_t slot_of(const Handle &h, const std::string &name) {
    const vortag *record = nullptr;
    for (int32_t i = 0; slot(h, i, &record) == 0; ++i)
        if (record && name == record->tagname) return i;
    return -1;
}

// ---- files ----

NativeFile image(bool swapped = false) {
    NativeFile file(2, 1, 100, swapped);
    return file.put({100, 0});
}

NativeFile image_with(const Tags &tags, bool swapped = false) {
    NativeFile file = image(swapped);
    file.tag_list(static_cast<uint32_t>(tags.size()));
    for (const auto &[name, payload] : tags)
        file.tag(name, payload);
    return file;
}

const Tags three = {{"one", {1, 0, 0, 0}}, {"two", {2, 2, 2, 2, 2, 2, 2, 2}}, {"three", {}}};

class TagList : public ::testing::Test {
protected:
    Handle open(uint32_t mode = LF_READ) {
        Handle h(lfopen(name_.c_str(), mode, 0, nullptr));
        EXPECT_TRUE(h);
        EXPECT_EQ(lfcheck(h.get()), 0);
        return h;
    }
    Handle open(const NativeFile &file, uint32_t mode = LF_READ) {
        file.write(name_);
        return open(mode);
    }
    // A handle that writes one blank track.
    Handle create(uint32_t flags = 0) {
        Handle h(lfopen(name_.c_str(), LF_WRITE | flags, lffdev(0, 2), nullptr));
        EXPECT_EQ(lfsetsize(h.get(), 1, 100), 0);
        EXPECT_EQ(lfcheck(h.get()), 0);
        Track track;
        track.put({{100, 0}});
        EXPECT_EQ(lfwrite(h.get(), track.get(), 0), 0);
        return h;
    }
    Tags tags_in_file() { return all(open()); }

    TempDir dir_;
    std::string name_ = dir_.file("image.vor");
    ReportLog log_;
};

// ---- loading ------------------------------------------------------------------------------------

TEST_F(TagList, IsReadFromTheFile) {
    for (const bool swapped : {false, true}) {
        const Handle h = open(image_with(three, swapped));
        EXPECT_EQ(all(h), three);
        EXPECT_EQ(slots(h), 16);
        const vortag *record = find(h, "two");
        ASSERT_TRUE(record);
        EXPECT_EQ(record->tagsize, 40u);
        EXPECT_EQ(payload_of(record), three[1].second);
        EXPECT_EQ(find(h, "four"), nullptr);
    }
    EXPECT_TRUE(log_.empty());
}

TEST_F(TagList, CountOfZeroGivesAnEmptyTable) {
    const Handle h = open(image_with({}));
    EXPECT_EQ(slots(h), 16);
    EXPECT_TRUE(all(h).empty());
    EXPECT_EQ(priv(h.get())->tagoff, 0);
    EXPECT_EQ(find(h, "one"), nullptr);
}

TEST_F(TagList, CountIsSigned) {
    NativeFile file = image_with(three);
    const Handle h = open(file.set(NativeFile::tagcount_at, 0x80000003));
    EXPECT_TRUE(all(h).empty());
    EXPECT_TRUE(log_.empty());
}

TEST_F(TagList, OffsetInsideTheHeaderGivesAnEmptyTable) {
    for (const uint32_t offset : {0u, 1u, 255u}) {
        NativeFile file = image_with(three);
        const Handle h = open(file.set(NativeFile::tagoff_at, offset));
        EXPECT_EQ(slots(h), 16);
        EXPECT_TRUE(all(h).empty());
        EXPECT_EQ(priv(h.get())->tagoff, 0);
    }
    EXPECT_TRUE(log_.empty());
}

TEST_F(TagList, RightBehindTheHeaderIsRead) {
    NativeFile file(2, 1, 100);
    file.tag_list(1).tag("one", {1, 2, 3, 4}).seek_table32({~0});
    EXPECT_EQ(all(open(file)).size(), 1u);
}

// Code 14.
TEST_F(TagList, SizeThatIsNoTagIsRefused) {
    for (const uint32_t size : {30u, 33u, 34u, 35u, 28u, 4u, 0u, 0x80000000u, 0xFFFFFFFCu}) {
        NativeFile file = image();
        file.tag_list(2).tag("good", {1, 2, 3, 4}).tag_record(size, "bad", Bytes(16));
        const Handle h = open(file);
        vor_tagreq request = {"good", nullptr};
        EXPECT_EQ(lfspecial(h.get(), LFS_FIND_TAG, &request), -1);
        EXPECT_EQ(h->error, uint32_t{LFE_CORRUPT});
        EXPECT_EQ(log_.take(), (Lines{"vor_loadtags: file corrupted | invalid tag size"})) << size;
    }
}

// Code 2. The largest size must not be believed either.
TEST_F(TagList, PayloadBeyondTheFileIsAShortRead) {
    for (const uint32_t size : {0x7FFFFFFCu, 0x10000000u, 52u}) {
        NativeFile file = image();
        file.tag_list(1).tag_record(size, "long", Bytes(16));
        const Handle h = open(file);
        const vortag *record = nullptr;
        EXPECT_EQ(slot(h, 0, &record), -1);
        EXPECT_EQ(h->error, uint32_t{LFE_OS});
        EXPECT_EQ(log_.take(), (Lines{"vor_loadtags: last os error"}));
    }
}

TEST_F(TagList, ListShorterThanItsCountIsAShortRead) {
    for (const uint32_t count : {4u, 0x7FFFFFFFu}) {
        NativeFile file = image_with(three);
        const Handle h = open(file.set(NativeFile::tagcount_at, count));
        const vortag *record = nullptr;
        EXPECT_EQ(slot(h, 0, &record), -1);
        EXPECT_EQ(log_.take(), (Lines{"vor_loadtags: last os error"}));
    }
}

TEST_F(TagList, OffsetBehindTheFileIsAShortRead) {
    NativeFile file = image_with(three);
    const Handle h = open(file.flag(0x20000).set(NativeFile::tagoff_hi_at, 0x7FFF));
    EXPECT_EQ(find(h, "one"), nullptr);
    EXPECT_EQ(log_.take(), (Lines{"vor_loadtags: last os error"}));
}

TEST_F(TagList, OffsetThatCannotBeReachedIsAReadFailure) {
    const Handle h = open(image_with(three));
    kel_close(h->fd);
    h->fd = -1;
    EXPECT_EQ(find(h, "one"), nullptr);
    EXPECT_EQ(log_.take(), (Lines{"vor_loadtags: last os error"}));
}

// Code 5, as for a table that cannot grow.
TEST_F(TagList, RecordWithoutANameIsRefused) {
    NativeFile file = image();
    file.tag_list(1).tag("", {1, 2, 3, 4});
    const Handle h = open(file);
    EXPECT_EQ(find(h, "one"), nullptr);
    EXPECT_EQ(h->error, uint32_t{LFE_MEMORY});
    EXPECT_EQ(log_.take(), (Lines{"vor_loadtags: out of memory"}));
}

TEST_F(TagList, LargePayloadIsRead) {
    Bytes large(4096);
    for (size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<uint8_t>(i * 7);
    const Tags tags = {{"small", {1, 2, 3, 4}}, {"large", large}, {"last", {5, 6, 7, 8}}};
    EXPECT_EQ(all(open(image_with(tags))), tags);
}

// The second record of a name takes the place of the first.
TEST_F(TagList, NameTwiceInTheFileIsOneTag) {
    const Handle h = open(image_with({{"one", {1, 1, 1, 1}}, {"two", {}}, {"one", {}}}));
    EXPECT_EQ(all(h), (Tags{{"one", {}}, {"two", {}}}));
}

TEST_F(TagList, NameWithoutAnEndIsCut) {
    const std::string name(32, 'n');
    const Handle h = open(image_with({{name, {1, 2, 3, 4}}}));
    EXPECT_TRUE(find(h, name.substr(0, 31).c_str()));
    EXPECT_FALSE(find(h, name.c_str()));
}

TEST_F(TagList, LoadLeavesTheFilePosition) {
    for (const bool good : {true, false}) {
        NativeFile file = image_with(three);
        if (!good) file.set(NativeFile::tagcount_at, 9);
        const Handle h = open(file);
        kel_lseek(h->fd, 77, KEL_SEEK_SET);
        EXPECT_EQ(find(h, "one") != nullptr, good);
        EXPECT_EQ(kel_lseek(h->fd, 0, KEL_SEEK_CUR), 77);
    }
}

TEST_F(TagList, IsLoadedOnce) {
    const Handle h = open(image_with(three));
    EXPECT_TRUE(find(h, "one"));
    write_bytes(name_, image().bytes());
    EXPECT_EQ(all(h), three);
}

TEST_F(TagList, TagsInFrontOfABadOneAreThereAfterwards) {
    NativeFile file = image();
    file.tag_list(2).tag("good", {1, 2, 3, 4}).tag_record(33, "bad", Bytes(16));
    const Handle h = open(file);
    EXPECT_EQ(find(h, "good"), nullptr); // this is the load, which fails
    EXPECT_EQ(log_.take().size(), 1u);
    EXPECT_TRUE(find(h, "good"));
    EXPECT_EQ(all(h), (Tags{{"good", {1, 2, 3, 4}}}));
    EXPECT_TRUE(log_.empty());
}

TEST_F(TagList, NoMemoryAtAnyPointOfTheLoadIsTold) {
    image_with({{"one", Bytes(2000)}, {"two", Bytes(8)}}).write(name_);
    long nth = 1;
    for (;; ++nth) {
        const Handle h = open();
        log_.take();
        const FailingMalloc fail(nth);
        const vortag *record = find(h, "two");
        if (!fail.reached()) {
            EXPECT_TRUE(record);
            break;
        }
        EXPECT_EQ(record, nullptr);
        EXPECT_EQ(log_.take(), (Lines{"vor_loadtags: out of memory"})) << nth;
    }
    EXPECT_GE(nth, 6); // table, work block, its growth, index, two records
}

// Every read, and every seek but the first, which only notes the position.
TEST_F(TagList, ReadFailureAtAnyPointOfTheLoadIsTold) {
    image_with(three).write(name_);
    for (const auto &[call, first, last] :
         std::vector<std::tuple<Call, long, long>>{{Call::read, 1, 5}, {Call::seek, 2, 3}}) {
        for (long nth = first; nth <= last; ++nth) {
            const Handle h = open();
            const long before = calls_of(call);
            vor_tagreq request = {"one", nullptr};
            {
                const FailingCall fail(call, nth);
                EXPECT_EQ(lfspecial(h.get(), LFS_FIND_TAG, &request), -1);
            }
            EXPECT_GE(calls_of(call) - before, nth);
            EXPECT_EQ(h->error, uint32_t{LFE_OS});
            EXPECT_EQ(log_.take(), (Lines{"vor_loadtags: last os error"}));
        }
    }
}

TEST_F(TagList, LoadThatHadNoTableIsTriedAgain) {
    const Handle h = open(image_with(three));
    {
        const FailingMalloc fail(1);
        EXPECT_EQ(find(h, "one"), nullptr);
    }
    EXPECT_TRUE(find(h, "one"));
}

// A table that is searched from end to end for each tag would take minutes.
TEST_F(TagList, VeryManyTagsLoadQuickly) {
    constexpr uint32_t count = 100000;
    NativeFile file = image();
    file.tag_list(count);
    Bytes records;
    for (uint32_t i = 0; i < count; ++i) {
        const Bytes record = NativeFile(2, 1, 1).tag(std::to_string(i), {}).bytes();
        records.insert(records.end(), record.begin() + 256, record.end());
    }
    file.put(records);
    const Handle h = open(file, LF_UPDATE);
    EXPECT_TRUE(find(h, "0"));
    EXPECT_TRUE(find(h, "99999"));
    EXPECT_FALSE(find(h, "100000"));
    for (uint32_t i = 0; i < count; i += 2)
        ASSERT_EQ(drop(h, std::to_string(i).c_str()), 0);
    for (uint32_t i = 0; i < count; i += 2)
        ASSERT_EQ(add(h, numbered("new", i), {}), 0);
    EXPECT_EQ(slots(h), 100000);
}

// ---- changes ------------------------------------------------------------------------------------

TEST_F(TagList, SecondTagOfANameReplacesTheFirstInItsSlot) {
    const Handle h = create();
    EXPECT_EQ(add(h, "a", {1, 2, 3, 4}), 0);
    EXPECT_EQ(add(h, "b", {1, 2, 3, 4}), 0);
    EXPECT_EQ(add(h, "c", {1, 2, 3, 4}), 0);
    EXPECT_EQ(add(h, "b", {5, 6, 7, 8}), 0);
    EXPECT_EQ(all(h), (Tags{{"a", {1, 2, 3, 4}}, {"b", {5, 6, 7, 8}}, {"c", {1, 2, 3, 4}}}));
    EXPECT_EQ(add(h, "b", Bytes(400, 9)), 0); // of another size
    EXPECT_EQ(slot_of(h, "b"), 1);
    EXPECT_EQ(payload_of(find(h, "b")), Bytes(400, 9));
    EXPECT_EQ(add(h, "b", {}), 0);
    EXPECT_EQ(slot_of(h, "b"), 1);
    EXPECT_EQ(find(h, "b")->tagsize, 32u);
}

TEST_F(TagList, RecordThatWasGivenOutCanBeAddedAgain) {
    const Handle h = create();
    EXPECT_EQ(add(h, "a", {1, 2, 3, 4}), 0);
    vortag *record = *vor::vor_findtag(h.get(), "a");
    EXPECT_EQ(lfspecial(h.get(), LFS_ADD_TAG, record), 0);
    EXPECT_EQ(all(h), (Tags{{"a", {1, 2, 3, 4}}}));
}

TEST_F(TagList, NamesAreCaseSensitive) {
    const Handle h = create();
    EXPECT_EQ(add(h, "name", {1, 1, 1, 1}), 0);
    EXPECT_EQ(add(h, "Name", {2, 2, 2, 2}), 0);
    EXPECT_EQ(payload_of(find(h, "name")), Bytes(4, 1));
    EXPECT_EQ(payload_of(find(h, "Name")), Bytes(4, 2));
    EXPECT_EQ(drop(h, "NAME"), -1);
}

TEST_F(TagList, NameOf32CharactersIsCutTo31) {
    const Handle h = create();
    const std::string name(32, 'n'), cut(31, 'n');
    EXPECT_EQ(add(h, name, {1, 2, 3, 4}), 0);
    ASSERT_TRUE(find(h, cut.c_str()));
    EXPECT_EQ(find(h, cut.c_str())->tagname[31], '\0');
    EXPECT_FALSE(find(h, name.c_str()));
    // It is the name of the same tag afterwards.
    EXPECT_EQ(add(h, name, {5, 6, 7, 8}), 0);
    EXPECT_EQ(add(h, cut, {7, 7, 7, 7}), 0);
    EXPECT_EQ(all(h), (Tags{{cut, {7, 7, 7, 7}}}));
}

TEST_F(TagList, FirstFreeSlotIsTaken) {
    const Handle h = create();
    for (const char *name : {"a", "b", "c", "d"})
        EXPECT_EQ(add(h, name, {}), 0);
    EXPECT_EQ(drop(h, "c"), 0);
    EXPECT_EQ(drop(h, "b"), 0);
    EXPECT_EQ(add(h, "e", {}), 0);
    EXPECT_EQ(slot_of(h, "e"), 1);
    EXPECT_EQ(add(h, "f", {}), 0);
    EXPECT_EQ(slot_of(h, "f"), 2);
    EXPECT_EQ(add(h, "g", {}), 0);
    EXPECT_EQ(slot_of(h, "g"), 4);
}

TEST_F(TagList, TableGrowsBySixteenSlots) {
    const Handle h = create();
    for (uint32_t i = 0; i < 100; ++i) {
        EXPECT_EQ(add(h, numbered("tag", i), {}), 0);
        EXPECT_EQ(slots(h), static_cast<int32_t>(i / 16 + 1) * 16);
        EXPECT_EQ(slot_of(h, numbered("tag", i)), static_cast<int32_t>(i));
    }
}

TEST_F(TagList, BadRecordsAreRefusedSilently) {
    const Handle h = create();
    for (const uint32_t size : {0u, 28u, 30u, 31u, 33u, 34u, 35u, 0xFFFFFFFFu}) {
        EXPECT_EQ(lfspecial(h.get(), LFS_ADD_TAG, Record(size, "bad", Bytes(16)).get()), -1);
    }
    EXPECT_EQ(lfspecial(h.get(), LFS_ADD_TAG, Record("", {1, 2, 3, 4}).get()), -1);
    EXPECT_EQ(lfspecial(h.get(), LFS_ADD_TAG, nullptr), -1);
    EXPECT_TRUE(all(h).empty());
    EXPECT_TRUE(log_.empty());
}

TEST_F(TagList, DeletedTagIsGone) {
    const Handle h = create();
    EXPECT_EQ(drop(h, "a"), -1);
    EXPECT_EQ(add(h, "a", {1, 2, 3, 4}), 0);
    EXPECT_EQ(drop(h, "a"), 0);
    EXPECT_EQ(find(h, "a"), nullptr);
    EXPECT_EQ(drop(h, "a"), -1);
    const vortag *record = nullptr;
    EXPECT_EQ(slot(h, 0, &record), 0);
    EXPECT_EQ(record, nullptr);
    EXPECT_EQ(lfspecial(h.get(), LFS_DELETE_TAG, nullptr), -1);
}

TEST_F(TagList, SlotsOutsideTheTableAreRefused) {
    const Handle h = open(image_with(three));
    const vortag *record = nullptr;
    EXPECT_EQ(slot(h, -1, &record), -1);
    EXPECT_EQ(slot(h, INT32_MIN, &record), -1);
    EXPECT_EQ(slot(h, 15, &record), 0);
    EXPECT_EQ(slot(h, 16, &record), -1);
    EXPECT_EQ(lfspecial(h.get(), LFS_NTH_TAG, nullptr), -1);
    EXPECT_EQ(lfspecial(h.get(), LFS_FIND_TAG, nullptr), -1);
    vor_tagreq request = {nullptr, nullptr};
    EXPECT_EQ(lfspecial(h.get(), LFS_FIND_TAG, &request), -1);
}

TEST_F(TagList, ReadHandleChangesNothing) {
    const Handle h = open(image_with(three));
    EXPECT_EQ(add(h, "four", {}), -1);
    EXPECT_EQ(drop(h, "one"), -1);
    EXPECT_EQ(lfspecial(h.get(), LFS_COPY_TAGS, h.get()), -1);
    EXPECT_EQ(all(h), three);
}

TEST_F(TagList, FailedAddLeavesTheOldTag) {
    const Handle h = create();
    EXPECT_EQ(add(h, "a", {1, 2, 3, 4}), 0);
    const Record larger("a", Bytes(100)), other("b", Bytes(100));
    {
        const FailingMalloc fail(1, true);
        EXPECT_EQ(lfspecial(h.get(), LFS_ADD_TAG, larger.get()), -1);
        EXPECT_EQ(lfspecial(h.get(), LFS_ADD_TAG, other.get()), -1);
    }
    EXPECT_EQ(all(h), (Tags{{"a", {1, 2, 3, 4}}}));
    EXPECT_EQ(lfspecial(h.get(), LFS_ADD_TAG, other.get()), 0);
    EXPECT_TRUE(log_.empty());
}

TEST_F(TagList, NoMemoryWhileTheTableGrowsLeavesItWhole) {
    const Handle h = create();
    Tags expected;
    for (uint32_t i = 0; i < 70; ++i) {
        const std::string name = numbered("tag", i);
        const Record record(name, {1, 2, 3, 4});
        for (long nth = 1;; ++nth) {
            const FailingMalloc fail(nth);
            const int32_t result = lfspecial(h.get(), LFS_ADD_TAG, record.get());
            EXPECT_EQ(result, fail.reached() ? -1 : 0);
            if (result == 0) break;
        }
        expected.emplace_back(name, Bytes{1, 2, 3, 4});
        ASSERT_EQ(all(h), expected);
    }
}

TEST_F(TagList, BehavesAsAMapUnderManyChanges) {
    const Handle h = create();
    std::map<std::string, Bytes> model;
    std::mt19937 random(7);
    for (int i = 0; i < 4000; ++i) {
        const std::string name = numbered("n", static_cast<uint32_t>(random() % 60));
        if (random() % 3 == 0) {
            EXPECT_EQ(drop(h, name.c_str()), model.erase(name) ? 0 : -1);
        } else {
            const Bytes payload(random() % 3 * 4, static_cast<uint8_t>(random()));
            EXPECT_EQ(add(h, name, payload), 0);
            model[name] = payload;
        }
        for (uint32_t k = 0; k < 60; ++k) {
            const std::string probe = numbered("n", k);
            const auto expected = model.find(probe);
            const vortag *record = find(h, probe.c_str());
            ASSERT_EQ(record != nullptr, expected != model.end());
            ASSERT_EQ(record ? payload_of(record) : Bytes(), record ? expected->second : Bytes());
        }
    }
    const Tags tags = all(h);
    EXPECT_EQ((std::map<std::string, Bytes>(tags.begin(), tags.end())), model);
}

// ---- copies -------------------------------------------------------------------------------------

TEST_F(TagList, CopyTakesTheTagsOfAnotherHandle) {
    const std::string other_name = dir_.file("other.vor");
    image_with(three, true).write(other_name);
    const Handle other(lfopen(other_name.c_str(), LF_READ, 0, nullptr)); // need not be checked
    const Handle h = create();
    EXPECT_EQ(add(h, "two", {9, 9, 9, 9}), 0);
    EXPECT_EQ(lfspecial(h.get(), LFS_COPY_TAGS, other.get()), 0);
    EXPECT_EQ(all(h), (Tags{three[1], three[0], three[2]}));
}

TEST_F(TagList, CopyOfAnEmptyTableChangesNothing) {
    const std::string other_name = dir_.file("other.vor");
    image().write(other_name);
    const Handle other(lfopen(other_name.c_str(), LF_READ, 0, nullptr));
    const Handle h = create();
    EXPECT_EQ(add(h, "a", {}), 0);
    EXPECT_EQ(lfspecial(h.get(), LFS_COPY_TAGS, other.get()), 0);
    EXPECT_EQ(lfspecial(h.get(), LFS_COPY_TAGS, h.get()), 0);
    EXPECT_EQ(all(h), (Tags{{"a", {}}}));
}

TEST_F(TagList, CopyFromAnotherFormatIsRefused) {
    const Toy toy = Toy::memory();
    const std::string other_name = dir_.file("other.toy");
    write_bytes(other_name, Bytes(300, 'x'));
    const Handle other(lfopen(other_name.c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(other);
    ASSERT_NE(other->fmt, 0);
    const Handle h = create();
    EXPECT_EQ(lfspecial(h.get(), LFS_COPY_TAGS, other.get()), -1);
    EXPECT_EQ(lfspecial(h.get(), LFS_COPY_TAGS, nullptr), -1);
}

TEST_F(TagList, CopyFromAListThatDoesNotLoadIsRefused) {
    const std::string other_name = dir_.file("other.vor");
    NativeFile file = image_with(three);
    file.set(NativeFile::tagcount_at, 9).write(other_name);
    const Handle other(lfopen(other_name.c_str(), LF_READ, 0, nullptr));
    const Handle h = create();
    EXPECT_EQ(lfspecial(h.get(), LFS_COPY_TAGS, other.get()), -1);
    EXPECT_TRUE(all(h).empty());
}

TEST_F(TagList, CopyStopsAtTheFirstTagWithoutMemory) {
    const std::string other_name = dir_.file("other.vor");
    image_with(three).write(other_name);
    const Handle other(lfopen(other_name.c_str(), LF_READ, 0, nullptr));
    const Handle h = create();
    EXPECT_TRUE(find(other, "one") == nullptr); // not checked: it has no requests yet
    EXPECT_EQ(vor::vor_loadtags(other.get()), 0);
    EXPECT_EQ(add(h, "a", {}), 0);
    {
        const FailingMalloc fail(2);
        EXPECT_EQ(lfspecial(h.get(), LFS_COPY_TAGS, other.get()), -1);
    }
    EXPECT_EQ(all(h), (Tags{{"a", {}}, three[0]}));
}

// ---- writing ------------------------------------------------------------------------------------

TEST_F(TagList, IsWrittenAtTheEndOfANewFile) {
    for (const uint32_t order : {uint32_t{0}, LF_SWAPPED}) {
        Handle h = create(order);
        for (const auto &[name, payload] : three)
            EXPECT_EQ(add(h, name, payload), 0);
        // The record stays in the machine's byte order.
        EXPECT_EQ(find(h, "two")->tagsize, 40u);
        EXPECT_EQ(close_now(&h), 0);
        EXPECT_EQ(tags_in_file(), three);

        // 3 records of 36 bytes and 12 of payload are the end of the file.
        const Bytes list = image_with(three, order != 0).bytes();
        const Bytes file = read_bytes(name_);
        ASSERT_GE(file.size(), 376u);
        EXPECT_TRUE(std::equal(file.end() - 120, file.end(), list.end() - 120));
    }
}

TEST_F(TagList, FileWithoutTagsHasNoList) {
    Handle h = create();
    EXPECT_EQ(add(h, "a", {}), 0);
    EXPECT_EQ(drop(h, "a"), 0);
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(header_word(name_, NativeFile::tagoff_at), 0u);
    EXPECT_EQ(header_word(name_, NativeFile::tagcount_at), 0u);
    EXPECT_TRUE(tags_in_file().empty());
}

class TagUpdate : public TagList {
protected:
    // A file of the library's own with the three tags.
    void SetUp() override {
        Handle h = create();
        for (const auto &[name, payload] : three)
            EXPECT_EQ(add(h, name, payload), 0);
        EXPECT_EQ(close_now(&h), 0);
        list_ = header_word(name_, NativeFile::tagoff_at);
        ASSERT_EQ(read_bytes(name_).size(), list_ + 120u);
    }
    size_t size() const { return read_bytes(name_).size(); }

    size_t list_ = 0;
};

TEST_F(TagUpdate, WithoutAChangeRewritesTheSameListInTheSamePlace) {
    const Bytes before = read_bytes(name_);
    Handle h = open(LF_UPDATE);
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(read_bytes(name_), before);
}

TEST_F(TagUpdate, OfTheLastTagEndsTheFileWhereTheListBegan) {
    Handle h = open(LF_UPDATE);
    for (const auto &[name, payload] : three)
        EXPECT_EQ(drop(h, name.c_str()), 0);
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(size(), list_);
    EXPECT_EQ(header_word(name_, NativeFile::tagoff_at), 0u);
    EXPECT_EQ(header_word(name_, NativeFile::tagcount_at), 0u);
    EXPECT_TRUE(tags_in_file().empty());
}

TEST_F(TagUpdate, WritesTheTagsInSlotOrder) {
    Handle h = open(LF_UPDATE);
    EXPECT_EQ(drop(h, "one"), 0);
    EXPECT_EQ(add(h, "four", Bytes(4, 4)), 0);
    EXPECT_EQ(drop(h, "two"), 0);
    EXPECT_EQ(add(h, "three", Bytes(12, 3)), 0);
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(header_word(name_, NativeFile::tagoff_at), list_);
    EXPECT_EQ(header_word(name_, NativeFile::tagcount_at), 2u);
    EXPECT_EQ(size(), list_ + 40 + 48);
    EXPECT_EQ(tags_in_file(), (Tags{{"four", Bytes(4, 4)}, {"three", Bytes(12, 3)}}));
}

TEST_F(TagUpdate, OfAFileWithoutAListAppendsIt) {
    const NativeFile file = image();
    Handle h = open(file, LF_UPDATE);
    EXPECT_EQ(add(h, "new", {1, 2, 3, 4}), 0);
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(header_word(name_, NativeFile::tagoff_at), file.end());
    EXPECT_EQ(size(), file.end() + 40);
    EXPECT_EQ(tags_in_file(), (Tags{{"new", {1, 2, 3, 4}}}));
}

TEST_F(TagUpdate, OfASwappedFileKeepsItsByteOrder) {
    Handle h = open(image_with(three, true), LF_UPDATE);
    EXPECT_EQ(add(h, "new", {1, 2, 3, 4}), 0);
    EXPECT_EQ(payload_of(find(h, "two")), three[1].second);
    EXPECT_EQ(close_now(&h), 0);
    Tags expected = three;
    expected.emplace_back("new", Bytes{1, 2, 3, 4});
    EXPECT_EQ(tags_in_file(), expected);
    const Bytes list = image_with(expected, true).bytes();
    const Bytes written = read_bytes(name_);
    EXPECT_TRUE(std::equal(list.begin() + 256, list.end(), written.begin() + 256, written.end()));
}

// Code 17.
TEST_F(TagUpdate, LeavesAListThatIsNotTheEndOfTheFile) {
    NativeFile file = image_with(three);
    const size_t behind = file.put({9, 9, 9}).end();
    Handle h = open(file, LF_UPDATE);
    EXPECT_EQ(log_.take(), (Lines{"vor_loadtags: warning | taglist was not at EOF"}));
    EXPECT_EQ(h->error, uint32_t{LFE_NONE});
    EXPECT_EQ(all(h), three);
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(header_word(name_, NativeFile::tagoff_at), behind);
    const Bytes after = read_bytes(name_);
    EXPECT_EQ(after.size(), behind + 120);
    EXPECT_TRUE(std::equal(file.bytes().begin() + 256, file.bytes().end(), after.begin() + 256));
    EXPECT_EQ(tags_in_file(), three);
}

TEST_F(TagUpdate, ReadHandleDoesNotMindWhatFollowsTheList) {
    NativeFile file = image_with(three);
    EXPECT_EQ(all(open(file.put({9, 9, 9}))), three);
    EXPECT_TRUE(log_.empty());
}

TEST_F(TagUpdate, OfTagsThatDoNotLoadLeavesTheFile) {
    NativeFile file = image();
    file.tag_list(2).tag("good", {1, 2, 3, 4}).tag_record(33, "bad", Bytes(16)).write(name_);
    Handle h(lfopen(name_.c_str(), LF_UPDATE, 0, nullptr));
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log_.take().front(), "vor_loadtags: file corrupted | invalid tag size");
    EXPECT_EQ(add(h, "new", {}), 0); // the handle's, not the file's
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(read_bytes(name_), file.bytes());
}

TEST_F(TagUpdate, WithoutACheckKeepsTheList) {
    const Bytes before = read_bytes(name_);
    Handle h(lfopen(name_.c_str(), LF_UPDATE, 0, nullptr));
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(read_bytes(name_), before);
}

// The list cannot be written whole. Its file may not grow, from here on.
TEST_F(TagUpdate, WriteFailureIsToldByTheClose) {
    const std::string result = in_child([&] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit cut = {list_ + 50, RLIM_INFINITY};
        if (::setrlimit(RLIMIT_FSIZE, &cut) != 0) return std::string("no limit");
        ReportLog log;
        Handle h = open(LF_UPDATE);
        const int32_t closed = close_now(&h);
        const Lines lines = log.take();
        return std::to_string(closed) + "; " + lines.at(0) + "; " + lines.at(1);
    });
    EXPECT_EQ(result, "-1; save tag table: last os error; vor_whdr: last os error");
}

TEST_F(TagUpdate, WriteFailureOfAnyRecordIsToldByTheClose) {
    for (const bool swapped : {false, true}) {
        const NativeFile file = image_with(three, swapped);
        for (long nth = 1; nth <= 3; ++nth) {
            Handle h = open(file, LF_UPDATE);
            const FailingCall fail(Call::write, nth);
            EXPECT_EQ(close_now(&h), -1);
            EXPECT_EQ(log_.take().front(), "save tag table: last os error");
        }
    }
}

// Nor can it be cut off.
TEST_F(TagUpdate, TruncationFailureIsToldByTheClose) {
    const Bytes before = read_bytes(name_);
    Handle h = open(LF_UPDATE);
    kel_close(h->fd);
    h->fd = kel_open(name_.c_str(), KEL_O_RDONLY, 0);
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(log_.take().front(), "save tag table: last os error");
    EXPECT_EQ(read_bytes(name_), before);
}

} // namespace
