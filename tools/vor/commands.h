// The sub-commands. Each adds itself to the command line and, when the line asks for it, puts its
// job into `job`.
#ifndef VOR_TOOL_COMMANDS_H
#define VOR_TOOL_COMMANDS_H

#include <functional>

#include <CLI/CLI.hpp>

namespace vor::tool {

// Does the work and gives the exit status; failures may also be thrown.
using Job = std::function<int()>;

void add_info(CLI::App *app, Job *job);
void add_check(CLI::App *app, Job *job);
void add_convert(CLI::App *app, Job *job);
void add_preview(CLI::App *app, Job *job);
void add_dump(CLI::App *app, Job *job);
void add_compare(CLI::App *app, Job *job);
void add_explain(CLI::App *app, Job *job);
void add_salvage(CLI::App *app, Job *job);
void add_tags(CLI::App *app, Job *job);
void add_stops(CLI::App *app, Job *job);
void add_curve(CLI::App *app, Job *job);
void add_formats(CLI::App *app, Job *job);
void add_resolve(CLI::App *app, Job *job);
void add_settings(CLI::App *app, Job *job);
void add_units(CLI::App *app, Job *job);
void add_completion(CLI::App *app, Job *job);

} // namespace vor::tool

#endif
