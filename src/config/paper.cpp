// Sizes of paper, in the order in which a search finds them. Programs rely on the very numbers, an
// A4 sheet being 209.9 wide.
#include "config/paper.h"

#include "util/numbers.h"

namespace vor {

const papersize_t paper_table[] = {
    {"letter", 215.9, 279.4}, {"note", 215.9, 279.4},
    {"legal", 215.9, 355.6},  {"A0", 839.6, 1188.2},
    {"A1", 594.1, 839.6},     {"A2", 419.8, 594.1},
    {"A3", 297.0, 419.8},     {"A4", 209.9, 297.0},
    {"A5", 148.5, 209.9},     {"A6", 104.8, 148.5},
    {"A7", 74.1, 104.8},      {"A8", 52.2, 74.1},
    {"A9", 37.0, 52.2},       {"A10", 26.1, 37.0},
    {"B0", 1000.5, 1413.9},   {"B1", 707.0, 1000.5},
    {"B2", 500.2, 707.0},     {"B3", 353.5, 500.2},
    {"B4", 250.1, 353.5},     {"B5", 176.7, 250.1},
    {"archE", 914.4, 1219.2}, {"archD", 609.6, 914.4},
    {"archC", 457.2, 609.6},  {"archB", 304.8, 457.2},
    {"archA", 228.6, 304.8},  {"flsa", 215.9, 330.2},
    {"flse", 215.9, 330.2},   {"halfletter", 139.7, 215.9},
    {"11x17", 279.4, 431.8},  {"ledger", 431.8, 279.4},
    {nullptr, 0, 0},
};

} // namespace vor

namespace {

// The sheet where no size is known; its margins go off as well.
constexpr papersize_t default_sheet = {nullptr, 209.9, 297.0};

const papersize_t *find_paper(const char *name) {
    if (!name) return nullptr;
    for (const papersize_t *row = vor::paper_table; row->name; ++row)
        if (vor::equal_ignoring_case(row->name, name)) return row;
    return nullptr;
}

} // namespace

extern "C" {

int32_t paperselect(const char *name, double xmargin, double ymargin) {
    const papersize_t *const found = find_paper(name);
    const papersize_t &sheet = found ? *found : default_sheet;
    gd.paperwidth = sheet.width - xmargin;
    gd.paperheight = sheet.height - ymargin;
    return found ? 0 : -1;
}

} // extern "C"
