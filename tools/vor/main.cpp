// The command vor: looks at track files, checks, converts, repairs and previews them.

#include <exception>
#include <iostream>

#include "command_line.h"
#include "interrupt.h"
#include "report.h"

using namespace vor::tool;

int main(int count, char **arguments) {
    int status = failed;
    try {
        catch_signals();
        status = run_command_line(count, arguments);
        std::cout.flush();
        if (!std::cout && status == good) {
            print_line("cannot write to the standard output");
            status = failed;
        }
    } catch (const std::exception &error) {
        print_line(error.what());
    }
    if (interrupted()) end_by_signal();
    return status;
}
