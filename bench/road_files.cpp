#include "road_files.h"

#include <png.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <tiffio.h>

#include <cstring>
#include <filesystem>
#include <map>

namespace vor::bench {
namespace {

namespace fs = std::filesystem;

class Directory {
public:
    Directory() {
        const fs::path memory = "/dev/shm";
        const fs::path parent = fs::is_directory(memory) ? memory : fs::temp_directory_path();
        path_ = (parent / "vor_bench_XXXXXX").string();
        require(::mkdtemp(path_.data()) != nullptr, "mkdtemp");
    }
    ~Directory() { fs::remove_all(path_); }
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

const std::string &made_once(const std::string &name,
                             const std::function<void(const std::string &)> &make) {
    static std::map<std::string, std::string> made;
    const auto [entry, is_new] = made.try_emplace(name);
    if (is_new) {
        entry->second = scratch_name(name);
        make(entry->second);
    }
    return entry->second;
}

void write_tiff(const std::string &name, const TrackImage &image, uint16_t compression) {
    TIFF *const tiff = TIFFOpen(name.c_str(), "w");
    require(tiff != nullptr, "TIFFOpen");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, image.pixels);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, image.tracks);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, image.two_levels ? 1 : 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    for (int32_t i = 0; i < image.tracks; ++i) {
        std::string row = packed_row(image.track(i), image);
        require(TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(i), 0) == 1,
                "TIFFWriteScanline");
    }
    TIFFClose(tiff);
}

} // namespace

std::string scratch_name(const std::string &name) {
    static const Directory directory;
    return directory.path() + "/" + name;
}

size_t file_size(const std::string &name) {
    return static_cast<size_t>(fs::file_size(name));
}

void TrackRoom::put(const Runs &runs) {
    track_.data = track_.base + 1;
    track_.nruns = static_cast<int32_t>(runs.size());
    std::memcpy(track_.data, runs.data(), runs.size() * sizeof(lfrun));
}

void write_native(const std::string &name, const TrackImage &image, uint32_t minor) {
    xvor_t *const h =
        lfopen(name.c_str(), LF_WRITE, lffdev(0, static_cast<int32_t>(minor)), nullptr);
    require(h && lfsetsize(h, image.tracks, image.pixels) == 0 && lfscale(h, 100, 100) == 0,
            "opening to write");
    TrackRoom room(static_cast<size_t>(image.pixels));
    for (int32_t i = 0; i < image.tracks; ++i) {
        room.put(image.track(i));
        require(lfwrite(h, room.get(), i) == 0, "lfwrite");
    }
    require(lfclose(h) == 0, "lfclose");
}

const std::string &native_file(const TrackImage &image, uint32_t minor) {
    return made_once(std::string(image.name) + std::to_string(minor) + ".vor",
                     [&](const std::string &name) { write_native(name, image, minor); });
}

const std::string &tiff_file(const TrackImage &image, uint16_t compression) {
    return made_once(std::string(image.name) + std::to_string(compression) + ".tif",
                     [&](const std::string &name) { write_tiff(name, image, compression); });
}

void write_png_rows(const std::string &name, const TrackImage &image,
                    const std::function<std::string(int32_t)> &row_of) {
    std::FILE *const file = std::fopen(name.c_str(), "wb");
    require(file != nullptr, "fopen");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_compression_level(png, 9);
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.pixels),
                 static_cast<png_uint_32>(image.tracks), image.two_levels ? 1 : 8,
                 PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int32_t i = 0; i < image.tracks; ++i) {
        const std::string row = row_of(i);
        png_write_row(png, reinterpret_cast<png_const_bytep>(row.data()));
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

const std::string &png_file(const TrackImage &image) {
    return made_once(std::string(image.name) + ".png", [&](const std::string &name) {
        write_png_rows(name, image, [&](int32_t i) { return packed_row(image.track(i), image); });
    });
}

std::string packed_row(const Runs &runs, const TrackImage &image) {
    std::string row;
    if (!image.two_levels) {
        for (const lfrun &run : runs)
            row.append(run.length, static_cast<char>(run.colour));
        return row;
    }
    row.assign((static_cast<size_t>(image.pixels) + 7) / 8, 0);
    size_t at = 0;
    for (const lfrun &run : runs) {
        for (size_t i = 0; i < run.length; ++i, ++at)
            if (run.colour != 0) row[at / 8] = static_cast<char>(row[at / 8] | 0x80 >> at % 8);
    }
    return row;
}

} // namespace vor::bench
