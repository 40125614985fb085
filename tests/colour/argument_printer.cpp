// Prints its arguments, each ended by a zero byte.
#include <cstdio>
#include <cstring>

int main(int count, char **arguments) {
    for (int i = 1; i < count; ++i)
        std::fwrite(arguments[i], 1, std::strlen(arguments[i]) + 1, stdout);
    return 0;
}
