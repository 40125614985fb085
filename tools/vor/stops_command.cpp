#include "commands.h"

namespace vor::tool {

void add_stops(CLI::App *, Job *) {}

} // namespace vor::tool
