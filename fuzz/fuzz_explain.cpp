// Whatever bytes a file has, `vor explain` tells what they are: as text and as JSON, by sections,
// by tracks and by offset. The text of a file is bounded by its size, and its JSON is well-formed.

#include <string>

#include <nlohmann/json.hpp>

#include "harness.h"
#include "run_command.h"

namespace vor::fuzz {
namespace {

// Text for the --tracks of a file; either end may be left out.
std::string some_tracks(Choices *draw) {
    const int32_t from = draw->below(12);
    std::string text = draw->coin() ? std::to_string(from) : "";
    text += ":";
    return draw->coin() ? text + std::to_string(from + draw->below(6)) : text;
}

// Nothing is printed about a file that is not native; otherwise the JSON is whole, damaged or not.
void explain_as_json(const char *file, const std::string &tracks) {
    std::string output;
    const int status = run_vor({"explain", "--json", "--tracks", tracks.c_str(), file}, &output);
    if (output.empty()) {
        require(status != 0, "silence is a failure");
        return;
    }
    const nlohmann::json json = nlohmann::json::parse(output, nullptr, false);
    require(!json.is_discarded(), "the JSON of a file is well-formed");
    require(json.at("damaged") == (status == 1), "the status tells of damage");
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile file(".vor");
    file.store(data, size);
    Choices draw(data, size);
    const std::string tracks = some_tracks(&draw);
    const std::string offset = std::to_string(draw.word());
    run_vor({"explain", file.name()});
    explain_as_json(file.name(), tracks);
    if (run_vor({"explain", "--offset", offset.c_str(), file.name()}) == 0) {
        require(std::stoul(offset) < size, "what is told lies in the file");
    }
    return 0;
}
