#include "commands.h"

namespace vor::tool {

void add_compare(CLI::App *, Job *) {}

} // namespace vor::tool
