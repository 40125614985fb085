// The linker sends calls of X to __wrap_X, and __real_X is the true one.
#include "support/failing_calls.h"

#include <zlib.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace {

using vor::test::Call;

constexpr auto kinds = static_cast<size_t>(Call::count);

long totals[kinds];
Call failing = Call::count;
long countdown = 0;
const char *zlib_text = nullptr;

bool fails(Call call) {
    ++totals[static_cast<size_t>(call)];
    return call == failing && --countdown == 0;
}

bool io_fails(Call call) {
    if (!fails(call)) return false;
    errno = EIO;
    return true;
}

bool zlib_fails(Call call, z_streamp stream) {
    if (!fails(call)) return false;
    stream->msg = const_cast<char *>(zlib_text);
    return true;
}

} // namespace

namespace vor::test {

FailingCall::FailingCall(Call call, long nth, const char *message) {
    failing = call;
    countdown = nth;
    zlib_text = message;
}

FailingCall::~FailingCall() {
    failing = Call::count;
}

long calls_of(Call call) {
    return totals[static_cast<size_t>(call)];
}

} // namespace vor::test

extern "C" {

int64_t __real_kel_lseek(int32_t fd, int64_t offset, int32_t whence);
int64_t __real_kel_read(int32_t fd, void *buffer, size_t count);
int64_t __real_kel_write(int32_t fd, const void *buffer, size_t count);
int __real_deflateInit_(z_streamp stream, int level, const char *version, int size);
int __real_deflateReset(z_streamp stream);
int __real_deflate(z_streamp stream, int flush);
int __real_inflateInit_(z_streamp stream, const char *version, int size);
int __real_inflateReset(z_streamp stream);
int __real_inflate(z_streamp stream, int flush);

int64_t __wrap_kel_lseek(int32_t fd, int64_t offset, int32_t whence);
int64_t __wrap_kel_read(int32_t fd, void *buffer, size_t count);
int64_t __wrap_kel_write(int32_t fd, const void *buffer, size_t count);
int __wrap_deflateInit_(z_streamp stream, int level, const char *version, int size);
int __wrap_deflateReset(z_streamp stream);
int __wrap_deflate(z_streamp stream, int flush);
int __wrap_inflateInit_(z_streamp stream, const char *version, int size);
int __wrap_inflateReset(z_streamp stream);
int __wrap_inflate(z_streamp stream, int flush);

int64_t __wrap_kel_lseek(int32_t fd, int64_t offset, int32_t whence) {
    return io_fails(Call::seek) ? -1 : __real_kel_lseek(fd, offset, whence);
}

int64_t __wrap_kel_read(int32_t fd, void *buffer, size_t count) {
    return io_fails(Call::read) ? -1 : __real_kel_read(fd, buffer, count);
}

int64_t __wrap_kel_write(int32_t fd, const void *buffer, size_t count) {
    return io_fails(Call::write) ? -1 : __real_kel_write(fd, buffer, count);
}

int __wrap_deflateInit_(z_streamp stream, int level, const char *version, int size) {
    if (zlib_fails(Call::deflate_init, stream)) return Z_MEM_ERROR;
    return __real_deflateInit_(stream, level, version, size);
}

int __wrap_deflateReset(z_streamp stream) {
    return zlib_fails(Call::deflate_reset, stream) ? Z_MEM_ERROR : __real_deflateReset(stream);
}

int __wrap_deflate(z_streamp stream, int flush) {
    return zlib_fails(Call::deflate, stream) ? Z_MEM_ERROR : __real_deflate(stream, flush);
}

int __wrap_inflateInit_(z_streamp stream, const char *version, int size) {
    if (zlib_fails(Call::inflate_init, stream)) return Z_MEM_ERROR;
    return __real_inflateInit_(stream, version, size);
}

int __wrap_inflateReset(z_streamp stream) {
    return zlib_fails(Call::inflate_reset, stream) ? Z_MEM_ERROR : __real_inflateReset(stream);
}

int __wrap_inflate(z_streamp stream, int flush) {
    return zlib_fails(Call::inflate, stream) ? Z_MEM_ERROR : __real_inflate(stream, flush);
}

} // extern "C"
