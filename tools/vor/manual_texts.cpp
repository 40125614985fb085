#include "manual_texts.h"

namespace vor::tool {
namespace {

// Of whatever opens files of any format.
constexpr std::string_view formats[] = {"KEL_AUTOLOAD", "KEL_NO_AUTOLOAD", "QUORVENTATOP",
                                        "QUORVENTAHOME", "HOME"};

// A type in words is read as programs on the machine read it.
constexpr std::string_view types[] = {
    "KEL_AUTOLOAD", "KEL_NO_AUTOLOAD", "KEL_PRELOAD", "VOR_DEFLATE_ENABLED",
    "QUORVENTATOP", "QUORVENTAHOME",   "HOME"};

constexpr std::string_view rc_files[] = {"GRAVURRC",      "RCDIR", "QUORVENTATOP",
                                         "QUORVENTAHOME", "HOME",  "FORCEWARNINGS"};

constexpr ManualText texts[] = {
    {"vor",
     "A track file is a raster image kept as a sequence of tracks, a track being one line of "
     "pixels along the circumference of a cylinder. Each sub-command has a page of its own.\n\n"
     "Results go to the standard output, messages to the standard error stream, one line each: "
     "vor: FILE: text. Files that are made appear under their names only when they are whole; "
     "until then, and if the job fails or is interrupted, what stood there stays as it was. "
     "Progress is shown on a terminal alone.\n\n"
     "With --json, where there is one, results are JSON (RFC 8259) in UTF-8.",
     formats},
    {"vor info",
     "What is shown comes from the headers and tables of a file, its tracks are not read. "
     "Sections, stops, tags and parameters are those of the native format. A file that cannot be "
     "read makes the status 1, and the others are shown all the same.",
     formats},
    {"vor check", "", formats},
    {"vor dump", "", formats},
    {"vor compare", "", formats},
    {"vor tags", "", formats},
    {"vor stops", "", formats},
    {"vor convert",
     "The suffix of OUT chooses the format, and the image whether it is written gray or in two "
     "levels. Codes go through the curve first and the threshold second; the window is taken out "
     "of the image before it is scaled to its new size.",
     types},
    {"vor preview",
     "Each pixel of the picture is the mean of the pixels of the image that it covers, in parts "
     "where it covers them in part. The picture has the shape that the resolutions of the image "
     "give it.",
     formats},
    {"vor formats",
     "To find out whether a format takes files for an update, a small file of it is written into "
     "the directory for temporary files, which TMPDIR names, and removed again.",
     formats},
    {"vor resolve",
     "A name is searched for with the suffixes of all formats and in all directories of the path. "
     "The rules for a conversion are in the parameter file .autoconvert, in the directory .par of "
     "the home directory or in lib beside that of the program.",
     formats},
    {"vor settings",
     "If no rc file can be used, each of its keys is looked for in the environment.", rc_files},
};

} // namespace

std::span<const ManualText> manual_texts() {
    return texts;
}

} // namespace vor::tool
