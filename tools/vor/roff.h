// The source of a manual page as it is put together. What it is given are plain texts; whatever
// roff would take for its own is told to it in another way.
#ifndef VOR_TOOL_ROFF_H
#define VOR_TOOL_ROFF_H

#include <string>
#include <string_view>

namespace vor::tool {

// A text that may stand anywhere in a page.
std::string roff_text(std::string_view text);

std::string bold(std::string_view text);
std::string italic(std::string_view text);

class RoffPage {
public:
    RoffPage(std::string_view title, std::string_view source);

    void section(std::string_view heading);
    void subsection(std::string_view heading);
    // Paragraphs, an empty line between them, of lines as they stand in a help text: parts of a
    // sentence, whole ones, or entries "Label: words".
    void paragraphs(std::string_view text);
    // A paragraph that is roff already.
    void ready_paragraph(const std::string &roff);
    // An entry of a list: its term, roff already, and what there is to say.
    void entry(const std::string &term, std::string_view text);
    // Lines exactly as they are.
    void example(std::string_view lines);

    const std::string &text() const { return text_; }

private:
    void line(const std::string &roff);
    void begin_paragraph();

    std::string text_;
    bool below_heading_ = false; // where a paragraph begins by itself
};

} // namespace vor::tool

#endif
