// Linked into test programs that open files under any name: no module is looked for by a suffix, so
// that nothing is reported, allocated or opened beside what is tested.
#include <stdlib.h>

namespace {

__attribute__((constructor(102))) void look_for_no_modules() {
    ::setenv("KEL_NO_AUTOLOAD", "1", 1);
}

} // namespace
