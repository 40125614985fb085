// Any bytes as a parameter file. The lines that it gives, written to another file, are what that
// file gives; a line trimmed is a part of the line.
#include <cstring>
#include <string>
#include <vector>

#include "harness.h"
#include "libvor.h"

namespace vor::fuzz {
namespace {

using Lines = std::vector<std::string>;

std::string line_of(const config_file_t &config, int32_t length) {
    const char *const line = config.reader.line;
    require(std::strlen(line) == static_cast<size_t>(length), "a line is as long as its length");
    require(!std::strpbrk(line, "\r\n\f"), "no line end is part of a line");
    return line;
}

Lines lines_of(const char *name, uint32_t flags) {
    Lines lines;
    config_file_t config;
    require(init_config_file(&config, name, flags | CF_PATHOK) == 0, "a file that is there opens");
    for (;;) {
        const int32_t length = read_config_line(&config);
        if (length < 0) break;
        lines.push_back(line_of(config, length));
        const char *const trimmed = trim_config_line(&config);
        require(lines.back().find(trimmed) != std::string::npos, "trimming adds nothing");
        require(!std::strchr("#;", trimmed[0]) || !*trimmed, "a comment is cut");
    }
    require(close_config_file(&config) == 0, "a file can be read to its end");
    return lines;
}

void write_lines(const char *name, const Lines &lines, uint32_t flags) {
    config_file_t config;
    require(init_config_file(&config, name, flags | CF_WRITE | CF_PATHOK) == 0, "a file opens");
    for (const std::string &line : lines) {
        write_config_line(&config, line.c_str());
        write_config_line(&config, "\n");
    }
    require(close_config_file(&config) == 0, "a file takes its lines");
}

} // namespace
} // namespace vor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace vor::fuzz;
    static const ScratchFile input(".par");
    static const ScratchFile output(".par");
    input.store(data, size);
    Choices draw(data, size);
    const uint32_t binary = draw.coin() ? CF_BINARY : 0;
    const uint32_t joined = draw.coin() ? CF_CONTINUE : 0;
    const Lines lines = lines_of(input.name(), binary | joined);
    write_lines(output.name(), lines, binary);
    require(lines_of(output.name(), binary) == lines, "lines survive being written");
    return 0;
}
