// A track read by a quick reader and by the plain one, and all that shows of each.
#ifndef VOR_TESTS_FIXED_AGREEMENT_H
#define VOR_TESTS_FIXED_AGREEMENT_H

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <vector>

#include "codecs/bulk.h"
#include "codecs/fixed_readers.h"
#include "support/owned_handles.h"
#include "support/report_log.h"

namespace vor::test {

// All that decides how a track is read.
// The colour table: pairs of numbers share a colour; entries 0 and 255 do besides; each number is
// its own colour.
enum class Colours { of_pairs, same_at_ends, own };

struct Setting {
    std::vector<uint8_t> data;
    uint32_t flags = 0;
    int32_t fysize = 0;
    int32_t ya = 0, ye = 0, ysize = 0;
    uint32_t bufsize = LF_BUFSIZE;
    size_t chunk = SIZE_MAX;
    int fills_allowed = INT32_MAX;
    uint32_t room = 64;
    bool hook = false;
    int32_t hook_result = 0;
    Colours colours = Colours::of_pairs;
};

struct Outcome {
    int32_t result = 0;
    Runs runs;
    Lines reports;
    size_t position = 0;
    std::vector<int32_t> missing; // what the hook was told
    bool operator==(const Outcome &) const = default;
};

inline std::vector<int32_t> hook_calls;
inline int32_t hook_answer;

inline int32_t hear_missing(xvor_t *, trackbuf *, int32_t missing) {
    hook_calls.push_back(missing);
    return hook_answer;
}

class SetHandle : public CodecHandle {
public:
    SetHandle(const Setting &s, Form form) : CodecHandle(s.data, s.bufsize) {
        get()->flags = s.flags;
        get()->fysize = s.fysize;
        set_window(s.ya, s.ye, s.ysize);
        chunk = s.chunk;
        fills_allowed = s.fills_allowed;
        get()->skiptrack = skip_of(form);
        hook_calls.clear();
        hook_answer = s.hook_result;
        if (s.hook) get()->shorttrack = hear_missing;
        for (int i = 0; i < LF_NCOLORS; ++i)
            get()->ctable[i] = static_cast<uint16_t>(s.colours == Colours::own ? i : i / 2 + 100);
        if (s.colours == Colours::same_at_ends) get()->ctable[255] = get()->ctable[0];
    }
};

inline Outcome quick_reading(const FixedReader &reader, const Setting &s, ReportLog *log) {
    SetHandle h(s, reader.kind.form);
    Track track(s.room);
    Outcome outcome;
    outcome.result = reader.read(h.get(), track.get());
    outcome.runs = track.runs();
    outcome.reports = log->take();
    outcome.position = h.position();
    outcome.missing = hook_calls;
    return outcome;
}

inline Outcome plain_reading(const FixedReader &reader, const Setting &s) {
    SetHandle h(s, reader.kind.form);
    Track track(1);
    PlainReader plain(h.get(), reader.kind, s.room);
    Outcome outcome;
    outcome.result = plain.read(track.get());
    outcome.runs = plain.runs();
    outcome.reports = plain.reports();
    outcome.position = h.position();
    outcome.missing = hook_calls;
    return outcome;
}

inline Outcome quick_skip(const FixedReader &reader, const Setting &s, int32_t y, ReportLog *log) {
    SetHandle h(s, reader.kind.form);
    Outcome outcome;
    outcome.result = skip_of(reader.kind.form)(h.get(), y);
    outcome.reports = log->take();
    outcome.position = h.position();
    return outcome;
}

inline Outcome plain_skip(const FixedReader &reader, const Setting &s, int32_t y) {
    SetHandle h(s, reader.kind.form);
    PlainReader plain(h.get(), reader.kind, 0);
    Outcome outcome;
    outcome.result = plain.skip(y);
    outcome.reports = plain.reports();
    outcome.position = h.position();
    return outcome;
}

inline std::ostream &operator<<(std::ostream &out, const Outcome &o) {
    out << "result " << o.result << ", position " << o.position << ", runs";
    for (const auto &[length, colour] : o.runs)
        out << " " << length << "x" << colour;
    for (const std::string &line : o.reports)
        out << ", \"" << line << "\"";
    for (const int32_t missing : o.missing)
        out << ", missing " << missing;
    return out;
}

inline std::ostream &operator<<(std::ostream &out, const Setting &s) {
    out << "bytes";
    for (size_t i = 0; i < std::min<size_t>(s.data.size(), 40); ++i)
        out << " " << int{s.data[i]};
    return out << " of " << s.data.size() << ", flags " << s.flags << ", fysize " << s.fysize
               << ", window " << s.ya << " to " << s.ye << " as " << s.ysize << ", buffer "
               << s.bufsize << "/" << s.chunk << ", fills " << s.fills_allowed << ", room "
               << s.room << ", hook " << s.hook << " " << s.hook_result << ", colours "
               << static_cast<int>(s.colours);
}

} // namespace vor::test

#endif
