// Any bytes as a file that is checked deeply. What is found good must be good to the other depths,
// the JSON is well-formed, and what is called protected is: a bit that is flipped there shows,
// unless it stands in a deflate stream, which can say the same in more ways than one.

#include <algorithm>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "deep_check.h"
#include "harness.h"
#include "native_layout.h"
#include "run_command.h"

namespace vor::fuzz {
namespace {

using tool::Cover;
using tool::DeepReport;
using tool::Finding;

constexpr size_t all = SIZE_MAX;
constexpr int32_t most_choices = 4096;

struct Range {
    int64_t begin;
    int64_t bytes;
    Cover cover;
};

struct Look {
    DeepReport report{all};
    std::vector<Range> guarded; // if the file has no fault
    bool native = false;

    Look(const char *name, bool share) {
        tool::FileBytes file(name);
        const auto layout = tool::read_layout(file);
        native = layout.has_value();
        if (!native) return;
        tool::DeepOptions options;
        options.quiet = true;
        options.share = share;
        options.watch = [this](int64_t begin, int64_t bytes, Cover cover) {
            guarded.push_back({begin, bytes, cover});
        };
        tool::check_deeply(file, *layout, options, &report);
        if (!report.share) guarded.clear();
    }
};

void hold_against_other_depths(const char *name) {
    std::string output;
    const int status = run_vor({"check", "--deep", "--json", "--colours", name}, &output);
    require(nlohmann::json::accept(output), "the JSON of a file is well-formed");
    const nlohmann::json verdict = nlohmann::json::parse(output)[0];
    require(verdict["good"] == (status == 0), "the status is that of the verdict");
    require(verdict["good"] == (verdict["faults"] == 0), "a file with faults is bad");
    if (status != 0) return;
    require(run_vor({"check", "--quiet", name}) == 0, "a good file is good to a quick check");
    require(run_vor({"check", "--full", "--quiet", name}) == 0,
            "a good file is good to a full check");
}

bool shows_anew(const Look &after, const Look &before) {
    const auto &known = before.report.findings.kept();
    const auto &findings = after.report.findings.kept();
    return !after.native || std::any_of(findings.begin(), findings.end(), [&](const Finding &one) {
        return std::find(known.begin(), known.end(), one) == known.end();
    });
}

void flip_one_bit(const ScratchFile &file, std::vector<uint8_t> bytes, Choices *draw) {
    const Look before(file.name(), true);
    if (before.guarded.empty()) return;
    const auto count = static_cast<int32_t>(std::min<size_t>(before.guarded.size(), most_choices));
    const Range range = before.guarded[static_cast<size_t>(draw->below(count))];
    if (range.bytes < 1 || (range.cover == Cover::checksum && range.begin >= VOR_HDRSIZE)) return;
    const auto place = static_cast<size_t>(
        range.begin +
        draw->below(static_cast<int32_t>(std::min<int64_t>(range.bytes, most_choices))));
    bytes[place] = static_cast<uint8_t>(bytes[place] ^ (1U << draw->below(8)));
    file.store(bytes.data(), bytes.size());
    require(shows_anew(Look(file.name(), false), before), "a flip in a protected byte shows");
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile file(".vor");
    file.store(data, size);
    Choices draw(data, size);
    hold_against_other_depths(file.name());
    flip_one_bit(file, {data, data + size}, &draw);
    return 0;
}
