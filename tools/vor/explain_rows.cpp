#include "explain_rows.h"

#include <algorithm>

#include "report.h"

namespace vor::tool {

std::string hexadecimal(int64_t value) {
    return format("0x%llX", static_cast<unsigned long long>(value));
}

std::string counted(int64_t count, const char *one, const char *many) {
    return format("%lld %s", static_cast<long long>(count), count == 1 ? one : many);
}

std::string quoted(std::span<const uint8_t> bytes) {
    std::string text = "\"";
    for (const uint8_t byte : bytes) {
        if (byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\') {
            text += static_cast<char>(byte);
        } else {
            text += byte == '"' ? "\\\"" : byte == '\\' ? "\\\\" : format("\\x%02X", byte);
        }
    }
    return text + "\"";
}

bool RowWriter::is_wanted(const Row &row) const {
    if (!only_) return true;
    return row.bytes > 0 && *only_ >= row.offset && *only_ - row.offset < row.bytes;
}

void RowWriter::begin_part(Part part) {
    held_ = std::move(part);
    if (only_) return;
    sink_.begin_part(*held_);
    held_.reset();
}

void RowWriter::row_of(const Row &row) {
    if (!is_wanted(row)) return;
    if (held_) sink_.begin_part(*held_);
    held_.reset();
    damaged_ = damaged_ || row.damaged;
    told_ = true;
    sink_.row(row);
}

void RowWriter::row(Row row) {
    if (!is_wanted(row)) return;
    const auto wanted = static_cast<size_t>(std::min<int64_t>(row.bytes, shown_bytes));
    const auto image = file_.at(row.offset, wanted);
    row.image.assign(image.begin(), image.end());
    const bool whole = row.offset >= 0 && row.bytes <= file_.size() - row.offset;
    if (!whole) {
        row.value = {};
        row.shown.clear();
        row.meaning = "beyond the end of the file";
        row.damaged = true;
    }
    row_of(row);
}

void RowWriter::remark(int64_t offset, const std::string &field, const std::string &text) {
    row_of(Row(offset, 0, field, text, true));
}

void RowWriter::more(int64_t count, const std::string &things) {
    if (!only_ && count > 0) sink_.more(count, things);
}

} // namespace vor::tool
