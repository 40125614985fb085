// vor completion: what a shell has to read so that it completes this command's line.

#include <iostream>
#include <memory>
#include <string>

#include "argument_line.h"
#include "commands.h"
#include "completion_scripts.h"
#include "report.h"

namespace vor::tool {
namespace {

struct Shell {
    const char *name;
    std::string (*script)(const Command &);
};

constexpr Shell shells[] = {
    {"bash", bash_completion},
    {"zsh", zsh_completion},
    {"fish", fish_completion},
};

Names shell_names() {
    Names names;
    for (const Shell &shell : shells)
        names.emplace_back(shell.name);
    return names;
}

int run(const std::string &name) {
    Job none;
    const Command top = describe(*make_command_line(&none));
    for (const Shell &shell : shells)
        if (name == shell.name) std::cout << shell.script(top);
    return good;
}

} // namespace

void add_completion(CLI::App *app, Job *job) {
    auto shell = std::make_shared<std::string>();
    CLI::App *command = app->add_subcommand(
        "completion", "Prints a script that makes a shell complete this command's line");
    command->add_option("SHELL", *shell, "The shell that is to read the script")
        ->required()
        ->check(CLI::IsMember(shell_names()));
    command->footer("Example:\n"
                    "  source <(vor completion bash)\n"
                    "  vor completion zsh >~/.zfunc/_vor\n"
                    "  vor completion fish >~/.config/fish/completions/vor.fish");
    command->callback([=] { *job = [=] { return run(*shell); }; });
}

} // namespace vor::tool
