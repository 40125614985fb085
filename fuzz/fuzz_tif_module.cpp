// Any bytes as a file of the format "tif": whatever stands there, it is refused or read, in
// bounded memory.
#include "harness.h"
#include "picture_reader.h"
#include "tif/vor_tif.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile file(".tif");
    be_quiet();
    file.store(data, size);
    read_picture(&tif_cvtformat, file.name(), data, size);
    return 0;
}
