#include "commands.h"

namespace vor::tool {

void add_explain(CLI::App *, Job *) {}

} // namespace vor::tool
