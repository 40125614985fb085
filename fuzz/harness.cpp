#include "harness.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "platform/os.h"
#include "runtime/log.h"

namespace vor::fuzz {
namespace {

int32_t ignore_report(xvor_t *, const char *, const char *) {
    return 0;
}

// What a harness makes the library log goes to no file: neither one can be there.
struct NoLog {
    NoLog() {
        os::mutex_directory = "/dev/null";
        logmesg_set_file("/dev/null/mesg.log");
    }
};
const NoLog no_log;

std::filesystem::path scratch_directory() {
    std::error_code failure;
    std::filesystem::path memory = "/dev/shm";
    if (std::filesystem::is_directory(memory, failure)) return memory;
    return std::filesystem::temp_directory_path();
}

} // namespace

void end_with(const char *promise) {
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

void be_quiet() {
    lfsetperror(ignore_report);
}

ScratchFile::ScratchFile(const char *suffix) {
    std::random_device random;
    const std::string base = "vor-fuzz-" + std::to_string(random()) + std::to_string(random());
    name_ = (scratch_directory() / (base + suffix)).string();
}

ScratchFile::~ScratchFile() {
    std::remove(name_.c_str());
}

void ScratchFile::store(const uint8_t *data, size_t size) const {
    std::FILE *const file = std::fopen(name_.c_str(), "wb");
    require(file != nullptr, "the scratch file can be written");
    if (size > 0) {
        require(std::fwrite(data, 1, size, file) == size, "the scratch file takes all bytes");
    }
    require(std::fclose(file) == 0, "the scratch file can be closed");
}

std::vector<uint8_t> ScratchFile::bytes() const {
    std::ifstream file(name_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Track::Track(int32_t runs) : trackbuf() {
    require(gtgrow(this, static_cast<uint32_t>(runs), 1, 0) == 0, "a track buffer can be had");
}

Track::~Track() {
    require(gtfree(this) == 0, "a track buffer can be freed");
}

int64_t Track::pixels() const {
    require(base[size + 1].colour == GT_END_GUARD, "the guard behind a track stands");
    require(nruns >= 0 && data >= base && data + nruns <= base + size + 1,
            "runs lie within the storage");
    int64_t sum = 0;
    for (int32_t i = 0; i < nruns; ++i)
        sum += data[i].length;
    return sum;
}

} // namespace vor::fuzz

// A hostile file must not bring memory to its end, but where a program asks for too much, malloc is
// to say so as it does elsewhere.
extern "C" const char *__asan_default_options() {
    return "allocator_may_return_null=1";
}
