// A colour spec makes a table item by item. Each item draws into a table of its own, `drawn`, which
// keeps what the items before it drew elsewhere; in its range the curve so far is then sent through
// it. Both working tables are on the stack: 32 KB.
#include <cstdio>
#include <cstring>

#include "colour/colour.h"
#include "colour/curve_build.h"
#include "colour/curve_file.h"
#include "colour/curve_item.h"

namespace vor {
namespace {

class CurveMaker {
public:
    // `table` holds the identity of 1 to NCOLORS_MAX entries.
    CurveMaker(const char *spec, uint16_t *table, int32_t size);

    // Applies the items. On a failure the table is the identity again.
    int32_t apply_all();

private:
    int32_t draw(const CurveItem &item);
    void apply(const CurveItem &item);
    void pin_ends();

    const char *spec_;
    uint16_t *table_;
    int32_t size_;
    uint16_t drawn_[NCOLORS_MAX]; // by the items
    uint16_t last_[NCOLORS_MAX];  // the table before the item at hand
};

CurveMaker::CurveMaker(const char *spec, uint16_t *table, int32_t size)
    : spec_(spec), table_(table), size_(size) {
    ctab_identity(drawn_, size);
    ctab_identity(last_, size);
}

int32_t CurveMaker::draw(const CurveItem &item) {
    switch (item.form) {
    case CurveForm::linear:
        return ctab_linear(item.from, item.to, item.low, item.high, drawn_, item.fill, size_);
    case CurveForm::steps:
        return ctab_steps(item.from, item.to, item.steps, drawn_, item.fill, size_);
    case CurveForm::constant:
        return ctab_fill(drawn_, item.from, item.to, item.value, size_);
    case CurveForm::points:
        return ctab_points(drawn_, item.points, size_);
    case CurveForm::gamma:
        return ctab_gamma(drawn_, item.exponent, size_);
    case CurveForm::file:
        break;
    }
    // The name is the whole spec's, not the item's: a file can be named at the start alone.
    return ctab_load(spec_, drawn_, size_);
}

void CurveMaker::apply(const CurveItem &item) {
    for (int32_t i = item.from; i <= item.to; ++i) {
        const int32_t input = item.absolute ? i : last_[i];
        if (input < size_) table_[i] = drawn_[input];
    }
    std::memcpy(last_, table_, sizeof *last_ * static_cast<size_t>(size_));
}

void CurveMaker::pin_ends() {
    const auto last = static_cast<uint16_t>(size_ - 1);
    const bool falls = table_[0] > table_[last];
    table_[0] = falls ? last : uint16_t{0};
    table_[last] = falls ? uint16_t{0} : last;
}

int32_t CurveMaker::apply_all() {
    const bool pinned = *spec_ == '^';
    const char *text = skip_curve_separators(pinned ? spec_ + 1 : spec_);
    while (*text) {
        const CurveItem item = parse_curve_item(text, size_);
        const int32_t result = draw(item);
        if (result < 0) {
            ctab_identity(table_, size_);
            std::fprintf(stderr, "setupctab(): illegal color spec: ...%s\n", text);
            return result;
        }
        apply(item);
        text = skip_curve_separators(skip_curve_item(item.text));
    }
    if (pinned) pin_ends();
    return 0;
}

} // namespace
} // namespace vor

extern "C" int32_t wsetupctab(const char *spec, uint16_t *table, const char *filename,
                              int32_t size) {
    if (spec && !*spec) return 0;
    if (size == 0) size = NCOLORS_DEFAULT;
    vor::ctab_identity(table, size);
    if (!spec) return 0;
    if (size > NCOLORS_MAX) {
        std::fputs("wsetupctab: NCOLORS_MAX overflow\n", stderr);
        return CURVE_INVALID;
    }
    if (size < 0) return CURVE_INVALID;
    const int32_t result = vor::CurveMaker(spec, table, size).apply_all();
    if (filename) write_ctab(filename, table, size);
    return result;
}
