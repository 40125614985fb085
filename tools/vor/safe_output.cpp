#include "safe_output.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <unistd.h>

#include "platform/kel.h"
#include "report.h"

namespace vor::tool {
namespace {

constexpr uint32_t permission_bits = 0777;

// A link stays a link: the file behind it is replaced.
std::string behind_link(const std::string &name) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::canonical(name, error);
    return error ? name : path.string();
}

void refuse_what_is_no_file(const std::string &shown, const std::string &target) {
    kel_stat_t status;
    if (kel_stat(target.c_str(), &status) != 0) return;
    const uint32_t type = status.mode & KEL_S_IFMT;
    if (type == KEL_S_IFDIR) throw Failure(shown, "is a directory");
    if (type != KEL_S_IFREG) throw Failure(shown, "is not a regular file");
    if (kel_access(target.c_str(), KEL_W_OK) != 0) throw Failure(shown, system_error_text());
}

std::string temporary_name(const std::string &target, int attempt) {
    const std::filesystem::path folder = std::filesystem::path(target).parent_path();
    return (folder / format(".vor-%ld-%d.tmp", static_cast<long>(getpid()), attempt)).string();
}

} // namespace

SafeOutput::SafeOutput(const std::string &target) : shown_(target), target_(behind_link(target)) {
    constexpr int32_t flags = KEL_O_WRONLY | KEL_O_CREAT | KEL_O_EXCL | KEL_O_BINARY;
    refuse_what_is_no_file(shown_, target_);
    for (int attempt = 0; fd_ < 0; ++attempt) {
        temporary_ = temporary_name(target_, attempt);
        fd_ = kel_open(temporary_.c_str(), flags, KEL_DEFAULT_PERMISSIONS);
        if (fd_ < 0 && errno != EEXIST) throw Failure(shown_, system_error_text());
    }
}

SafeOutput::~SafeOutput() {
    if (fd_ >= 0) kel_close(fd_);
    if (!committed_) kel_unlink(temporary_.c_str());
}

void SafeOutput::write(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const int64_t written = kel_write(fd_, bytes.data(), bytes.size());
        if (written <= 0) throw Failure(shown_, system_error_text());
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
}

int32_t SafeOutput::take() {
    const int32_t fd = fd_;
    fd_ = -1;
    return fd;
}

void SafeOutput::commit() {
    if (fd_ >= 0 && kel_close(take()) != 0) throw Failure(shown_, system_error_text());
    kel_stat_t status;
    if (kel_stat(target_.c_str(), &status) == 0) {
        kel_chmod(temporary_.c_str(), static_cast<int32_t>(status.mode & permission_bits));
    }
    if (kel_rename(temporary_.c_str(), target_.c_str()) != 0) {
        throw Failure(shown_, system_error_text());
    }
    committed_ = true;
}

} // namespace vor::tool
