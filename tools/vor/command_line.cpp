#include "command_line.h"

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
    } catch (const Interrupted &) {
        // the signal says it all
    }
    return failed;
}

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
    add_info(app.get(), job);
    add_check(app.get(), job);
    add_convert(app.get(), job);
    add_preview(app.get(), job);
    add_dump(app.get(), job);
    add_compare(app.get(), job);
    add_explain(app.get(), job);
    add_salvage(app.get(), job);
    add_tags(app.get(), job);
    add_stops(app.get(), job);
    add_curve(app.get(), job);
    add_formats(app.get(), job);
    add_resolve(app.get(), job);
    add_settings(app.get(), job);
    add_units(app.get(), job);
    add_completion(app.get(), job);
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
