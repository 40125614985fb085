// The fixed-width readers by name, and a handle that stands on one coded track.
#ifndef VOR_TESTS_FIXED_READERS_H
#define VOR_TESTS_FIXED_READERS_H

#include "codecs/codec_functions.h"
#include "codecs/plain_reader.h"
#include "support/codec_handle.h"

namespace vor::test {

struct FixedReader {
    ReaderKind kind;
    lf_readtrack_fn read;
};

inline constexpr FixedReader fixed_readers[] = {
    {{"read_fw8", Form::fw8, true, false}, read_fw8},
    {{"read_fw8_ns", Form::fw8, false, false}, read_fw8_ns},
    {{"rev_read_fw8", Form::fw8, true, true}, rev_read_fw8},
    {{"rev_read_fw8_ns", Form::fw8, false, true}, rev_read_fw8_ns},
    {{"read_fw16", Form::fw16, true, false}, read_fw16},
    {{"read_fw16_ns", Form::fw16, false, false}, read_fw16_ns},
    {{"rev_read_fw16", Form::fw16, true, true}, rev_read_fw16},
    {{"rev_read_fw16_ns", Form::fw16, false, true}, rev_read_fw16_ns},
    {{"read_fw88", Form::fw88, true, false}, read_fw88},
    {{"read_fw88_ns", Form::fw88, false, false}, read_fw88_ns},
    {{"rev_read_fw88", Form::fw88, true, true}, rev_read_fw88},
    {{"rev_read_fw88_ns", Form::fw88, false, true}, rev_read_fw88_ns},
};

inline lf_skiptrack_fn skip_of(Form form) {
    return form == Form::fw8 ? skip8b : form == Form::fw16 ? skip16b : skip88b;
}

inline auto goto_of(Form form) {
    return form == Form::fw8 ? goto8bol : form == Form::fw16 ? goto16bol : goto88bol;
}

inline const char *goto_name(Form form) {
    return form == Form::fw8 ? "goto8bol" : form == Form::fw16 ? "goto16bol" : "goto88bol";
}

inline const char *skip_name(Form form) {
    return form == Form::fw8 ? "skip8b" : form == Form::fw16 ? "skip16b" : "skip88b";
}

inline constexpr Form all_forms[] = {Form::fw8, Form::fw16, Form::fw88};

// Stands on a track of the given codes, whose pixels are the file's; the window is the whole track.
class TrackHandle : public CodecHandle {
public:
    explicit TrackHandle(Form form, const Codes &codes, uint32_t flags = 0,
                         uint32_t bufsize = LF_BUFSIZE)
        : CodecHandle(coded(form, codes), bufsize) {
        int64_t pixels = 0;
        for (const Code &code : codes)
            pixels += code.length;
        get()->flags = flags;
        get()->skiptrack = skip_of(form);
        get()->fysize = static_cast<int32_t>(pixels);
        set_window(0, get()->fysize, get()->fysize);
    }
};

} // namespace vor::test

#endif
