// Any bytes as the file that tells which format a suffix belongs to. Its rows are what they
// promise, and a suffix is found by them alone. The last bytes choose the suffixes looked for.
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "formats/suffix_table.h"
#include "harness.h"
#include "util/numbers.h"

namespace vor::fuzz {
namespace {

namespace fs = std::filesystem;

// The home of this process, where the file lies.
class Home {
public:
    Home() {
        fs::create_directories(name_.name() + std::string("/.par"));
        ::setenv("QUORVENTAHOME", name_.name(), 1);
    }
    ~Home() { fs::remove_all(name_.name()); }
    Home(const Home &) = delete;
    Home &operator=(const Home &) = delete;

    void store(const uint8_t *data, size_t size) const {
        std::string path(name_.name());
        path.append("/.par/.formats");
        std::FILE *const file = std::fopen(path.c_str(), "wb");
        require(file != nullptr, "the file can be written");
        require(size == 0 || std::fwrite(data, 1, size, file) == size, "the file takes all bytes");
        require(std::fclose(file) == 0, "the file can be closed");
    }

private:
    ScratchFile name_{".home"};
};

bool is_field(const char *text) {
    for (; *text; ++text)
        if (static_cast<unsigned char>(*text) <= ' ' || *text == '\x7F' || *text == '#')
            return false;
    return true;
}

std::string lower(std::string_view text) {
    std::string result(text);
    for (char &c : result)
        c = to_lower(c);
    return result;
}

void check_rows(const SuffixRow *table) {
    for (; table->name; ++table) {
        require(*table->name && is_field(table->name), "a name is one field");
        require(*table->suffixes == '.' && is_field(table->suffixes), "suffixes begin with a dot");
    }
}

std::string between_colons(const std::string &text) {
    std::string result(1, ':');
    result.append(lower(text));
    result.push_back(':');
    return result;
}

// The first row that lists the suffix, found in another way.
const char *expected(const SuffixRow *table, const std::string &suffix) {
    for (; table->name; ++table) {
        if (between_colons(table->suffixes).find(between_colons(suffix)) != std::string::npos)
            return table->name;
    }
    return nullptr;
}

// A suffix of the table, or a few bytes.
std::string draw_suffix(const SuffixRow *table, Choices *draw) {
    std::string suffix = ".";
    if (table->name && draw->coin()) {
        const std::string list = table->suffixes;
        suffix = list.substr(0, list.find(':', static_cast<size_t>(draw->below(8))));
    } else {
        for (int32_t length = draw->below(4); length >= 0; --length)
            suffix += static_cast<char>(draw->byte());
    }
    return suffix.substr(0, suffix.find_first_of(std::string(":\0", 2)));
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const Home home;
    Choices draw(data, size);
    home.store(data, size);
    vor::SuffixRow *const table = vor::read_suffix_table();
    require(table != nullptr, "a file that can be read makes a table");
    check_rows(table);
    for (int i = 0; i < 4; ++i) {
        const std::string suffix = draw_suffix(table, &draw);
        if (suffix.empty()) continue;
        require(vor::format_of_suffix(table, suffix) == expected(table, suffix),
                "a suffix is found by the rows");
    }
    vor::free_suffix_table(table);
    return 0;
}
