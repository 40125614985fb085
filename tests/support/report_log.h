// Records the failure reports of track file calls in place of the log.
#ifndef VOR_TESTS_REPORT_LOG_H
#define VOR_TESTS_REPORT_LOG_H

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "trackfile/lf.h"

namespace vor::test {

struct Report {
    const xvor_t *handle; // may be gone by the time a test looks
    std::string text;
    std::optional<std::string> extra;

    // "where: message | extra", without the file name, the context lines and the operating system's
    // words. The message of a warning, which has none of its own, shows as "warning".
    std::string brief() const {
        const size_t colon = text.find(": ");
        const std::string where = text.substr(0, colon);
        std::string message = colon == std::string::npos ? "" : text.substr(colon + 2);
        if (!message.empty() && message[0] == '"') message.erase(0, message.find("\": ") + 3);
        message.erase(std::min(message.find('\n'), message.size()));
        const std::string os = "last os error";
        if (const size_t at = message.find(os); at != std::string::npos)
            message.erase(at + os.size());
        if (message.empty()) message = "warning";
        return where + ": " + message + (extra ? " | " + *extra : "");
    }
};

using Lines = std::vector<std::string>;

// Hears all reports while it lives; the default reporter, or the log around it, is back afterwards.
class ReportLog {
public:
    ReportLog() : outer_(current()) {
        current() = this;
        lfsetperror(hear);
    }
    ~ReportLog() {
        current() = outer_;
        lfsetperror(outer_ ? hear : nullptr);
    }
    ReportLog(const ReportLog &) = delete;
    ReportLog &operator=(const ReportLog &) = delete;

    size_t size() const { return reports_.size(); }
    bool empty() const { return reports_.empty(); }
    const Report &operator[](size_t i) const { return reports_.at(i); }

    // The reports so far in brief; the log is empty afterwards.
    Lines take() {
        Lines lines;
        for (const Report &report : reports_)
            lines.push_back(report.brief());
        reports_.clear();
        return lines;
    }

private:
    static ReportLog *&current() {
        static ReportLog *log = nullptr;
        return log;
    }

    static int32_t hear(xvor_t *h, const char *text, const char *extra) {
        Report report = {h, text, std::nullopt};
        if (extra) report.extra = extra;
        current()->reports_.push_back(std::move(report));
        return 0;
    }

    ReportLog *outer_;
    std::vector<Report> reports_;
};

} // namespace vor::test

#endif
