// Any bytes as a list of numbers, as a text and as a file, read as integers and as doubles into a
// room of a few elements and into a block that grows.
#include <cstdlib>
#include <filesystem>
#include <string>

#include "harness.h"
#include "runtime/arrays.h"
#include "runtime/log.h"

namespace vor::fuzz {
namespace {

constexpr int32_t room = 7;

int32_t get(const char *text, int32_t **data, int32_t *size, uint32_t flags) {
    return xget_int_array_ex(text, data, size, flags);
}
int32_t get(const char *text, double **data, int32_t *size, uint32_t flags) {
    return xget_double_array_ex(text, data, size, flags);
}

template <class T>
void hold_list(const char *text, uint32_t flags) {
    T *data = nullptr;
    int32_t size = 0;
    if (flags & (XARRAY_FIXED | XARRAY_EXACT)) {
        data = static_cast<T *>(std::malloc(room * sizeof(T)));
        size = room;
    }
    const int32_t result = get(text, &data, &size, flags);
    require(result == -1 || result == size, "the result is the number of elements");
    require(size >= 0 && (data || size == 0), "elements are in a block");
    if (flags & (XARRAY_FIXED | XARRAY_EXACT)) require(size <= room, "the room is kept");
    T sum = 0;
    for (int32_t i = 0; i < size; ++i)
        sum = data[i] > sum ? data[i] : sum; // reads each
    require(sum >= 0, "the largest element can be told");
    std::free(data);
}

// Gigabytes may be asked for; that is no fault.
bool repeats_often(const std::string &text) {
    int digits = 0;
    for (const char c : text) {
        digits = c >= '0' && c <= '9' ? digits + 1 : 0;
        if (digits > 4) return true;
    }
    return false;
}

// A home directory of this process's own, where list files are.
class Home {
public:
    Home() : list_(".home") {
        std::filesystem::create_directories(std::string(list_.name()) + "/.par");
        ::setenv("QUORVENTAHOME", list_.name(), 1);
    }
    ~Home() { std::filesystem::remove_all(list_.name()); }
    Home(const Home &) = delete;
    Home &operator=(const Home &) = delete;

    void store(const std::string &text) const {
        std::FILE *const file =
            std::fopen((std::string(list_.name()) + "/.par/list").c_str(), "wb");
        require(file != nullptr, "the list can be written");
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
    }

private:
    ScratchFile list_; // whose name the directory bears
};

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const Home home;
    logmesg_set_hook([](const char *) {});
    Choices draw(data, size);
    uint32_t flags = draw.word() & (XARRAY_UNIT | XARRAY_FIXED | XARRAY_SHRINK | XARRAY_EXACT |
                                    XARRAY_OR_EMPTY | XARRAY_OR_SINGLE);
    const std::string text(reinterpret_cast<const char *>(data), draw.left());
    if (repeats_often(text)) flags |= XARRAY_FIXED;
    if (text.empty() || text[0] != '@') {
        hold_list<int32_t>(text.c_str(), flags);
        hold_list<double>(text.c_str(), flags);
    }
    home.store(text);
    hold_list<int32_t>("@list", flags);
    hold_list<double>("@list", flags);
    return 0;
}
