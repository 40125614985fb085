// Any bytes as rc files that may include each other: form feeds divide them into the files "main",
// "one" and "two", and the last byte chooses the flags. A reading takes all or nothing; the table
// then holds, sorted, what is found by its keys.
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "harness.h"
#include "libvor.h"
#include "runtime/settings_source.h"

namespace vor::fuzz {
namespace {

namespace fs = std::filesystem;

class Directory {
public:
    Directory() { fs::create_directory(name_.name()); }
    ~Directory() { fs::remove_all(name_.name()); }
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    std::string path(const char *name) const { return std::string(name_.name()) + "/" + name; }
    void store(const char *name, std::string_view content) const {
        std::FILE *const file = std::fopen(path(name).c_str(), "wb");
        require(file != nullptr, "an rc file can be written");
        std::fwrite(content.data(), 1, content.size(), file);
        require(std::fclose(file) == 0, "an rc file takes all bytes");
    }
    // Makes it the directory of all relative names.
    void use() const { ::setenv("RCDIR", name_.name(), 1); }

private:
    ScratchFile name_{".rc"};
};

void store(const Directory &directory, std::string_view content) {
    for (const char *const name : {"main", "one", "two"}) {
        const size_t end = content.find('\f');
        directory.store(name, content.substr(0, end));
        content = end == std::string_view::npos ? "" : content.substr(end + 1);
    }
}

int32_t count_entries() {
    rc_entry_t entry = {RC_ENTRY_SIZE, 0, 0, nullptr, nullptr};
    require(rc_entry(&entry, RC_ENTRY_COUNT) == 0, "entries can be counted");
    return entry.index;
}

void check_entry(const rc_entry_t &entry) {
    require(entry.flags & RCE_SET, "an entry is set");
    require(*entry.key && !std::strchr(entry.key, '='), "a key is a text without a sign");
    require(rc_strval(entry.key) == entry.value, "an entry is found by its key");
    require(!(entry.flags & RCE_LOCKED) || !(entry.flags & RCE_REPLACED),
            "no locked entry has been replaced");
}

// Walks the table; the result is the number of entries.
int32_t check_table() {
    rc_entry_t entry = {RC_ENTRY_SIZE, 0, 0, nullptr, nullptr};
    std::string last;
    while (rc_entry(&entry, RC_ENTRY_NEXT) == 0) {
        check_entry(entry);
        require(last < entry.key, "the walk is in order and delivers each key once");
        last = entry.key;
    }
    require(entry.index == count_entries(), "the walk delivers all entries");
    return entry.index;
}

void check_reading(const char *name, uint32_t flags) {
    if (readrcfile(name, flags) == 0) {
        check_table();
        return;
    }
    require(count_entries() == 0, "after a fault there is no entry");
    require(setting_lookup == setting_of_environment, "after a fault the environment is used");
}

void hear_nothing(const char *) {}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const Directory directory;
    directory.use();
    logmesg_set_hook(hear_nothing);
    Choices draw(data, size);
    const uint32_t flags = draw.byte() & 15u;
    store(directory, {reinterpret_cast<const char *>(data), draw.left()});
    check_reading("main", flags & ~uint32_t{RCF_KEEP});
    check_reading("one", flags);
    return 0;
}
