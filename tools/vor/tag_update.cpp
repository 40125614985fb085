// The library's update cuts the file off where the tag list begins, writes the list anew and then
// the header; ended between the two, it would leave a header without its list. But a list with
// something behind it stays where it is, and the new one goes to the end of the file. So a few
// bytes are put behind the list first:
//
//   tracks, sections | old list | gap                 header -> old list
//   tracks, sections | old list | gap | new list      header -> new list, in one write
//   tracks, sections | new list | ...                 a copy; header -> copy, in one write
//   tracks, sections | new list                       the rest is cut off
//
// A copy must not touch the list that it is made of: where the old list and the gap have no room
// for the new one, that is moved on to the end of the file first.

#include "tag_update.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "file_bytes.h"
#include "header_patch.h"
#include "native_layout.h"
#include "platform/kel.h"
#include "report.h"
#include "tag_reading.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

constexpr std::array<uint8_t, 4> gap{};

// A file that is changed in its place, and is put back as it was unless it is kept.
class InPlace {
public:
    InPlace(std::string name, const NativeLayout &before);
    ~InPlace();
    InPlace(const InPlace &) = delete;
    InPlace &operator=(const InPlace &) = delete;

    void write(int64_t offset, std::span<const uint8_t> bytes);
    void copy(int64_t from, int64_t to, int64_t count);
    void cut(int64_t size);
    void keep() { kept_ = true; }

private:
    bool try_write(int64_t offset, std::span<const uint8_t> bytes) const;
    [[noreturn]] void fail() const { throw Failure(name_, system_error_text()); }

    std::string name_;
    std::array<uint8_t, VOR_HDRSIZE> header_;
    int64_t size_;
    int32_t fd_;
    bool kept_ = false;
};

InPlace::InPlace(std::string name, const NativeLayout &before)
    : name_(std::move(name)), header_(before.bytes), size_(before.file_bytes),
      fd_(kel_open(name_.c_str(), KEL_O_RDWR | KEL_O_BINARY, 0)) {
    if (fd_ < 0) fail();
}

// Neither needs room that the file has not had before.
InPlace::~InPlace() {
    if (!kept_ && (!try_write(0, header_) || kel_truncate(fd_, size_) != 0)) {
        complain(name_, "cannot be put back as it was: " + system_error_text());
    }
    kel_close(fd_);
}

bool InPlace::try_write(int64_t offset, std::span<const uint8_t> bytes) const {
    if (kel_lseek(fd_, offset, KEL_SEEK_SET) != offset) return false;
    while (!bytes.empty()) {
        const int64_t written = kel_write(fd_, bytes.data(), bytes.size());
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
    return true;
}

void InPlace::write(int64_t offset, std::span<const uint8_t> bytes) {
    if (!try_write(offset, bytes)) fail();
}

void InPlace::copy(int64_t from, int64_t to, int64_t count) {
    std::vector<uint8_t> block(FileBytes::window_bytes);
    for (int64_t done = 0; done < count;) {
        const auto size = std::min(block.size(), static_cast<size_t>(count - done));
        if (kel_lseek(fd_, from + done, KEL_SEEK_SET) < 0) fail();
        const int64_t bytes = kel_read(fd_, block.data(), size);
        if (bytes <= 0) fail();
        write(to + done, {block.data(), static_cast<size_t>(bytes)});
        done += bytes;
    }
}

void InPlace::cut(int64_t size) {
    if (kel_truncate(fd_, size) != 0) fail();
}

// ---- the library's part

// A handle that is left behind closes as one that reads: its file is not written.
struct LeaveUnwritten {
    void operator()(xvor_t *h) const {
        const KeepReports silence;
        h->flags &= ~LF_ACCMODE;
        lfclose(h);
    }
};
using UpdateHandle = std::unique_ptr<xvor_t, LeaveUnwritten>;

// Without the library's warning that the list is not the end of the file.
UpdateHandle open_update(const std::string &name) {
    const KeepReports reports;
    UpdateHandle h(lfopen(name.c_str(), LF_UPDATE | LF_SEQUENTIAL, 0, nullptr));
    if (!h || lfcheck(h.get()) < 0) throw Failure(name, reports.first("cannot be updated"));
    return h;
}

void change_tags(const std::string &name, const std::function<void(xvor_t *)> &change) {
    const AboutFile about(name);
    UpdateHandle h = open_update(name);
    change(h.get());
    if (lfclose(h.release()) < 0) about.give_up("the tags cannot be written");
}

// ---- the list's way back

NativeLayout layout_now(const std::string &name) {
    FileBytes bytes(name);
    return layout_with_tags(bytes);
}

void move_list(InPlace *file, const NativeLayout &layout, int64_t from, int64_t to, int64_t bytes) {
    HeaderPatch header(layout);
    file->copy(from, to, bytes);
    header.set_offset(SectionKind::tags, to);
    file->write(0, header.finish());
}

// Brings the list at the end of the file to the place `home`, where the old one began.
void bring_home(InPlace *file, const std::string &name, int64_t home) {
    const NativeLayout layout = layout_now(name);
    const NativeSection *list = layout.find(SectionKind::tags);
    if (!list) return;
    int64_t at = list->offset;
    if (list->bytes > at - home) {
        move_list(file, layout, at, at + list->bytes, list->bytes);
        at += list->bytes;
    }
    move_list(file, layout, at, home, list->bytes);
}

void cut_behind_list(InPlace *file, const std::string &name, int64_t home) {
    const NativeLayout layout = layout_now(name);
    const NativeSection *list = layout.find(SectionKind::tags);
    file->cut(list ? list->end() : home);
}

// The new tags are safe by now: all that can go wrong is that the file stays larger than it must.
void try_to_tidy(const std::string &name, const std::function<void()> &tidy) {
    try {
        tidy();
    } catch (const Failure &failure) {
        warn(name, std::string("has grown more than it had to: ") + failure.what());
    }
}

} // namespace

void update_tags(const std::string &name, const std::function<void(xvor_t *)> &change) {
    const NativeLayout before = layout_now(name);
    refuse_damaged_tags(name, before);
    InPlace file(name, before);
    const NativeSection *list = before.find(SectionKind::tags);
    const bool at_end = list && list->end() == before.file_bytes;
    if (at_end) file.write(before.file_bytes, gap);
    change_tags(name, change);
    file.keep();
    if (!at_end) return;
    try_to_tidy(name, [&] { bring_home(&file, name, list->offset); });
    try_to_tidy(name, [&] { cut_behind_list(&file, name, list->offset); });
}

} // namespace vor::tool
