// The command vor: looks at track files, checks, converts and previews them.

#include <cstdio>
#include <exception>
#include <iostream>
#include <new>
#include <string>

#include "commands.h"
#include "interrupt.h"
#include "report.h"
#include "util/services.h"

using namespace vor::tool;

namespace {

int wrong(const std::string &text) {
    print_line(text + " (try --help)");
    return wrong_usage;
}

// Runs a job; what it throws becomes a message and a status.
int run(const Job &job) {
    try {
        return job();
    } catch (const Failure &failure) {
        complain(failure.file, failure.what());
    } catch (const WrongUsage &usage) {
        return wrong(usage.what());
    } catch (const std::bad_alloc &) {
        print_line("out of memory");
    } catch (const Told &) {
        // a message is out already
    } catch (const Interrupted &) {
        // the signal says it all
    }
    return failed;
}

bool knows(CLI::App *app, const std::string &name) {
    return !app->get_subcommands([&](const CLI::App *a) { return a->get_name() == name; }).empty();
}

int parse_and_run(int count, char **arguments) {
    Job job;
    CLI::App app{"Looks at track files, checks, converts and previews them.", "vor"};
    app.footer("vor COMMAND --help tells more.\n"
               "Exit status: 0 good, 1 the job failed or the check found faults, 2 wrong usage.");
    app.set_version_flag("--version", std::string("vor ") + KEL_libversion);
    app.require_subcommand(1);
    add_info(&app, &job);
    add_check(&app, &job);
    add_convert(&app, &job);
    add_preview(&app, &job);
    add_curve(&app, &job);
    add_formats(&app, &job);
    add_resolve(&app, &job);
    add_settings(&app, &job);
    add_units(&app, &job);
    if (count > 1 && arguments[1][0] != '-' && !knows(&app, arguments[1])) {
        return wrong(std::string("no sub-command ") + arguments[1]);
    }
    try {
        app.parse(count, arguments);
    } catch (const CLI::Success &asked) {
        return app.exit(asked, std::cout, std::cerr);
    } catch (const CLI::ParseError &error) {
        return wrong(error.what());
    }
    return run(job);
}

} // namespace

int main(int count, char **arguments) {
    int status = failed;
    try {
        catch_signals();
        status = parse_and_run(count, arguments);
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
