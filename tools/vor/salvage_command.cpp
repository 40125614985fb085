#include "commands.h"

namespace vor::tool {

void add_salvage(CLI::App *, Job *) {}

} // namespace vor::tool
