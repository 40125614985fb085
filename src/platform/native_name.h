// File names on their way to the system.
#ifndef VOR_PLATFORM_NATIVE_NAME_H
#define VOR_PLATFORM_NATIVE_NAME_H

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "platform/kel.h"
#include "platform/os.h"

namespace vor {

// Room for a name that goes to the system, the final zero byte included.
constexpr size_t native_name_size = 1024;

// The name in the system's form, or nothing with errno set if it cannot go there.
class NativeName {
public:
    explicit NativeName(const char *name) {
        if (!name) {
            errno = EFAULT;
        } else if (std::strlen(name) >= sizeof text_) {
            errno = ENAMETOOLONG;
        } else {
            unix_to_native_path(text_, name);
            fits_ = true;
        }
    }
    explicit operator bool() const { return fits_; }
    const char *text() const { return text_; }

private:
    char text_[native_name_size];
    bool fits_ = false;
};

// A native name put together from parts. What does not fit is left out, and `fits` tells.
class NativePath {
public:
    void add(const char *part) {
        const size_t size = std::strlen(part) + 1;
        fits_ = fits_ && size <= sizeof text_ - length_;
        if (!fits_) return;
        unix_to_native_path(text_ + length_, part);
        length_ += size - 1;
    }
    // A separator, unless one stands at the end.
    void separate() {
        if (length_ == 0 || text_[length_ - 1] != os::path_separator) add("/");
    }
    bool fits() const { return fits_; }
    const char *text() const { return text_; }

private:
    char text_[native_name_size] = "";
    size_t length_ = 0;
    bool fits_ = true;
};

} // namespace vor

#endif
