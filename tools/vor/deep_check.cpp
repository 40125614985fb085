#include "deep_check.h"

#include "deep_parts.h"
#include "report.h"

namespace vor::tool {
namespace {

// Without these there is no telling what the rest of the file is.
bool can_go_on(const NativeLayout &layout, FindingList *findings) {
    if (layout.file_bytes < VOR_HDRSIZE) {
        findings->add({FindingId::file_short,
                       {},
                       layout.file_bytes,
                       format("%lld bytes", static_cast<long long>(layout.file_bytes)),
                       format("%d or more", VOR_HDRSIZE)});
        return false;
    }
    return is_lawful_type(layout.header.type) && (layout.header.hflags & HF_TILED) == 0;
}

} // namespace

void check_deeply(FileBytes &file, const NativeLayout &layout, const DeepOptions &options,
                  DeepReport *report) {
    Protection protection(options.watch);
    const DeepCheck check{file, layout, report->findings, protection, options.quiet};
    if (!can_go_on(layout, &report->findings)) {
        if (layout.file_bytes >= VOR_HDRSIZE) check_header(layout, {}, &report->findings);
        return;
    }
    const TrackFacts facts = check_tracks(check);
    check_header(layout, facts, &report->findings);
    check_places(layout, facts, &report->findings);
    check_stops(check);
    check_colours(check, facts);
    check_tags(check);
    report->longest_track = facts.longest;
    if (!options.share || report->findings.faults() != 0) return;
    count_header(check, facts);
    report->share = {layout.file_bytes, protection.by_checksum(), protection.by_structure()};
}

} // namespace vor::tool
