// The jobs of `vor tags` that change tags or carry them between files; each gives the exit status.
#ifndef VOR_TOOL_TAG_JOBS_H
#define VOR_TOOL_TAG_JOBS_H

#include <optional>
#include <string>
#include <vector>

namespace vor::tool {

struct TagOptions {
    std::vector<std::string> files; // of list
    std::string file;
    std::string name;
    std::vector<std::string> names; // of remove
    std::optional<std::string> text;
    std::string data_file;
    std::string output;
    std::string tag_file;
    bool from_input = false;
    bool as_text = false;
    bool pad = false;
    bool json = false;
    bool quiet = false;
};

int set_tag(const TagOptions &options);
int remove_tags(const TagOptions &options);
int import_tags(const TagOptions &options);
int export_tags(const TagOptions &options);

} // namespace vor::tool

#endif
