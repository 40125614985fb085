// What the fuzz harnesses share. A harness is one function that takes an input and must come back:
// a broken promise ends the process, and so do the sanitizers.
#ifndef VOR_FUZZ_HARNESS_H
#define VOR_FUZZ_HARNESS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "trackfile/lf.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace vor::fuzz {

[[noreturn]] void end_with(const char *promise);

// Ends the process, with the text, if a promise of the library is broken.
inline void require(bool kept, const char *promise) {
    if (!kept) end_with(promise);
}

// Silences the failure reports; they are still put together.
void be_quiet();

// Decisions drawn from an input, its last byte first, so that the head of a file keeps its meaning
// while its tail decides what is done with it. An input that is used up gives zeros.
class Choices {
public:
    Choices(const uint8_t *data, size_t size) : data_(data), left_(size) {}

    uint8_t byte() { return left_ > 0 ? data_[--left_] : uint8_t{0}; }
    uint32_t word() {
        const uint32_t high = byte();
        return high << 8 | byte();
    }
    // 0 to bound - 1; bound is at most 65536.
    int32_t below(int32_t bound) { return static_cast<int32_t>(word()) % bound; }
    bool coin() { return (byte() & 1) != 0; }
    // Bytes not drawn yet.
    size_t left() const { return left_; }

private:
    const uint8_t *data_;
    size_t left_;
};

// A file of this process's own, in memory where the system has such a place. It goes when the
// object goes.
class ScratchFile {
public:
    explicit ScratchFile(const char *suffix);
    ~ScratchFile();
    ScratchFile(const ScratchFile &) = delete;
    ScratchFile &operator=(const ScratchFile &) = delete;

    const char *name() const { return name_.c_str(); }
    void store(const uint8_t *data, size_t size) const;
    std::vector<uint8_t> bytes() const;

private:
    std::string name_;
};

// A track buffer with room for `runs`.
struct Track : trackbuf {
    explicit Track(int32_t runs);
    ~Track();
    Track(const Track &) = delete;
    Track &operator=(const Track &) = delete;

    // Pixels of all runs. The runs lie within the storage, of which a mirrored track may take the
    // front guard, and the end guard stands.
    int64_t pixels() const;
};

} // namespace vor::fuzz

#endif
