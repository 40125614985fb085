#include "util/shared_object.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/in_child.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using vor::test::FailingMalloc;
using vor::test::in_child;
using vor::test::read_text;
using vor::test::run_in_child;
using vor::test::TempDir;
using vor::test::write_text;

using NumberFunction = int();

// The name under which an object of the samples was loaded, and its number; "none" without one.
std::string opened(const std::string &name) {
    void *const handle = so_open(name.c_str());
    if (!handle) return "none";
    void *const address = so_getsym(handle, "sample_number");
    Dl_info info = {};
    if (!address || !::dladdr(address, &info)) return "no symbol";
    std::string found = info.dli_fname;
    found += " " + std::to_string(reinterpret_cast<NumberFunction *>(address)());
    return so_close(handle) == 0 ? found : "not closed";
}

// The list and the top directory are kept for the life of a process, so each test has a child of
// its own, with this top directory.
class SharedObjects : public ::testing::Test {
protected:
    SharedObjects() { fs::create_directory(path("plugins")); }

    std::string path(const std::string &name) const { return top_.file(name); }
    void put(const std::string &sample, const std::string &name) const {
        fs::create_directories(fs::path(path(name)).parent_path());
        fs::copy_file(sample, path(name));
    }
    template <class Code>
    std::string in_own_process(Code code) const {
        return in_child([&] {
            ::setenv("QUORVENTATOP", top_.path().c_str(), 1);
            return code();
        });
    }
    std::string found(const std::string &name) const {
        return in_own_process([&] { return opened(name); });
    }

    TempDir top_;
    const std::string one_ = VOR_SAMPLE_ONE;
    const std::string two_ = VOR_SAMPLE_TWO;
};

TEST_F(SharedObjects, StartListIsPluginsOfTheTopDirectory) {
    put(one_, "plugins/sample.so");
    EXPECT_EQ(found("sample"), path("plugins/sample.so 1"));
    EXPECT_EQ(found("sample.so"), path("plugins/sample.so 1"));
    EXPECT_EQ(found("other"), "none");
    EXPECT_EQ(found("sample.dll"), "none");
}

TEST_F(SharedObjects, BareNameComesFirst) {
    put(one_, "plugins/sample");
    put(two_, "plugins/sample.so");
    EXPECT_EQ(found("sample"), path("plugins/sample 1"));
    EXPECT_EQ(found("sample.so"), path("plugins/sample.so 2"));
}

TEST_F(SharedObjects, BareNameComesFirstInEachDirectory) {
    put(one_, "first/sample.so");
    put(two_, "second/sample");
    EXPECT_EQ(in_own_process([&] {
                  so_setdir("first", 1);
                  so_setdir("second", 0);
                  return opened("sample");
              }),
              path("first/sample.so 1"));
}

TEST_F(SharedObjects, DirectoriesAreTriedInOrder) {
    put(one_, "first/a.so");
    put(two_, "second/a.so");
    put(two_, "second/b.so");
    EXPECT_EQ(in_own_process([&] {
                  so_setdir("missing", 1);
                  so_setdir("first", 0);
                  so_setdir(path("second").c_str(), 0);
                  return opened("a") + "\n" + opened("b");
              }),
              path("first/a.so 1\n") + path("second/b.so 2"));
}

TEST_F(SharedObjects, ReplacingLeavesTheOneDirectory) {
    put(one_, "plugins/a.so");
    put(one_, "first/b.so");
    put(two_, "second/c.so");
    EXPECT_EQ(in_own_process([&] {
                  so_setdir("first", 1);
                  so_setdir("plugins", 0);
                  std::string results = std::to_string(so_setdir("second", 1)) + "\n";
                  return results + opened("a") + "\n" + opened("b") + "\n" + opened("c");
              }),
              "0\nnone\nnone\n" + path("second/c.so 2"));
}

TEST_F(SharedObjects, AddingToTheStartListFailsAtOnceAndChangesNothing) {
    put(one_, "plugins/a.so");
    put(two_, "more/b.so");
    EXPECT_EQ(in_own_process([&] {
                  std::string results = std::to_string(so_setdir("more", 0)) + "\n";
                  results += std::to_string(so_setdir("plugins", 0)) + "\n";
                  return results + opened("a") + "\n" + opened("b");
              }),
              "-1\n-1\n" + path("plugins/a.so 1\nnone"));
}

TEST_F(SharedObjects, ListedDirectoryIsNotAddedAgain) {
    EXPECT_EQ(in_own_process([&]() -> std::string {
                  so_setdir("first", 1);
                  so_setdir("second", 0);
                  // A new entry would need memory.
                  const FailingMalloc failing(1, true);
                  for (const char *const listed : {"first", "second"})
                      if (so_setdir(listed, 0) != 0) return "failed";
                  return failing.reached() ? "added" : "left alone";
              }),
              "left alone");
}

TEST_F(SharedObjects, ListGrows) {
    put(one_, "directory 130/a.so");
    put(two_, "directory 0/b.so");
    EXPECT_EQ(in_own_process([&]() -> std::string {
                  so_setdir("directory 0", 1);
                  for (int i = 1; i <= 130; ++i) {
                      const std::string directory = "directory " + std::to_string(i);
                      if (so_setdir(directory.c_str(), 0) != 0) return "failed";
                  }
                  return opened("a") + "\n" + opened("b");
              }),
              path("directory 130/a.so 1\n") + path("directory 0/b.so 2"));
}

TEST_F(SharedObjects, CallersTextIsCopied) {
    put(one_, "first/a.so");
    EXPECT_EQ(in_own_process([&] {
                  std::string directory = "first";
                  so_setdir(directory.c_str(), 1);
                  directory = "xxxxx";
                  return opened("a");
              }),
              path("first/a.so 1"));
}

TEST_F(SharedObjects, SeparatorsAreNotDoubled) {
    put(one_, "plugins/a.so");
    EXPECT_EQ(in_own_process([&] {
                  so_setdir("plugins/", 1);
                  std::string results = opened("a");
                  so_setdir(path("plugins/").c_str(), 1);
                  return results + "\n" + opened("a");
              }),
              path("plugins/a.so 1\n") + path("plugins/a.so 1"));
    EXPECT_EQ(in_child([&] {
                  ::setenv("QUORVENTATOP", path("").c_str(), 1);
                  return opened("a");
              }),
              path("plugins/a.so 1"));
}

TEST_F(SharedObjects, AbsoluteNameIgnoresTheListAndGetsTheSuffix) {
    put(one_, "elsewhere/a.so");
    put(two_, "plugins/a.so");
    EXPECT_EQ(found(path("elsewhere/a.so")), path("elsewhere/a.so 1"));
    EXPECT_EQ(found(path("elsewhere/a")), path("elsewhere/a.so 1"));
    EXPECT_EQ(found(path("elsewhere/b")), "none");
    EXPECT_EQ(found("/a"), "none");
}

TEST_F(SharedObjects, NameWithADriveIsTriedAsItStands) {
    put(one_, "plugins/C:a.so");
    put(two_, "current/C:a.so");
    const std::string found = in_own_process([&]() -> std::string {
        if (::chdir(path("current").c_str()) != 0) return "no directory";
        return opened("C:a");
    });
    EXPECT_EQ(found.substr(found.size() - std::strlen("C:a.so 2")), "C:a.so 2") << found;
}

TEST_F(SharedObjects, RelativeNameMayHoldADirectory) {
    put(one_, "plugins/sub/a.so");
    EXPECT_EQ(found("sub/a"), path("plugins/sub/a.so 1"));
}

TEST_F(SharedObjects, EmptyListOpensNothing) {
    put(one_, "plugins/a.so");
    EXPECT_EQ(in_own_process([&] {
                  std::string results = std::to_string(so_setdir(nullptr, 1)) + "\n";
                  results += opened("a") + "\n" + opened(path("plugins/a.so")) + "\n";
                  results += std::to_string(so_setdir(nullptr, 0)) + "\n" + opened("a") + "\n";
                  results += std::to_string(so_setdir("plugins", 0)) + "\n";
                  return results + opened("a");
              }),
              "0\nnone\nnone\n0\nnone\n0\n" + path("plugins/a.so 1"));
}

TEST_F(SharedObjects, OutOfMemoryGoesBackToTheStartList) {
    put(one_, "plugins/a.so");
    put(two_, "second/b.so");
    const std::string start = path("plugins/a.so 1") + "\nnone\n-1";
    // The list of 64 entries, its first one and the list that grows.
    for (long nth = 1; nth <= 67; ++nth) {
        const std::string results = in_own_process([&] {
            bool failed = false;
            {
                const FailingMalloc failing(nth);
                failed = so_setdir("second", 1) != 0;
                for (int i = 0; i < 64 && !failed; ++i)
                    failed = so_setdir(std::to_string(i).c_str(), 0) != 0;
                if (!failing.reached() || !failed) return std::string("no failure");
            }
            return opened("a") + "\n" + opened("b") + "\n" + std::to_string(so_setdir("b", 0));
        });
        ASSERT_EQ(results, start) << nth;
    }
}

TEST_F(SharedObjects, ListIsFreedWhenItIsGivenUp) {
    // Here and not in a child, so that a build that looks for lost memory sees it.
    EXPECT_EQ(so_setdir("first", 1), 0);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(so_setdir(std::to_string(i).c_str(), 0), 0);
    EXPECT_EQ(so_setdir("second", 1), 0);
    const FailingMalloc failing(1);
    EXPECT_EQ(so_setdir("third", 1), -1);
}

TEST_F(SharedObjects, NothingButARegularFileIsACandidate) {
    fs::create_directory(path("plugins/directory"));
    ASSERT_EQ(::mkfifo(path("plugins/pipe").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", path("plugins/device"));
    fs::create_symlink(path("missing"), path("plugins/dangling"));
    for (const char *const name : {"directory", "pipe", "device", "dangling"}) {
        EXPECT_EQ(found(name), "none") << name;
        const std::string with_suffix = std::string("plugins/") + name + ".so";
        put(one_, with_suffix);
        EXPECT_EQ(found(name), path(with_suffix) + " 1") << "the search goes on";
    }
}

TEST_F(SharedObjects, LinkToAnObjectIsFollowed) {
    put(one_, "plugins/a.so.1");
    fs::create_symlink("a.so.1", path("plugins/a.so"));
    EXPECT_EQ(found("a"), path("plugins/a.so 1"));
}

TEST_F(SharedObjects, UnreadableFileIsPassedOver) {
    put(one_, "first/a.so");
    put(two_, "second/a.so");
    ASSERT_EQ(::chmod(path("first/a.so").c_str(), 0000), 0);
    ASSERT_EQ(::chmod(top_.path().c_str(), 0755), 0);
    EXPECT_EQ(in_own_process([&]() -> std::string {
                  if (::geteuid() == 0 && ::setuid(65534) != 0) return "no other user";
                  so_setdir("first", 1);
                  so_setdir("second", 0);
                  return opened("a");
              }),
              path("second/a.so 2"));
}

TEST_F(SharedObjects, FileThatDoesNotLoadEndsTheSearch) {
    put(one_, "plugins/text.so");
    write_text(path("plugins/text"), "This is no shared object.\n");
    EXPECT_EQ(found("text"), "none");
    write_text(path("plugins/empty"), "");
    EXPECT_EQ(found("empty"), "none");
    put(VOR_SAMPLE_NEEDY, "plugins/needy.so");
    put(one_, "second/needy.so");
    EXPECT_EQ(in_own_process([&] {
                  so_setdir("plugins", 1);
                  so_setdir("second", 0);
                  return opened("needy");
              }),
              "none");
}

// The bytes up to which the loader needs the file.
size_t needed_size(const std::string &object) {
    ElfW(Ehdr) header;
    std::memcpy(&header, object.data(), sizeof header);
    size_t needed = 0;
    for (size_t i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) part;
        std::memcpy(&part, object.data() + header.e_phoff + i * sizeof part, sizeof part);
        needed = std::max(needed, static_cast<size_t>(part.p_offset + part.p_filesz));
    }
    return needed;
}

TEST_F(SharedObjects, FileCutShortDoesNotLoad) {
    const std::string whole = read_text(one_);
    const size_t needed = needed_size(whole);
    ASSERT_LT(needed, whole.size());
    const auto load = [&](size_t size) {
        const std::string name = "cut" + std::to_string(size);
        write_text(path("plugins/" + name), std::string_view(whole).substr(0, size));
        const std::string result = opened(name);
        fs::remove(path("plugins/" + name));
        return result;
    };
    EXPECT_EQ(in_own_process([&]() -> std::string {
                  for (size_t size = 0; size < needed; size += size < 1024 ? 1 : 61)
                      if (load(size) != "none") return "loaded: " + std::to_string(size);
                  if (load(needed - 1) != "none") return "loaded without its last byte";
                  return load(needed) != "none" ? "whole ones alone" : "never loaded";
              }),
              "whole ones alone");
}

TEST_F(SharedObjects, ObjectOfAnotherMachineDoesNotLoad) {
    for (const size_t at : {0u, 4u, 5u, 54u}) { // magic, width, byte order, size of the parts' rows
        std::string bytes = read_text(one_);
        bytes[at] = static_cast<char>(bytes[at] ^ 3);
        write_text(path("plugins/a.so"), bytes);
        EXPECT_EQ(found("a"), "none") << at;
    }
}

TEST_F(SharedObjects, PartsFarOutsideTheFileDoNotLoad) {
    std::string bytes = read_text(one_);
    ElfW(Ehdr) header;
    std::memcpy(&header, bytes.data(), sizeof header);
    for (const uint64_t place :
         {UINT64_MAX, UINT64_MAX - 8, UINT64_C(1) << 63, UINT64_C(1) << 40}) {
        header.e_phoff = static_cast<decltype(header.e_phoff)>(place);
        std::memcpy(bytes.data(), &header, sizeof header);
        write_text(path("plugins/a.so"), bytes);
        EXPECT_EQ(found("a"), "none") << place;
    }
}

TEST_F(SharedObjects, NameTooLongIsPassedOver) {
    put(one_, "plugins/a.so");
    const std::string fill = path("plugins") + std::string(1023 - path("plugins/a.so").size(), '/');
    EXPECT_NE(found(fill + "/a.so"), "none") << "1023 bytes";
    EXPECT_EQ(found(fill + "//a.so"), "none");
    EXPECT_NE(found(fill + "/a"), "none") << "1023 bytes with the suffix";
    EXPECT_EQ(found(fill + "//a"), "none");
    EXPECT_EQ(found(std::string(100000, 'a')), "none");
    EXPECT_EQ(in_own_process([&] {
                  so_setdir(std::string(5000, 'd').c_str(), 1);
                  so_setdir("plugins", 0);
                  return opened("a");
              }),
              path("plugins/a.so 1"));
}

TEST_F(SharedObjects, NoNameOpensNothing) {
    EXPECT_EQ(found(""), "none");
    EXPECT_EQ(in_own_process([] { return std::string(so_open(nullptr) ? "opened" : "none"); }),
              "none");
}

TEST_F(SharedObjects, SymbolsAreFunctionsAndVariables) {
    put(one_, "plugins/a.so");
    EXPECT_EQ(in_own_process([&]() -> std::string {
                  void *const handle = so_open("a");
                  if (so_getsym(handle, "no_such_symbol")) return "a symbol that is not there";
                  const void *const text = so_getsym(handle, "sample_text");
                  std::string found = text ? static_cast<const char *>(text) : "no text";
                  so_close(handle);
                  return found;
              }),
              "sample");
}

TEST_F(SharedObjects, NoHandleHasNoSymbolsAndMayBeClosed) {
    EXPECT_EQ(so_getsym(nullptr, "malloc"), nullptr);
    EXPECT_EQ(so_close(nullptr), 0);
}

TEST_F(SharedObjects, ClosingUnloadsAtTheLastOfItsHandles) {
    put(one_, "plugins/a.so");
    EXPECT_EQ(in_own_process([&] {
                  const std::string name = path("plugins/a.so");
                  const auto is_loaded = [&] {
                      void *const handle = ::dlopen(name.c_str(), RTLD_NOW | RTLD_NOLOAD);
                      if (handle) ::dlclose(handle);
                      return handle ? "loaded " : "gone ";
                  };
                  void *const first = so_open("a");
                  void *const second = so_open("a");
                  std::string states = is_loaded();
                  so_close(first);
                  states += is_loaded();
                  so_close(second);
                  return states + is_loaded();
              }),
              "loaded loaded gone ");
}

TEST_F(SharedObjects, SymbolsOfTwoObjectsKeepApart) {
    put(one_, "plugins/a.so");
    put(two_, "plugins/b.so");
    EXPECT_EQ(in_own_process([&] {
                  void *const first = so_open("a");
                  std::string numbers = opened("b") + "\n";
                  void *const address = so_getsym(first, "sample_number");
                  numbers += std::to_string(reinterpret_cast<NumberFunction *>(address)());
                  so_close(first);
                  return numbers;
              }),
              path("plugins/b.so 2\n1"));
}

} // namespace
