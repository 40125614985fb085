#include "report.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <string_view>

#include "platform/kel.h"
#include "trackfile/lf.h"

namespace vor::tool {
namespace {

bool no_warnings = false;
std::string current_file;
bool failure_told = false;
std::string unexplained; // stands in where no report says more
std::vector<std::string> *kept = nullptr;
bool loading = false;

// A report begins with the place in the library and the file, which the user is not to see twice.
std::string_view without_prefix(std::string_view text, const xvor_t *h) {
    if (h && h->name) {
        const size_t quote = text.find('"');
        const size_t end = text.find("\": ", quote == std::string_view::npos ? text.size() : quote);
        if (end != std::string_view::npos) return text.substr(end + 3);
    }
    if (text.starts_with(current_file + ": ")) return text.substr(current_file.size() + 2);
    const size_t colon = text.find(": ");
    return colon == std::string_view::npos ? text : text.substr(colon + 2);
}

// The system's text for no error at all is no news.
std::string without_system_words(std::string_view text) {
    constexpr std::string_view words = "last os error: ";
    std::string plain(text);
    const size_t at = plain.find(words);
    if (at == std::string::npos) return plain;
    const char *nothing = ntstrerror(0);
    if (nothing && plain.substr(at + words.size()) == nothing) {
        plain.resize(at);
        while (!plain.empty() && (plain.back() == ' ' || plain.back() == ':'))
            plain.pop_back();
    } else {
        plain.erase(at, words.size());
    }
    return plain;
}

std::string one_line(std::string_view text) {
    std::string line;
    for (const char c : text) {
        const bool blank = c == '\n' || c == '\t' || c == ' ' || c == '\r';
        if (!blank) {
            line += c;
        } else if (!line.empty() && line.back() != ' ') {
            line += ' ';
        }
    }
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    return line;
}

// A bare count is the pixels that a track lacks, or has too many if it is negative.
std::string explained(const std::string &cause) {
    int32_t missing = 0;
    if (std::sscanf(cause.c_str(), "error count: %" SCNd32, &missing) != 1) return cause;
    return format("the pixels do not add up, %" PRId64 " too %s", std::abs(int64_t{missing}),
                  missing > 0 ? "few" : "many");
}

bool tracks_move(const xvor_t *h) {
    return h && (h->flags & LF_CHECKED) != 0 && h->track >= 0;
}

// What a report says, in one line; nothing if it says nothing.
std::optional<std::string> readable(const xvor_t *h, std::string_view text, const char *extra) {
    text = without_prefix(text, h);
    const std::string cause = one_line(without_system_words(text.substr(0, text.find('\n'))));
    const std::string more = extra ? one_line(extra) : "";
    if (cause.empty() && more.empty()) return std::nullopt;
    const bool warning = text.empty() || text.front() == '\n';
    if (warning) return "warning: " + more;
    std::string line = tracks_move(h) ? format("track %d: ", h->track) : "";
    line += more.empty() ? explained(cause) : cause;
    if (!cause.empty() && !more.empty()) line += ": ";
    return line + more;
}

// A suffix that belongs to no format is no failure: the file is opened all the same.
bool is_of_suffix(const char *text) {
    return !loading && std::string_view(text).starts_with("lfloadfmt: ");
}

int32_t hear(xvor_t *h, const char *text, const char *extra) {
    if (is_of_suffix(text)) return 0;
    const std::optional<std::string> said = readable(h, text, extra);
    if (!said) {
        const std::string_view place = std::string_view(text).substr(0, std::strcspn(text, ":"));
        if (unexplained.empty()) unexplained = "damaged or cut short, in " + std::string(place);
        return 0;
    }
    const bool warning = said->starts_with("warning: ");
    if (kept) {
        if (!warning) kept->push_back(*said);
    } else if (warning ? !no_warnings : !failure_told) {
        failure_told = failure_told || !warning;
        complain(h && h->name ? h->name : current_file, *said);
    }
    return 0;
}

} // namespace

std::string format(const char *form, ...) {
    va_list list;
    va_start(list, form);
    va_list again;
    va_copy(again, list);
    const int size = std::vsnprintf(nullptr, 0, form, list);
    va_end(list);
    std::string text(size > 0 ? static_cast<size_t>(size) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, form, again);
    va_end(again);
    return text;
}

std::string system_error_text() {
    const int code = errno;
    const char *text = ntstrerror(code);
    return text ? text : format("system error %d", code);
}

void check_output() {
    if (!std::cout) throw OutputLost();
}

void print_line(const std::string &text) {
    std::cerr << "vor: " + text + "\n";
}

void complain(const std::string &file, const std::string &text) {
    print_line(file.empty() ? text : file + ": " + text);
}

void warn(const std::string &file, const std::string &text) {
    if (!no_warnings) complain(file, "warning: " + text);
}

void start_reports(bool quiet) {
    no_warnings = quiet;
    lfsetperror(hear);
}

AboutFile::AboutFile(const std::string &file) : file_(file), before_(current_file) {
    current_file = file;
    failure_told = false;
    unexplained.clear();
}

AboutFile::~AboutFile() {
    current_file = before_;
}

void AboutFile::give_up(const std::string &otherwise) const {
    if (!failure_told) {
        failure_told = true;
        complain(file_, unexplained.empty() ? otherwise : unexplained);
    }
    throw Told();
}

LoadingFormats::LoadingFormats() {
    loading = true;
}

LoadingFormats::~LoadingFormats() {
    loading = false;
}

KeepReports::KeepReports() : outer_(kept) {
    kept = &texts_;
    unexplained.clear();
}

KeepReports::~KeepReports() {
    kept = outer_;
}

void KeepReports::clear() {
    texts_.clear();
    unexplained.clear();
}

std::string KeepReports::first(const std::string &otherwise) const {
    if (!texts_.empty()) return texts_.front();
    return unexplained.empty() ? otherwise : unexplained;
}

} // namespace vor::tool
