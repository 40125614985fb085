// Any bytes as a file of the format "png": whatever stands there, it is refused or read, in
// bounded memory.
#include "harness.h"
#include "picture_reader.h"
#include "png/vor_png.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile file(".png");
    be_quiet();
    file.store(data, size);
    read_picture(&png_cvtformat, file.name(), data, size);
    return 0;
}
