/* A library that uses the option calls and variables of the C library. */
#include <stdlib.h>
#include <unistd.h>

void plain_scan(int argc, char **argv, char *found, int *index);

/* The letters found one after the other, and where the scan ended. */
void plain_scan(int argc, char **argv, char *found, int *index) {
    int result;
    optind = 1;
    opterr = 0;
    while ((result = getopt(argc, argv, ":a:b")) != -1)
        *found++ = (char)result;
    *found = '\0';
    *index = optind;
}
