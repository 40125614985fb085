// The rows of `vor explain` as text and as JSON. Both go out as they come, since a file has more
// rows than memory holds.

#include <charconv>
#include <iostream>

#include <nlohmann/json.hpp>

#include "explain_rows.h"
#include "interrupt.h"
#include "report.h"

namespace vor::tool {
namespace {

using Json = nlohmann::ordered_json;

const char *order_name(ByteOrder order) {
    return order == ByteOrder::little ? "little-endian" : "big-endian";
}

// ---- text

constexpr size_t text_bytes = 8; // of a row in the text
constexpr int bytes_column = 26; // with the ".." behind them

std::string hex_bytes(const Row &row) {
    std::string text;
    for (size_t i = 0; i < row.image.size() && i < text_bytes; ++i)
        text += format(i == 0 ? "%02X" : " %02X", row.image[i]);
    const bool whole = row.bytes <= static_cast<int64_t>(text_bytes) || text.empty();
    return whole ? text : text + " ..";
}

// As few digits as tell the number from any other.
std::string shortest(double value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

std::string value_text(const Row &row) {
    if (!row.shown.empty()) return row.shown;
    if (const auto *number = std::get_if<int64_t>(&row.value)) {
        return format("%lld", static_cast<long long>(*number));
    }
    if (const auto *real = std::get_if<double>(&row.value)) return shortest(*real);
    const auto *text = std::get_if<std::string>(&row.value);
    return text ? *text : "";
}

void print_trimmed(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    std::cout << line << "\n";
}

class TextSink : public RowSink {
public:
    explicit TextSink(std::string file) : file_(std::move(file)) {}

    void begin(const NativeLayout &layout) override {
        digits_ = layout.file_bytes > 0xFFFFFFFF ? 12 : layout.file_bytes > 0xFFFF ? 8 : 4;
        std::cout << file_
                  << format(": native file, %lld bytes, %s\n",
                            static_cast<long long>(layout.file_bytes), order_name(layout.order));
    }

    void begin_part(const Part &part) override {
        unpacked_ = part.unpacked;
        std::string title = part.name;
        if (part.number) title += format(" %lld", static_cast<long long>(*part.number));
        if (part.offset && !unpacked_) title += " at " + hexadecimal(*part.offset);
        if (part.offset) title += ", " + counted(part.bytes, "byte", "bytes");
        std::cout << "\n" << title << (part.text.empty() ? "" : ": " + part.text) << "\n";
    }

    void row(const Row &row) override {
        const std::string place =
            format("%0*llX", digits_, static_cast<unsigned long long>(row.offset));
        print_trimmed(format("%c %s%s  %-*s  %-12s %-16s %s", row.damaged ? '!' : ' ',
                             unpacked_ ? "+" : "", place.c_str(), bytes_column,
                             hex_bytes(row).c_str(), row.field.c_str(), value_text(row).c_str(),
                             row.meaning.c_str()));
        check_output();
    }

    void more(int64_t count, const std::string &things) override {
        std::cout << format("  ... %lld more %s\n", static_cast<long long>(count), things.c_str());
    }

    void end(bool) override {}

private:
    std::string file_;
    int digits_ = 4;
    bool unpacked_ = false;
};

// ---- JSON

std::string dumped(const Json &json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json json_value(const RowValue &value) {
    return std::visit(
        [](const auto &held) -> Json {
            if constexpr (std::is_same_v<decltype(held), const std::monostate &>) {
                return nullptr;
            } else {
                return held;
            }
        },
        value);
}

Json json_row(const Row &row) {
    std::string image;
    for (const uint8_t byte : row.image)
        image += format("%02x", byte);
    return {{"offset", row.offset},
            {"size", row.bytes},
            {"bytes", image},
            {"field", row.field},
            {"value", json_value(row.value)},
            {"meaning", row.meaning},
            {"damaged", row.damaged}};
}

// An object whose parts have a line a row.
class JsonSink : public RowSink {
public:
    explicit JsonSink(std::string file) : file_(std::move(file)) {}

    void begin(const NativeLayout &layout) override {
        std::cout << "{\n  \"file\": " << dumped(file_)
                  << ",\n  \"file_bytes\": " << layout.file_bytes
                  << ",\n  \"byte_order\": " << dumped(order_name(layout.order))
                  << ",\n  \"parts\": [";
    }

    void begin_part(const Part &part) override {
        end_part();
        Json json = {{"part", part.name},  {"number", nullptr},         {"offset", nullptr},
                     {"size", part.bytes}, {"unpacked", part.unpacked}, {"text", part.text}};
        if (part.number) json["number"] = *part.number;
        if (part.offset) json["offset"] = *part.offset;
        std::string text = dumped(json);
        text.pop_back();
        std::cout << (parts_++ == 0 ? "\n    " : ",\n    ") << text << ",\"rows\":[";
    }

    void row(const Row &row) override {
        std::cout << (rows_++ == 0 ? "\n      " : ",\n      ") << dumped(json_row(row));
        check_output();
    }

    void more(int64_t count, const std::string &) override { left_out_ += count; }

    void end(bool damaged) override {
        end_part();
        std::cout << (parts_ == 0 ? "]" : "\n  ]")
                  << ",\n  \"damaged\": " << (damaged ? "true" : "false") << "\n}\n";
    }

private:
    void end_part() {
        if (parts_ > 0) {
            std::cout << (rows_ == 0 ? "]" : "\n    ]") << ",\"left_out\":" << left_out_ << "}";
        }
        rows_ = 0;
        left_out_ = 0;
    }

    std::string file_;
    int64_t parts_ = 0;
    int64_t rows_ = 0;
    int64_t left_out_ = 0;
};

} // namespace

std::unique_ptr<RowSink> make_text_sink(const std::string &file) {
    return std::make_unique<TextSink>(file);
}

std::unique_ptr<RowSink> make_json_sink(const std::string &file) {
    return std::make_unique<JsonSink>(file);
}

} // namespace vor::tool
