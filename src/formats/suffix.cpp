// From a file name's suffix to a format. A format lists the suffixes that it takes, separated by
// colons; an empty item stands for any suffix.

#include <cstring>
#include <string_view>

#include "formats/colon_list.h"
#include "formats/formats.h"
#include "util/paths.h"

const char *getsuffix(const char *file_name) {
    const char *base = kel_basename(file_name);
    base += std::strspn(base, ".");
    return std::strrchr(base, '.');
}

int32_t lfsuffixindex(int32_t row, const char *file_name) {
    const char *text = lffmtsuffixlist(row);
    if (!text || !*text) return -1;
    const char *suffix = getsuffix(file_name);
    int32_t result = -1;
    std::string_view list = text;
    for (int32_t position = 1; !list.empty(); ++position) {
        const std::string_view item = vor::next_item(&list);
        if (item.empty()) {
            result = 0;
        } else if (suffix && item == suffix) {
            return position;
        }
    }
    return result;
}

int32_t lffmtguess(const char *file_name) {
    int32_t wildcard = -1;
    bool ambiguous = false;
    for (int32_t row = 0; lfdescriptor(row); ++row) {
        const int32_t index = lfsuffixindex(row, file_name);
        if (index > 0) return row;
        if (index < 0) continue;
        if (wildcard < 0) {
            wildcard = row;
        } else {
            ambiguous = true;
        }
    }
    if (ambiguous) lferror(nullptr, "lffmtguess", LFE_WARNING, 0, "suffix is ambiguous");
    return wildcard;
}
