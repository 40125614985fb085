// A handle on a real file of pixel rows, with the ordinary fill, for the bitmap codecs: these seek
// the file by themselves.
#ifndef VOR_TESTS_ROW_FILE_H
#define VOR_TESTS_ROW_FILE_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/codec_handle.h"
#include "support/temp_dir.h"

namespace vor::test {

class RowHandle : public CodecHandle {
public:
    RowHandle(const std::string &name, uint32_t bufsize)
        : CodecHandle({}, bufsize), fd_(kel_open(name.c_str(), KEL_O_RDONLY, 0)) {
        if (fd_ < 0) throw std::runtime_error("cannot open " + name);
        get()->fd = fd_;
        get()->fillbuf = lf_fillbuf;
    }
    ~RowHandle() { kel_close(fd_); }

    // The file offset of the read position.
    int64_t place() { return get()->bufpos + (get()->bufptr - get()->buf); }

    // Puts the read position there, with an empty buffer, as a seek of the core does.
    void go_to(int64_t place) {
        get()->bufptr = get()->bufend = get()->buf;
        get()->bufpos = place;
        kel_lseek(fd_, place, KEL_SEEK_SET);
    }

    // Fills the buffer from there.
    void fill_at(int64_t place) {
        go_to(place);
        lf_fillbuf(get());
    }

private:
    int32_t fd_;
};

// The bytes of a file, in a directory of its own.
class RowFile {
public:
    explicit RowFile(const std::vector<uint8_t> &bytes) { write_bytes(name(), bytes); }

    std::string name() const { return dir_.file("rows"); }

private:
    TempDir dir_;
};

} // namespace vor::test

#endif
