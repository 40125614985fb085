// Failure reports: the code goes into the handle, a text to the reporter.
//
//   where: "file name": text of the code
//           current track: 5 (imgtrk=5), type vor[1], curpos: 700, filpos: 1024

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "formats/formats.h"
#include "platform/file_io.h"
#include "platform/kel.h"
#include "runtime/log.h"
#include "trackfile/handle.h"

int32_t vorerror = 1;

namespace vor {
namespace {

constexpr size_t name_shown = 255; // a longer name is shown by its tail
constexpr size_t tail_shown = 252;

class ReportText {
public:
    VOR_PRINTF(2, 3) void append(const char *format, ...) {
        va_list args;
        va_start(args, format);
        const int wanted = std::vsnprintf(text_ + length_, sizeof text_ - length_, format, args);
        va_end(args);
        if (wanted > 0) length_ += static_cast<size_t>(wanted);
        if (length_ >= sizeof text_) length_ = sizeof text_ - 1;
    }
    const char *c_str() const { return text_; }

private:
    char text_[1024] = "";
    size_t length_ = 0;
};

const char *fixed_text(int32_t code) {
    switch (code) {
    case LFE_REPEAT:
        return "no track to repeat";
    case LFE_MEMORY:
        return "out of memory";
    case LFE_BUFFER:
        return "no buffer allocated";
    case LFE_REQUEST:
        return "request not supported";
    case LFE_NOREAD:
        return "read not supported";
    case LFE_NOWRITE:
        return "write not supported";
    case LFE_FORMAT:
        return "unknown file format";
    case LFE_TRKBEGIN:
        return "invalid begin of track";
    case LFE_TRKEND:
        return "invalid end of track";
    case LFE_CORRUPT:
        return "file corrupted";
    case LFE_ARGUMENT:
        return "invalid argument";
    case LFE_WARNING:
        return "";
    default:
        return nullptr;
    }
}

void append_code(ReportText *text, int32_t code, int32_t arg) {
    if (const char *fixed = fixed_text(code)) {
        text->append("%s", fixed);
        return;
    }
    switch (code) {
    case LFE_COUNT:
        text->append("error count: %d", arg);
        break;
    case LFE_TRACK:
        text->append("invalid track number: %d", arg);
        break;
    case LFE_OPEN:
        text->append("open failed: last os error: %s", last_os_error_text());
        break;
    case LFE_EOF:
        text->append("unexpected EOF: last os error: %s", last_os_error_text());
        break;
    case LFE_OS:
        text->append("last os error: %s", last_os_error_text());
        break;
    default:
        text->append("error code #%d", code);
        break;
    }
}

void append_name(ReportText *text, const char *name) {
    const size_t length = std::strlen(name);
    if (length > name_shown) {
        text->append("\"...%s\": ", name + length - tail_shown);
    } else {
        text->append("\"%s\": ", name);
    }
}

void append_context(ReportText *text, const xvor_t *h) {
    text->append("\n\tcurrent track: %d (imgtrk=%d)", h->track, h->imgtrk);
    const char *format = lffmtname(h->fmt);
    if (format) {
        text->append(", type %s[%d]", format, h->subtype);
    } else {
        text->append(", type %d/%d", h->fmt, h->subtype);
    }
    const int64_t position = kel_lseek(h->fd, 0, KEL_SEEK_CUR);
    text->append(", curpos: %" PRId64 ", filpos: %" PRId64 "\n", lftell(h), position);
}

int32_t log_report(xvor_t *, const char *text, const char *extra) {
    if (extra) {
        logmesg(LOGMESG_ERROR, "%s\n\t%s", text, extra);
    } else {
        logmesg(LOGMESG_ERROR, "%s", text);
    }
    return 0;
}

lf_reporter reporter = log_report;

} // namespace
} // namespace vor

using namespace vor;

int32_t lferror(xvor_t *h, const char *where, int32_t code, int32_t arg, const char *extra) {
    if (h) {
        if (code < 0) code = static_cast<int32_t>(h->error);
        if (code != LFE_WARNING) h->error = static_cast<uint32_t>(code);
    }
    if (code == LFE_NONE) return 0;
    if (vorerror == 0) return -1;

    ReportText text;
    text.append("%s: ", where);
    if (h && h->name) append_name(&text, h->name);
    append_code(&text, code, arg);
    if (h && h->fd >= 0 && code != LFE_WARNING) {
        append_context(&text, h);
    } else {
        text.append("\n");
    }
    reporter(h, text.c_str(), extra);
    return -1;
}

int32_t lfsetperror(lf_reporter new_reporter) {
    reporter = new_reporter ? new_reporter : log_report;
    return 0;
}
