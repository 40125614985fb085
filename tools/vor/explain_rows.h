// What `vor explain` tells about a file: parts, and rows that stand for some bytes of one.
#ifndef VOR_TOOL_EXPLAIN_ROWS_H
#define VOR_TOOL_EXPLAIN_ROWS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "file_bytes.h"
#include "native_layout.h"

namespace vor::tool {

// The most bytes of a row that are shown.
constexpr size_t shown_bytes = 32;

using RowValue = std::variant<std::monostate, int64_t, double, std::string>;

struct Row {
    Row(int64_t at, int64_t size, std::string name, std::string text = "", bool is_damaged = false)
        : offset(at), bytes(size), field(std::move(name)), meaning(std::move(text)),
          damaged(is_damaged) {}

    int64_t offset = 0;
    int64_t bytes = 0;          // that it stands for; 0 for a remark
    std::vector<uint8_t> image; // the first of them as they stand, as many as the file has
    std::string field;
    RowValue value;
    std::string shown; // the value in the text, if it is not to look like the number that it is
    std::string meaning;
    bool damaged = false;
};

struct Part {
    Part(std::string what, std::optional<int64_t> at, int64_t size, std::string more = "",
         std::optional<int64_t> which = std::nullopt, bool from_stream = false)
        : name(std::move(what)), offset(at), bytes(size), text(std::move(more)), number(which),
          unpacked(from_stream) {}

    std::string name;              // "header", "track", "seek table" ...
    std::optional<int64_t> offset; // nothing where it has no place
    int64_t bytes = 0;
    std::string text;              // more about it
    std::optional<int64_t> number; // of a track
    bool unpacked = false;         // offsets count in what comes out of the track's stream
};

// Where rows go. `row` belongs to the last part begun.
class RowSink {
public:
    RowSink() = default;
    virtual ~RowSink() = default;
    RowSink(const RowSink &) = delete;
    RowSink &operator=(const RowSink &) = delete;

    virtual void begin(const NativeLayout &layout) = 0;
    virtual void begin_part(const Part &part) = 0;
    virtual void row(const Row &row) = 0;
    // So many of `things` are left out.
    virtual void more(int64_t count, const std::string &things) = 0;
    virtual void end(bool damaged) = 0;
};

// Both write to the standard output.
std::unique_ptr<RowSink> make_text_sink(const std::string &file);
std::unique_ptr<RowSink> make_json_sink(const std::string &file);

// What the generators of rows share. `only` restricts them to the rows that an offset lies in, and
// then parts begin with their first such row.
class RowWriter {
public:
    RowWriter(FileBytes &file, const NativeLayout &layout, RowSink &sink,
              std::optional<int64_t> only = std::nullopt)
        : file_(file), layout_(layout), sink_(sink), only_(only) {}

    FileBytes &file() const { return file_; }
    const NativeLayout &layout() const { return layout_; }
    std::optional<int64_t> only() const { return only_; }

    void begin_part(Part part);
    // A row of bytes of the file: its image is taken from there. Where the file does not have them
    // all, that is the damage, and the value goes.
    void row(Row row);
    // A row as it is.
    void row_of(const Row &row);
    // A remark about a place.
    void remark(int64_t offset, const std::string &field, const std::string &text);
    void more(int64_t count, const std::string &things);

    bool damaged() const { return damaged_; }
    // Whether anything has been told.
    bool told() const { return told_; }

private:
    bool is_wanted(const Row &row) const;

    FileBytes &file_;
    const NativeLayout &layout_;
    RowSink &sink_;
    std::optional<int64_t> only_;
    std::optional<Part> held_; // not begun yet
    bool damaged_ = false;
    bool told_ = false;
};

// How much is told of many rows: the first, or all. One row alone is never left out.
struct RowAmount {
    bool all = false;
    int64_t of(int64_t rows) const {
        constexpr int64_t first = 8;
        return all || rows <= first + 1 ? rows : first;
    }
};

// A text in quotes, bytes that do not print as \xNN.
std::string quoted(std::span<const uint8_t> bytes);
std::string hexadecimal(int64_t value); // "0x10E"
// "1 entry", "2 entries".
std::string counted(int64_t count, const char *one, const char *many);

// The rows of each part.
void explain_header(RowWriter *writer);
void explain_section(RowWriter *writer, const NativeSection &section, RowAmount amount);
// What stands behind a damaged tag list is a row of that list, and told with it.
void explain_unused(RowWriter *writer, const ByteRange &range);

} // namespace vor::tool

#endif
