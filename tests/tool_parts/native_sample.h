// A native file that a test has put together, opened for its bytes.
#ifndef VOR_TESTS_NATIVE_SAMPLE_H
#define VOR_TESTS_NATIVE_SAMPLE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "file_bytes.h"
#include "native_layout.h"
#include "support/temp_dir.h"
#include "support/vor_bytes.h"

namespace vor::test {

class NativeSample {
public:
    explicit NativeSample(const Bytes &bytes) {
        const std::string name = directory_.file("a.vor");
        write_bytes(name, bytes);
        file_ = std::make_unique<tool::FileBytes>(name);
    }
    explicit NativeSample(const NativeFile &file) : NativeSample(file.bytes()) {}

    tool::FileBytes &file() { return *file_; }
    // Of a file that is a native one.
    tool::NativeLayout layout() { return tool::read_layout(*file_).value(); }

private:
    TempDir directory_;
    std::unique_ptr<tool::FileBytes> file_;
};

// The two byte orders, as VorBytes takes them.
inline constexpr bool byte_orders[] = {false, true};

inline tool::ByteOrder order_of(bool swapped) {
    const bool little = (std::endian::native == std::endian::little) != swapped;
    return little ? tool::ByteOrder::little : tool::ByteOrder::big;
}

} // namespace vor::test

#endif
