#include "runtime/array_file.h"

#include <cstdio>

#include "platform/kel.h"
#include "runtime/config_file.h"
#include "runtime/log.h"

namespace vor {
namespace {

struct CloseStream {
    void operator()(std::FILE *stream) const { kel_fclose(stream); }
};

constexpr size_t step = 16384;

// All that is left of a stream.
malloc_ptr<char[]> read_stream(std::FILE *stream, size_t *length) {
    malloc_ptr<char[]> text;
    size_t room = 0;
    for (size_t got = step; got > 0; *length += got) {
        if (room - *length < step + 1) {
            char *const grown = reallocate_array(text.get(), 2 * room + step + 1);
            if (!grown) return nullptr;
            static_cast<void>(text.release());
            text.reset(grown);
            room = 2 * room + step + 1;
        }
        got = std::fread(text.get() + *length, 1, step, stream);
    }
    if (std::ferror(stream)) return nullptr;
    text[*length] = 0;
    return text;
}

} // namespace

malloc_ptr<char[]> read_list_file(const char *name, size_t *length) {
    const std::unique_ptr<std::FILE, CloseStream> stream(
        find_config_file(name, CF_BINARY, nullptr));
    if (!stream) {
        logmesg(LOGMESG_ERROR, "cannot find file \"%.1023s\"", name);
        return nullptr;
    }
    *length = 0;
    malloc_ptr<char[]> text = read_stream(stream.get(), length);
    if (!text) logmesg(LOGMESG_ERROR, "cannot read file \"%.1023s\"", name);
    return text;
}

} // namespace vor
