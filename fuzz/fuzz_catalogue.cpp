// Any bytes as catalogues that include each other: form feeds divide them into the files "prog",
// "one" and "two", and the last bytes choose what is asked for. Whatever the result, each table
// holds as many texts as it tells, and each text has its end.
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "harness.h"
#include "libvor.h"
#include "runtime/catalogue_load.h"

namespace vor::fuzz {
namespace {

namespace fs = std::filesystem;

class Directory {
public:
    Directory() { fs::create_directories(path("")); }
    ~Directory() { fs::remove_all(name_.name()); }
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    const char *name() const { return name_.name(); }
    void store(const char *name, std::string_view content) const {
        std::FILE *const file = std::fopen(path(name).c_str(), "wb");
        require(file != nullptr, "a catalogue can be written");
        std::fwrite(content.data(), 1, content.size(), file);
        require(std::fclose(file) == 0, "a catalogue takes all bytes");
    }

private:
    std::string path(const char *name) const { return std::string(name_.name()) + "/eng/" + name; }
    ScratchFile name_{".msgs"};
};

void store(const Directory &directory, std::string_view content) {
    for (const char *name : {"prog", "one", "two"}) {
        const size_t end = content.find('\f');
        directory.store(name, content.substr(0, end));
        content = end == std::string::npos ? "" : content.substr(end + 1);
    }
}

int32_t count_images() {
    int32_t count = 0;
    for (const CatalogueImage *const latest : textbufs) {
        for (const CatalogueImage *image = latest; image; image = image->older)
            ++count;
    }
    return count;
}

void check_table(const char *const *table, int32_t size) {
    for (int32_t i = 0; i < size; ++i) {
        require(table[i] != nullptr, "a table has no hole");
        require(std::strlen(table[i]) <= CATALOGUE_FILE_LIMIT, "a text ends in its file");
    }
    require(table[size] == nullptr, "NULL ends a table");
}

void forget() {
    for (int32_t module = 0; module < CATALOGUE_MODULES; ++module) {
        std::free(mystrings[module]);
        mystrings[module] = nullptr;
        textbuf_sizes[module] = 0;
        while (CatalogueImage *const image = textbufs[module]) {
            textbufs[module] = image->older;
            std::free(image);
        }
    }
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const Directory directory;
    text_basedir = directory.name();
    store(directory, {reinterpret_cast<const char *>(data), size});
    Choices draw(data, size);
    const int32_t maxmsg = 2 + draw.below(300);
    const int32_t version = draw.below(4);
    const int32_t result = readstrings("prog", "eng", version, maxmsg);
    require(result >= -1 && result <= 1, "a load gives 1, 0 or -1");
    require(result < 0 || textbuf_sizes[0] >= maxmsg, "a table has the room asked for");
    for (int32_t module = 0; module < CATALOGUE_MODULES; ++module) {
        require((mystrings[module] != nullptr) == (textbuf_sizes[module] > 0),
                "a table and its size come together");
        if (mystrings[module]) check_table(mystrings[module], textbuf_sizes[module]);
    }
    require(count_images() <= 1001, "inclusions come to an end");
    forget();
    return 0;
}
