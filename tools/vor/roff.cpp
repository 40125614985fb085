#include "roff.h"

#include <cctype>
#include <sstream>

namespace vor::tool {
namespace {

// What would become a typographic form of itself, or begin an escape.
std::string_view escape_of(char c) {
    switch (c) {
    case '\\':
        return "\\e";
    case '-':
        return "\\-";
    case '\'':
        return "\\(aq";
    case '`':
        return "\\(ga";
    case '^':
        return "\\(ha";
    case '~':
        return "\\(ti";
    case '"':
        return "\\(dq";
    default:
        return {};
    }
}

bool is_capital(char c) {
    return std::isupper(static_cast<unsigned char>(c)) != 0;
}

// Is this line an entry "Label: words"?
bool has_label(std::string_view line) {
    const size_t end = line.find(": ");
    return end != std::string_view::npos && is_capital(line.front()) &&
           line.substr(0, end).find_first_of(" .,;") == std::string_view::npos;
}

bool ends_sentence(std::string_view line) {
    return line.ends_with('.') || line.ends_with(':');
}

// A dot at its beginning would make a line a request.
std::string text_line(std::string_view text) {
    return (text.starts_with('.') ? "\\&" : "") + roff_text(text);
}

} // namespace

std::string roff_text(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const std::string_view escape = escape_of(c);
        result += escape.empty() ? std::string_view(&c, 1) : escape;
    }
    return result;
}

std::string bold(std::string_view text) {
    return "\\fB" + roff_text(text) + "\\fR";
}

std::string italic(std::string_view text) {
    return "\\fI" + roff_text(text) + "\\fR";
}

// A date would make pages of the same sources differ.
RoffPage::RoffPage(std::string_view title, std::string_view source) {
    std::string name = roff_text(title);
    for (char &c : name)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    line(".TH " + name + " 1 \"\" \"" + roff_text(source) + "\" \"Track files\"");
}

void RoffPage::line(const std::string &roff) {
    text_ += roff + "\n";
    below_heading_ = false;
}

void RoffPage::begin_paragraph() {
    if (!below_heading_) line(".PP");
}

void RoffPage::section(std::string_view heading) {
    line(".SH " + roff_text(heading));
    below_heading_ = true;
}

void RoffPage::subsection(std::string_view heading) {
    line(".SS " + roff_text(heading));
    below_heading_ = true;
}

void RoffPage::paragraphs(std::string_view text) {
    begin_paragraph();
    std::istringstream lines{std::string(text)};
    bool is_first = true;
    bool ended = false; // a sentence, with the line before
    for (std::string each; std::getline(lines, each);) {
        if (each.empty()) {
            begin_paragraph();
        } else {
            if (!is_first && (ended || has_label(each))) line(".br");
            line(text_line(each));
        }
        is_first = each.empty();
        ended = ends_sentence(each);
    }
}

void RoffPage::ready_paragraph(const std::string &roff) {
    begin_paragraph();
    line(roff);
}

void RoffPage::entry(const std::string &term, std::string_view text) {
    line(".TP");
    line(term);
    line(text_line(text));
}

void RoffPage::example(std::string_view lines) {
    begin_paragraph();
    line(".EX");
    std::istringstream stream{std::string(lines)};
    for (std::string each; std::getline(stream, each);)
        line(text_line(each));
    line(".EE");
}

} // namespace vor::tool
