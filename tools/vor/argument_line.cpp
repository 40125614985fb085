#include "argument_line.h"

#include <iostream>
#include <new>
#include <string>

#include "interrupt.h"
#include "report.h"
#include "util/services.h"

namespace vor::tool {
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
    } catch (const OutputLost &) {
        // main looks at the standard output in any case
    } catch (const Interrupted &) {
        // the signal says it all
    }
    return failed;
}

constexpr const char *look = "Look at files";
constexpr const char *change = "Make and change files";
constexpr const char *machine = "Machine and jobs";
constexpr const char *shell = "Shell";

struct SubCommand {
    const char *heading; // of the help
    void (*add)(CLI::App *, Job *);
};

constexpr SubCommand sub_commands[] = {
    {look, add_info},       {look, add_check},       {look, add_preview},   {look, add_dump},
    {look, add_compare},    {look, add_explain},     {change, add_convert}, {change, add_curve},
    {change, add_tags},     {change, add_stops},     {change, add_salvage}, {machine, add_formats},
    {machine, add_resolve}, {machine, add_settings}, {machine, add_units},  {shell, add_completion},
};

bool knows(CLI::App *app, const std::string &name) {
    return !app->get_subcommands([&](const CLI::App *a) { return a->get_name() == name; }).empty();
}

} // namespace

std::unique_ptr<CLI::App> make_command_line(Job *job) {
    auto app = std::make_unique<CLI::App>(
        "Looks at track files, checks, converts, repairs and previews them.", "vor");
    app->footer("vor COMMAND --help tells more.\n"
                "Exit status: 0 good, 1 the job failed or the check found faults, 2 wrong usage.");
    app->set_version_flag("--version", std::string("vor ") + KEL_libversion);
    app->require_subcommand(1);
    for (const SubCommand &sub_command : sub_commands) {
        sub_command.add(app.get(), job);
        app->get_subcommands({}).back()->group(sub_command.heading);
    }
    return app;
}

int run_command_line(int count, const char *const *arguments) {
    Job job;
    const auto app = make_command_line(&job);
    if (count > 1 && arguments[1][0] != '-' && !knows(app.get(), arguments[1])) {
        return wrong(std::string("no sub-command ") + arguments[1]);
    }
    try {
        app->parse(count, arguments);
    } catch (const CLI::Success &asked) {
        return app->exit(asked, std::cout, std::cerr);
    } catch (const CLI::ParseError &error) {
        return wrong(error.what());
    }
    return run(job);
}

} // namespace vor::tool
