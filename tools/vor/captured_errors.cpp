#include "captured_errors.h"

#include <fcntl.h>
#include <unistd.h>

namespace vor::tool {

CapturedErrors::CapturedErrors()
    : file_(std::tmpfile()), saved_(file_ ? ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0) : -1) {
    std::fflush(stderr);
    if (saved_ >= 0) ::dup2(::fileno(file_), STDERR_FILENO);
}

CapturedErrors::~CapturedErrors() {
    std::fflush(stderr);
    if (saved_ >= 0) {
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
    }
    if (file_) std::fclose(file_);
}

std::vector<std::string> CapturedErrors::lines() {
    std::vector<std::string> lines;
    if (!file_) return lines;
    std::fflush(stderr);
    std::rewind(file_);
    std::string line;
    for (int c = std::getc(file_); c != EOF; c = std::getc(file_)) {
        if (c != '\n') {
            line += static_cast<char>(c);
        } else {
            lines.push_back(line);
            line.clear();
        }
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

} // namespace vor::tool
