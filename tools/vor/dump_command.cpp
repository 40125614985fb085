#include "commands.h"

namespace vor::tool {

void add_dump(CLI::App *, Job *) {}

} // namespace vor::tool
