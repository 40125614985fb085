// Makes and shows small images as text, for the cases of this folder.
//
//   image_art make FILE KIND [NAME=VALUE...]   tracks from the standard input, a line each
//   image_art show FILE...                     tracks of image files
//   image_art png FILE                         pixels of a PNG file
//
// In a line "#" is a pixel of code 0 and "." one of 255; where the first line of the input has
// neither, the lines are hexadecimal codes with blanks between. KIND is fw8, fw16, fw88, the same
// with a z behind it for deflated, or a minor number in hexadecimal. NAME is xres, yres (pixels per
// mm), stop (TRACK:first, last or single), tag (NAME:TEXT), table (INDEX:VALUE of its entry 1),
// param (a value for parameter a), or swapped (1).

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <png.h>

#include "formats/formats.h"
#include "trackfile/lf.h"
#include "vor/vor.h"

namespace {

using Row = std::vector<uint32_t>;

void must(bool good, const std::string &what) {
    if (!good) throw std::runtime_error("image_art: " + what + " failed");
}

std::string head_of(const std::string &text, char separator) {
    return text.substr(0, text.find(separator));
}

std::string rest_of(const std::string &text, char separator) {
    const size_t at = text.find(separator);
    return at == std::string::npos ? "" : text.substr(at + 1);
}

// ---- text

bool is_drawn(const std::string &line) {
    return line.find_first_not_of("#.") == std::string::npos;
}

Row parse_row(const std::string &line) {
    Row row;
    if (is_drawn(line)) {
        for (const char c : line)
            row.push_back(c == '#' ? 0 : 255);
        return row;
    }
    std::istringstream codes(line);
    for (std::string code; codes >> code;)
        row.push_back(static_cast<uint32_t>(std::stoul(code, nullptr, 16)));
    return row;
}

std::vector<Row> read_rows() {
    std::vector<Row> rows;
    for (std::string line; std::getline(std::cin, line);)
        rows.push_back(parse_row(line));
    return rows;
}

void print_row(const Row &row, bool drawn) {
    for (size_t i = 0; i < row.size(); ++i) {
        if (drawn) {
            std::printf("%c", row[i] == 0 ? '#' : '.');
        } else {
            std::printf("%s%02x", i == 0 ? "" : " ", row[i]);
        }
    }
    std::printf("\n");
}

// ---- making

struct Options {
    int32_t minor_number = 0;
    uint32_t mode = LF_WRITE;
    double xres = 0;
    double yres = 0;
    std::vector<std::string> stops;
    std::vector<std::string> tags;
    std::vector<std::string> tables;
    std::vector<std::string> parameters;
};

int32_t parse_kind(std::string kind) {
    uint32_t packed = 0;
    if (kind.back() == 'z') {
        packed = VT_DEFLATED;
        kind.pop_back();
    }
    const uint32_t coding = kind == "fw8"    ? VT_FW8
                            : kind == "fw16" ? VT_FW16
                            : kind == "fw88" ? VT_FW88
                                             : static_cast<uint32_t>(std::stoul(kind, nullptr, 16));
    return static_cast<int32_t>(coding | packed);
}

void take_option(const std::string &text, Options *options) {
    const std::string name = head_of(text, '=');
    const std::string value = rest_of(text, '=');
    if (name == "xres") options->xres = std::stod(value);
    if (name == "yres") options->yres = std::stod(value);
    if (name == "swapped") options->mode |= LF_SWAPPED;
    if (name == "stop") options->stops.push_back(value);
    if (name == "tag") options->tags.push_back(value);
    if (name == "table") options->tables.push_back(value);
    if (name == "param") options->parameters.push_back(value);
    if (!options->stops.empty()) options->mode |= LF_STOPS;
}

void add_stop(xvor_t *h, const std::string &text) {
    const std::string kind = rest_of(text, ':');
    const uint32_t bits = kind == "last"     ? LF_STOP_LAST
                          : kind == "single" ? LF_STOP_SINGLE
                                             : LF_STOP_FIRST;
    must(lfsetstop(h, std::stoi(text), bits) == 0, "a stop");
}

void add_tag(xvor_t *h, const std::string &text) {
    const std::string payload = rest_of(text, ':');
    const size_t room = (payload.size() + 4) / 4 * 4; // with a zero byte, filled up
    std::vector<uint32_t> block((VOR_TAGHEAD + room) / 4);
    vortag head{};
    head.tagsize = static_cast<uint32_t>(VOR_TAGNAME + room);
    head_of(text, ':').copy(head.tagname, sizeof head.tagname - 1);
    auto *bytes = reinterpret_cast<char *>(block.data());
    std::memcpy(bytes, &head, sizeof head);
    payload.copy(bytes + VOR_TAGHEAD, payload.size());
    must(lfspecial(h, LFS_ADD_TAG, block.data()) == 0, "a tag");
}

void add_table(xvor_t *h, const std::string &text) {
    std::vector<uint16_t> table(256);
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<uint16_t>(i);
    table[1] = static_cast<uint16_t>(std::stoi(rest_of(text, ':')));
    vor_ctabreq request{.index = std::stoi(text), .create = 1, .table = table.data()};
    must(lfspecial(h, LFS_SET_CTAB, &request) == 0, "a table");
    for (uint16_t i = 0; i < LF_NCOLORS; ++i)
        lfctable(h)[i] = i;
}

void add_parameter(xvor_t *h, const std::string &text) {
    double value = std::stod(text);
    must(lfspecial(h, LFS_SET_PARAM_A, &value) == 0, "a parameter");
}

void write_rows(xvor_t *h, const std::vector<Row> &rows) {
    trackbuf track;
    must(gtgrow(&track, static_cast<uint32_t>(rows.front().size()), 1, 0) == 0, "memory");
    for (size_t y = 0; y < rows.size(); ++y) {
        track.nruns = 0;
        for (const uint32_t code : rows[y]) {
            if (track.nruns == 0 || track.data[track.nruns - 1].colour != code) {
                track.data[track.nruns++] = {0, code};
            }
            ++track.data[track.nruns - 1].length;
        }
        must(lfwrite(h, &track, static_cast<int32_t>(y)) == 0, "writing");
    }
    gtfree(&track);
}

void make(const std::string &name, const Options &options) {
    const std::vector<Row> rows = read_rows();
    lfinfo info;
    lffiletype(name.c_str(), &info); // loads the format of the suffix
    const int32_t type = lffdev(lffmtguess(name.c_str()), options.minor_number);
    xvor_t *h = lfopen(name.c_str(), options.mode, type, nullptr);
    must(h, "opening");
    must(lfsetsize(h, static_cast<int32_t>(rows.size()),
                   static_cast<int32_t>(rows.front().size())) == 0,
         "the size");
    if (options.xres > 0) must(lfscale(h, options.xres, options.yres) == 0, "the resolution");
    if (options.xres == 0 && lffmtguess(name.c_str()) != 0) h->xres = h->yres = 0;
    must(lfcheck(h) == 0, "the check");
    for (const std::string &table : options.tables)
        add_table(h, table);
    for (const std::string &stop : options.stops)
        add_stop(h, stop);
    for (const std::string &tag : options.tags)
        add_tag(h, tag);
    for (const std::string &parameter : options.parameters)
        add_parameter(h, parameter);
    write_rows(h, rows);
    must(lfclose(h) == 0, "the close");
}

// ---- showing

Row pixels_of(const trackbuf &track) {
    Row row;
    for (int32_t i = 0; i < track.nruns; ++i)
        row.insert(row.end(), track.data[i].length, track.data[i].colour);
    return row;
}

void show(const std::string &name) {
    xvor_t *h = lfopen(name.c_str(), LF_READ, 0, nullptr);
    must(h && lfcheck(h) == 0, "opening " + name);
    for (uint16_t i = 0; i < LF_NCOLORS; ++i)
        lfctable(h)[i] = i;
    std::printf("%s: %d x %d, %d bits, %.4g x %.4g per mm\n", name.c_str(), h->xsize, h->ysize,
                h->bits, h->xres, h->yres);
    trackbuf track;
    must(gtgrow(&track, static_cast<uint32_t>(h->ysize), 1, 0) == 0, "memory");
    for (int32_t n = 0; n < h->xsize; ++n) {
        must(lfread(h, &track, n) >= 0, "reading");
        print_row(pixels_of(track), h->bits == 1);
    }
    gtfree(&track);
    lfclose(h);
}

void show_png(const std::string &name) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    must(png_image_begin_read_from_file(&image, name.c_str()) != 0, "opening " + name);
    must(image.format == PNG_FORMAT_GRAY, "the kind of " + name);
    std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(image));
    must(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) != 0, "reading " + name);
    std::printf("%s: %u x %u\n", name.c_str(), image.width, image.height);
    for (uint32_t y = 0; y < image.height; ++y) {
        const uint8_t *row = pixels.data() + static_cast<size_t>(y) * image.width;
        print_row(Row(row, row + image.width), false);
    }
}

void run(const std::vector<std::string> &arguments) {
    must(arguments.size() >= 2, "usage");
    if (arguments[0] == "show") {
        for (size_t i = 1; i < arguments.size(); ++i)
            show(arguments[i]);
    } else if (arguments[0] == "png") {
        show_png(arguments[1]);
    } else {
        must(arguments[0] == "make" && arguments.size() >= 3, "usage");
        Options options;
        options.minor_number = parse_kind(arguments[2]);
        for (size_t i = 3; i < arguments.size(); ++i)
            take_option(arguments[i], &options);
        make(arguments[1], options);
    }
}

} // namespace

int main(int count, char **arguments) {
    vorerror = 0; // a failure shows in what is printed below
    try {
        run({arguments + 1, arguments + count});
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
