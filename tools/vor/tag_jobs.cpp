#include "tag_jobs.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <span>
#include <string_view>

#include "file_bytes.h"
#include "interrupt.h"
#include "platform/kel.h"
#include "report.h"
#include "safe_output.h"
#include "tag_reading.h"
#include "tag_text.h"
#include "tag_update.h"
#include "track_source.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

constexpr size_t word = 4;                     // payloads are whole words
constexpr size_t largest_payload = 0x7FFFFFDC; // so that tagsize is no negative number
constexpr const char *too_large = "is too large for a tag";

struct CloseDescriptor {
    int32_t fd;
    ~CloseDescriptor() { kel_close(fd); }
};

std::vector<uint8_t> read_all(int32_t fd, const std::string &name) {
    std::vector<uint8_t> data;
    std::vector<uint8_t> block(FileBytes::window_bytes);
    for (;;) {
        stop_if_interrupted();
        const int64_t bytes = kel_read(fd, block.data(), block.size());
        if (bytes < 0) throw Failure(name, system_error_text());
        if (bytes == 0) return data;
        data.insert(data.end(), block.begin(), block.begin() + bytes);
        if (data.size() > largest_payload) throw Failure(name, too_large);
    }
}

std::vector<uint8_t> read_data(const TagOptions &options) {
    constexpr int32_t standard_input = 0;
    if (options.from_input) return read_all(standard_input, "standard input");
    const CloseDescriptor file{kel_open(options.data_file.c_str(), KEL_O_RDONLY | KEL_O_BINARY, 0)};
    if (file.fd < 0) throw Failure(options.data_file, system_error_text());
    if (size_of_file(options.data_file) > int64_t{largest_payload}) {
        throw Failure(options.data_file, too_large);
    }
    return read_all(file.fd, options.data_file);
}

std::vector<uint8_t> make_payload(const TagOptions &options) {
    if (options.text) {
        return payload_of_text(
            {reinterpret_cast<const uint8_t *>(options.text->data()), options.text->size()});
    }
    const std::string source = options.from_input ? "standard input" : options.data_file;
    std::vector<uint8_t> data = read_data(options);
    if (options.as_text) {
        if (text_of(data).size() < data.size()) throw Failure(source, "no text: holds a zero byte");
        return payload_of_text(data);
    }
    if (data.size() % word != 0) {
        if (!options.pad) {
            throw Failure(
                source, format("%zu bytes are no multiple of 4: say --pad or --text", data.size()));
        }
        data.resize((data.size() + word - 1) / word * word);
    }
    return data;
}

void add_tag(xvor_t *h, const std::string &name, std::span<const uint8_t> payload) {
    std::vector<uint32_t> record((VOR_TAGHEAD + payload.size()) / word);
    vortag head{};
    head.tagsize = static_cast<uint32_t>(payload.size() + VOR_TAGNAME);
    name.copy(head.tagname, sizeof head.tagname - 1);
    auto *bytes = reinterpret_cast<uint8_t *>(record.data());
    std::memcpy(bytes, &head, sizeof head);
    std::copy(payload.begin(), payload.end(), bytes + VOR_TAGHEAD);
    if (lfspecial(h, LFS_ADD_TAG, record.data()) != 0) throw std::bad_alloc();
}

bool has_tag(xvor_t *h, const std::string &name) {
    vor_tagreq request{name.c_str(), nullptr};
    return lfspecial(h, LFS_FIND_TAG, &request) == 0;
}

// All or none.
void remove_all(const TagOptions &options, xvor_t *h) {
    bool missing = false;
    for (const std::string &name : options.names) {
        if (has_tag(h, name)) continue;
        complain(options.file, "has no tag " + shown_name(name) + ", nothing is removed");
        missing = true;
    }
    if (missing) throw Told();
    for (std::string name : options.names)
        lfspecial(h, LFS_DELETE_TAG, name.data());
}

// Why a file of tags cannot hold this one so that it comes back as it is; empty if it can. A line
// loses blanks at its end and carriage returns.
std::string export_hindered(const vortag *tag) {
    const std::string_view name = tag->tagname;
    const bool ends_line = name.find_first_of("\n\f\r") != std::string_view::npos;
    const bool blank_end = name.ends_with(' ') || name.ends_with('\t');
    if (ends_line || blank_end) return "a name that does not fit on a line";
    if (tag->tagsize - VOR_TAGNAME > VOR_MAXTEXTTAG) {
        return format("more than %d bytes", VOR_MAXTEXTTAG);
    }
    return "";
}

void look_at_exported(const TagOptions &options, const vortag *tag) {
    const std::string about = "tag " + shown_name(tag->tagname);
    if (tag->tagsize == VOR_TAGNAME) {
        return warn(options.file, about + " has no payload and is left out");
    }
    const std::string hindered = export_hindered(tag);
    if (!hindered.empty()) {
        throw Failure(options.file, about + " cannot stand in a file of tags: " + hindered);
    }
}

void refuse_damaged_list(const std::string &name) {
    FileBytes file(name);
    const std::string fault = tag_list_fault(walk_tags(file, layout_with_tags(file), {}));
    if (!fault.empty()) throw Failure(name, fault);
}

} // namespace

int set_tag(const TagOptions &options) {
    const int sources =
        (options.text ? 1 : 0) + (options.data_file.empty() ? 0 : 1) + (options.from_input ? 1 : 0);
    if (sources != 1) throw WrongUsage("say one of TEXT, --file and --stdin");
    if (options.text && (options.pad || options.as_text)) {
        throw WrongUsage("--pad and --text are for --file and --stdin");
    }
    const std::vector<uint8_t> payload = make_payload(options);
    if (payload.size() > largest_payload) throw Failure(options.name, too_large);
    update_tags(options.file, [&](xvor_t *h) { add_tag(h, options.name, payload); });
    return good;
}

int remove_tags(const TagOptions &options) {
    update_tags(options.file, [&](xvor_t *h) { remove_all(options, h); });
    return good;
}

int import_tags(const TagOptions &options) {
    {
        const CloseDescriptor probe{
            kel_open(options.tag_file.c_str(), KEL_O_RDONLY | KEL_O_BINARY, 0)};
        if (probe.fd < 0) throw Failure(options.tag_file, system_error_text());
    }
    update_tags(options.file, [&](xvor_t *h) {
        if (lfadd_ftags(h, options.tag_file.c_str()) < 0) {
            throw Failure(options.tag_file, "is no whole file of tags, nothing is changed");
        }
    });
    return good;
}

int export_tags(const TagOptions &options) {
    refuse_damaged_list(options.file);
    const AboutFile about(options.file);
    const Handle h = open_source(options.file, LF_SEQUENTIAL);
    if (lfcheck(h.get()) < 0) about.give_up("cannot be read");
    for (vor_tagslot slot{0, nullptr}; lfspecial(h.get(), LFS_NTH_TAG, &slot) == 0; ++slot.index) {
        if (slot.record) look_at_exported(options, slot.record);
    }
    SafeOutput output(options.tag_file);
    kel_close(output.take());
    if (lfdump_ftags(h.get(), output.temporary().c_str()) < 0) {
        throw Failure(options.tag_file, system_error_text());
    }
    output.commit();
    return good;
}

} // namespace vor::tool
