// Lists of items with colons between them.
#ifndef VOR_FORMATS_COLON_LIST_H
#define VOR_FORMATS_COLON_LIST_H

#include <string_view>

namespace vor {

// Takes the next item off the list, which is not empty. A colon at the very end opens no further
// item.
inline std::string_view next_item(std::string_view *list) {
    const size_t colon = list->find(':');
    const std::string_view item = list->substr(0, colon);
    list->remove_prefix(colon == std::string_view::npos ? list->size() : colon + 1);
    return item;
}

} // namespace vor

#endif
