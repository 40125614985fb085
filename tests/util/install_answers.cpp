// Prints what the installation calls find from where this program lies.
#include <cstdio>

#include "util/install.h"

int main() {
    std::printf("%s\n%s\n%s\n", kel_runtime_topdir(), local_home_path(), local_user_name(0));
    return 0;
}
