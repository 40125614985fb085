// vor tags: lists, reads and changes the tags of native files.

#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "interrupt.h"
#include "report.h"
#include "safe_output.h"
#include "tag_jobs.h"
#include "tag_reading.h"
#include "tag_text.h"
#include "vor/vor.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

std::string dumped(const Json &json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

// ---- list

void list_as_text(FileBytes &file, const NativeLayout &layout, TagWalk *walk) {
    std::cout << file.name() << "\n";
    *walk = walk_tags(file, layout, [&](const TagRecord &tag) {
        stop_if_interrupted();
        check_output();
        std::cout << format("%12lld bytes  %-6s  ", static_cast<long long>(tag.payload_bytes),
                            kind_name(payload_kind(file, tag)))
                  << shown_name(tag.name) << "\n";
        return true;
    });
    if (walk->records == 0 && walk->fault == TagFault::none) std::cout << "  no tags\n";
    std::cout.flush();
    check_output();
}

Json list_as_json(FileBytes &file, const NativeLayout &layout, TagWalk *walk) {
    Json json = {{"file", file.name()}, {"tags", Json::array()}, {"fault", nullptr}};
    *walk = walk_tags(file, layout, [&](const TagRecord &tag) {
        stop_if_interrupted();
        json["tags"].push_back({{"name", tag.name},
                                {"bytes", tag.payload_bytes},
                                {"kind", kind_name(payload_kind(file, tag))}});
        return true;
    });
    const std::string fault = tag_list_fault(*walk);
    if (!fault.empty()) json["fault"] = fault;
    return json;
}

// False if anything was wrong, which has been told.
bool list_file(const TagOptions &options, const std::string &name, Json *list) {
    TagWalk walk;
    try {
        FileBytes file(name);
        const NativeLayout layout = layout_with_tags(file);
        if (options.json) {
            list->push_back(list_as_json(file, layout, &walk));
        } else {
            list_as_text(file, layout, &walk);
        }
    } catch (const Failure &failure) {
        complain(failure.file, failure.what());
        if (options.json) list->push_back({{"file", name}, {"error", failure.what()}});
        return false;
    }
    const std::string fault = tag_list_fault(walk);
    if (!fault.empty()) complain(name, fault);
    return fault.empty();
}

int list(const TagOptions &options) {
    Json list = Json::array();
    int status = good;
    for (const std::string &name : options.files) {
        if (!list_file(options, name, &list)) status = failed;
    }
    if (options.json) std::cout << dumped(list) << "\n";
    return status;
}

// ---- get

std::string hex_of(std::span<const uint8_t> bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(2 * bytes.size());
    for (const uint8_t byte : bytes) {
        hex += digits[byte >> 4];
        hex += digits[byte & 0xF];
    }
    return hex;
}

void print_tag_json(FileBytes &file, const TagRecord &tag) {
    const std::vector<uint8_t> payload = whole_payload(file, tag);
    const PayloadKind kind = payload_kind(file, tag);
    Json json = {{"file", file.name()},     {"name", tag.name}, {"bytes", tag.payload_bytes},
                 {"kind", kind_name(kind)}, {"text", nullptr},  {"hex", nullptr}};
    if (kind == PayloadKind::text) {
        json["text"] = text_of(payload);
    } else {
        json["hex"] = hex_of(payload);
    }
    std::cout << dumped(json) << "\n";
}

using Sink = std::function<void(std::span<const uint8_t>)>;

void send_payload(const TagOptions &options, FileBytes &file, const TagRecord &tag,
                  const Sink &sink) {
    if (!options.as_text) return read_payload(file, tag, sink);
    bool ended = false;
    read_payload(file, tag, [&](std::span<const uint8_t> piece) {
        const std::string_view text = text_of(piece);
        if (!ended) sink(piece.first(text.size()));
        ended = ended || text.size() < piece.size();
    });
}

void print_bytes(std::span<const uint8_t> bytes) {
    std::cout.write(reinterpret_cast<const char *>(bytes.data()),
                    static_cast<std::streamsize>(bytes.size()));
    check_output();
}

void send_to_file(const TagOptions &options, FileBytes &file, const TagRecord &tag) {
    SafeOutput output(options.output);
    send_payload(options, file, tag, [&](std::span<const uint8_t> bytes) { output.write(bytes); });
    output.commit();
}

int get(const TagOptions &options) {
    FileBytes file(options.file);
    TagWalk walk;
    const auto tag = find_tag(file, layout_with_tags(file), options.name, &walk);
    if (!tag) {
        const std::string fault = tag_list_fault(walk);
        if (!fault.empty()) complain(options.file, fault);
        throw Failure(options.file, "has no tag " + shown_name(options.name));
    }
    if (options.json) {
        print_tag_json(file, *tag);
    } else if (options.output.empty()) {
        send_payload(options, file, *tag, print_bytes);
    } else {
        send_to_file(options, file, *tag);
    }
    return good;
}

// ---- command line

std::string check_name(const std::string &name) {
    return !name.empty() && name.size() < VOR_TAGNAME ? "" : "a tag's name has 1 to 31 bytes";
}

using Shared = std::shared_ptr<TagOptions>;
using Run = int (*)(const TagOptions &);

// A sub-command of `tags` and what it does.
CLI::App *add_action(CLI::App *tags, const char *name, const char *description, Run run,
                     const Shared &options, Job *job) {
    CLI::App *command = tags->add_subcommand(name, description);
    command->add_flag("-q,--quiet", options->quiet, "No warnings");
    command->callback([=] {
        *job = [=] {
            start_reports(options->quiet);
            return run(*options);
        };
    });
    return command;
}

void add_file(CLI::App *command, const Shared &options) {
    command->add_option("FILE", options->file, "Native track file")->required();
}

void add_list(CLI::App *tags, const Shared &options, Job *job) {
    CLI::App *command =
        add_action(tags, "list", "Lists the tags of files: size, kind, name", list, options, job);
    command->add_option("FILE", options->files, "Native track files")->required();
    command->add_flag("--json", options->json, "Print an array of objects, one a file");
    command->footer("The kind is a guess: text, binary, or empty. In names, what cannot be printed "
                    "shows as \\xHH and a backslash as two. Of a damaged list, what can be read is "
                    "shown.\n"
                    "Example:\n  vor tags list label.vor");
}

void add_get(CLI::App *tags, const Shared &options, Job *job) {
    CLI::App *command =
        add_action(tags, "get", "Prints the data of a tag, byte by byte", get, options, job);
    add_file(command, options);
    command->add_option("NAME", options->name, "The tag")->required();
    CLI::Option *output =
        command->add_option("-o,--out", options->output, "Write the data to this file")
            ->type_name("FILE");
    CLI::Option *text = command->add_flag("--text", options->as_text,
                                          "End the data before its first zero byte, as a text");
    command
        ->add_flag("--json", options->json,
                   "Print an object, with the data as text or as hexadecimal digits")
        ->excludes(output)
        ->excludes(text);
    command->footer("Example:\n  vor tags get label.vor job --text\n"
                    "  vor tags get label.vor icc -o label.icc");
}

void add_set(CLI::App *tags, const Shared &options, Job *job) {
    CLI::App *command =
        add_action(tags, "set", "Adds a tag, or gives it other data", set_tag, options, job);
    add_file(command, options);
    command->add_option("NAME", options->name, "The tag, 1 to 31 bytes")
        ->required()
        ->check(CLI::Validator(check_name, ""));
    command->add_option("TEXT", options->text,
                        "The data, a text: a zero byte goes behind it, and more of them up to a "
                        "multiple of 4 bytes");
    command->add_option("--file", options->data_file, "Take the data from this file")
        ->type_name("FILE");
    command->add_flag("--stdin", options->from_input, "Take the data from the standard input");
    CLI::Option *text = command->add_flag(
        "--text", options->as_text, "The file or the standard input is a text, ended as TEXT");
    command
        ->add_flag("--pad", options->pad,
                   "Fill the data up with zero bytes to a multiple of 4 bytes; otherwise such data "
                   "is refused")
        ->excludes(text);
    command->footer(
        "The file is changed in its place, whatever its size, and only its end and its header. At "
        "any moment, also if the command is killed, the file has its tags, the old ones or the "
        "new. "
        "If the disk is full, the file stays as it was.\n"
        "Example:\n  vor tags set label.vor job \"4711, cylinder 3\"\n"
        "  vor tags set label.vor icc --file label.icc --pad");
}

void add_remove(CLI::App *tags, const Shared &options, Job *job) {
    CLI::App *command = add_action(tags, "remove", "Removes tags, all that are named or none",
                                   remove_tags, options, job);
    add_file(command, options);
    command->add_option("NAME", options->names, "The tags")->required();
    command->footer("The file is changed in its place, as by vor tags set.\n"
                    "Example:\n  vor tags remove label.vor job icc");
}

void add_import(CLI::App *tags, const Shared &options, Job *job) {
    CLI::App *command = add_action(tags, "import", "Adds the tags of a file of tags, all or none",
                                   import_tags, options, job);
    add_file(command, options);
    command
        ->add_option("FILE_OF_TAGS", options->tag_file,
                     "Lines: a name, the lines of its text, an empty line; or :N:NAME and N bytes")
        ->required();
    command->footer("A tag that the file has already gets the new data. The file is changed in its "
                    "place, as by vor tags set.\n"
                    "Example:\n  vor tags import label.vor job.tags");
}

void add_export(CLI::App *tags, const Shared &options, Job *job) {
    CLI::App *command =
        add_action(tags, "export", "Writes the tags to a file of tags", export_tags, options, job);
    add_file(command, options);
    command->add_option("FILE_OF_TAGS", options->tag_file, "The file to make")->required();
    command->footer("Tags without data are left out.\n"
                    "Example:\n  vor tags export label.vor job.tags");
}

} // namespace

void add_tags(CLI::App *app, Job *job) {
    auto options = std::make_shared<TagOptions>();
    CLI::App *tags = app->add_subcommand("tags", "Lists, reads and changes tags of native files");
    tags->require_subcommand(1);
    add_list(tags, options, job);
    add_get(tags, options, job);
    add_set(tags, options, job);
    add_remove(tags, options, job);
    add_import(tags, options, job);
    add_export(tags, options, job);
    tags->footer("A tag is a block of data with a name, which programs keep in a native file.\n"
                 "Example:\n  vor tags list label.vor\n  vor tags set label.vor job 4711");
}

} // namespace vor::tool
