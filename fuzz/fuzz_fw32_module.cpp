// Any bytes as a stream of the format "fw32": whatever comes, each read has an end.
#include "fw32/vor_fw32.h"
#include "harness.h"
#include "picture_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile file(".fw32");
    be_quiet();
    file.store(data, size);
    read_picture(&fw32_cvtformat, file.name(), data, size);
    return 0;
}
