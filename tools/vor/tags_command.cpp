#include "commands.h"

namespace vor::tool {

void add_tags(CLI::App *, Job *) {}

} // namespace vor::tool
