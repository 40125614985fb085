// Any bytes as one coded track in a buffer, read by every fixed-width reader, with the vector forms
// and without, and by a reader that goes code by code: results, runs, reports and positions are the
// same.
#include <algorithm>
#include <vector>

#include "codecs/fixed_agreement.h"
#include "harness.h"

namespace vor::fuzz {
namespace {

test::Setting draw_setting(Choices *draw) {
    constexpr uint32_t flags[] = {
        0, LF_TRKEND, LF_TRKBEGIN, LF_TRKBEGIN | LF_TRKEND, LF_LAXTRACK, LF_TRKEND | LF_LAXTRACK};
    test::Setting s;
    s.flags = flags[draw->below(6)];
    s.fysize = static_cast<int32_t>(draw->word()) * (draw->coin() ? 1 : 64);
    s.ya = draw->coin() ? 0 : draw->below(s.fysize + 1);
    s.ye = std::max(s.ya + 1, draw->coin() ? s.fysize : s.ya + 1 + draw->below(s.fysize + 1));
    s.ysize = 1 + static_cast<int32_t>(draw->word()) * (draw->coin() ? 1 : 1000);
    s.bufsize = 2 + 2 * draw->word() % LF_BUFSIZE;
    s.room = 1 + draw->word() % 3000;
    s.hook = draw->coin();
    s.hook_result = draw->coin() ? 0 : -1;
    s.colours = draw->coin()   ? test::Colours::own
                : draw->coin() ? test::Colours::same_at_ends
                               : test::Colours::of_pairs;
    return s;
}

void compare(const test::FixedReader &reader, test::Setting s, test::ReportLog *log) {
    if (!reader.kind.scaled) s.ysize = s.ye - s.ya;
    const test::Outcome plain = test::plain_reading(reader, s);
    for (const bool vectors : {true, false}) {
        bulk_allowed = vectors;
        require(test::quick_reading(reader, s, log) == plain,
                "a quick reader reads as a plain one");
    }
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    namespace fuzz = vor::fuzz;
    namespace test = vor::test;
    fuzz::Choices draw(data, size);
    test::Setting s = fuzz::draw_setting(&draw);
    s.data.assign(data, data + draw.left());
    test::ReportLog log;
    for (const test::FixedReader &reader : test::fixed_readers)
        fuzz::compare(reader, s, &log);
    return 0;
}
