// A command line as a POSIX system wants it: an array of arguments.
#ifndef VOR_PLATFORM_POSIX_COMMAND_LINE_H
#define VOR_PLATFORM_POSIX_COMMAND_LINE_H

#include <cstdlib>
#include <memory>

namespace vor::os {

struct FreeTexts {
    void operator()(char **texts) const { std::free(static_cast<void *>(texts)); }
};

// An array of texts that ends in a null pointer. The texts lie behind it in the same block.
using Texts = std::unique_ptr<char *[], FreeTexts>;

// Splits at blanks and tabs. Double quotes, which go, hold together what stands between them and
// make an argument even of nothing; nothing escapes one. Null if there is no memory.
Texts split_command_line(const char *text);

// The texts of an environment block, which stay in the block.
Texts split_environment(const char *block);

// The names under which `program` is looked for, best first: itself if it holds a "/", otherwise
// itself in each directory of `path`, where an empty one means the current directory.
Texts program_names(const char *program, const char *path);

} // namespace vor::os

#endif
