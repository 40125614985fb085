// Shared objects on a POSIX system: files of the Executable and Linkable Format.
//
// The system's loader maps the parts of a file that its program headers name, and looks into them
// without asking whether the file reaches that far: a part behind the end of the file ends the
// process. So a file that was cut short is refused here.
#include "platform/os.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/native_name.h"

namespace vor::os {

const char *const shared_object_suffix = ".so";

namespace {

using FileHeader = ElfW(Ehdr);
using ProgramHeader = ElfW(Phdr);

constexpr unsigned char own_class = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;
constexpr unsigned char own_order =
    std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;

template <class Record>
bool read_at(int fd, uint64_t offset, Record *record) {
    const auto got = ::pread(fd, record, sizeof *record, static_cast<off_t>(offset));
    return got == static_cast<ssize_t>(sizeof *record);
}

// Whether the numbers in it are of this machine's width and order. The rest is the loader's to see.
bool is_own_format(const FileHeader &header) {
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
           header.e_ident[EI_CLASS] == own_class && header.e_ident[EI_DATA] == own_order &&
           header.e_phentsize == sizeof(ProgramHeader);
}

bool lies_within(const ProgramHeader &part, uint64_t size) {
    return part.p_offset <= size && part.p_filesz <= size - part.p_offset;
}

bool holds_all_parts(int fd, uint64_t size) {
    FileHeader header = {};
    if (!read_at(fd, 0, &header) || !is_own_format(header)) return false;
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ProgramHeader part = {};
        if (!read_at(fd, header.e_phoff + i * sizeof part, &part) || !lies_within(part, size))
            return false;
    }
    return true;
}

bool is_whole(const char *name) {
    const int fd = ::open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd == -1) return false;
    struct stat status;
    const bool whole = ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) &&
                       holds_all_parts(fd, static_cast<uint64_t>(status.st_size));
    ::close(fd);
    return whole;
}

} // namespace

void *load_object(const char *name) {
    if (!is_whole(name)) {
        errno = ENOEXEC;
        return nullptr;
    }
    // A name without a separator would send the loader on a search of its own.
    char place[sizeof "./" + native_name_size];
    std::snprintf(place, sizeof place, "%s%s", std::strchr(name, '/') ? "" : "./", name);
    return ::dlopen(place, RTLD_NOW | RTLD_LOCAL);
}

void unload_object(void *object) {
    ::dlclose(object);
}

void *object_symbol(void *object, const char *symbol) {
    return ::dlsym(object, symbol);
}

} // namespace vor::os
