// Modules that are loaded by name, by the list in the environment, and for bitmap handles.

#include "formats/format_modules.h"

#include <sys/stat.h>

#include "codecs/codecs.h"
#include "formats/module_fixture.h"
#include "support/codec_handle.h"
#include "support/failing_malloc.h"

namespace vor::test {
namespace {

std::string load(const char *name) {
    return std::to_string(lfloadfmt(name));
}

// What the calls give, and the table behind them.
std::string load_all(std::initializer_list<const char *> names) {
    std::string rows;
    for (const char *const name : names)
        rows += load(name) + " ";
    return rows + table();
}

// ---- lfloadfmt --------------------------------------------------------------------------------

using LoadFormat = ModuleTest;

TEST_F(LoadFormat, RegistersTheRecordOfTheModule) {
    install("good_cvtformat");
    EXPECT_EQ(program([] { return load_all({"good"}); }), "1 vor good");
}

TEST_F(LoadFormat, StoresTheModuleInTheRecord) {
    install("good_cvtformat");
    EXPECT_EQ(program([] {
                  const lffmt_t *const format = lfdescriptor(lfloadfmt("good"));
                  return dlsym(format->module, "good_cvtformat") == format ? "same" : "other";
              }),
              "same");
}

TEST_F(LoadFormat, StartsTheTable) {
    EXPECT_EQ(program([] { return load_all({"vor"}); }), "0 vor");
}

TEST_F(LoadFormat, OfARegisteredNameOpensNoModule) {
    install("good_cvtformat");
    EXPECT_EQ(program([&] {
                  static lffmt_t own = {};
                  own.name = "good";
                  lfregisterfmt(&own);
                  const std::string row = load("good");
                  return row + (is_loaded(plugin("good_cvtformat.so")) ? " loaded" : " not loaded");
              }),
              "1 not loaded");
}

TEST_F(LoadFormat, TwiceGivesTheSameRow) {
    install("good_cvtformat");
    EXPECT_EQ(program([] { return load("good") + load("good"); }), "11");
}

TEST_F(LoadFormat, OfAModuleWithAKnownNameGivesTheRowOfThatName) {
    install("good_cvtformat");
    install("other_cvtformat");
    EXPECT_EQ(program([] { return load_all({"good", "other"}); }), "1 1 vor good");
}

TEST_F(LoadFormat, WithoutSuchAModuleIsReported) {
    EXPECT_EQ(program([] { return load("absent"); }),
              "-1\nlfloadfmt: last os error | no such format: absent");
    EXPECT_EQ(program([] { return load(""); }), "-1\nlfloadfmt: last os error | no such format: ");
    EXPECT_EQ(program([] { return load(nullptr); }),
              "-1\nlfloadfmt: last os error | no such format: ");
}

TEST_F(LoadFormat, ReportsBearNoHandle) {
    EXPECT_EQ(program([] {
                  ReportLog log;
                  lfloadfmt("absent");
                  return log.size() == 1 && !log[0].handle ? "none" : "some";
              }),
              "none");
}

TEST_F(LoadFormat, OfWhatIsNoModuleIsReported) {
    store(plugin("text_cvtformat.so"), "no shared object");
    std::filesystem::create_directory(plugin("folder_cvtformat.so"));
    ASSERT_EQ(::mkfifo(plugin("pipe_cvtformat.so").c_str(), 0600), 0);
    for (const std::string name : {"text", "folder", "pipe"}) {
        EXPECT_EQ(program([&] { return load_all({name.c_str()}); }),
                  "-1 vor\nlfloadfmt: last os error | no such format: " + name);
    }
}

TEST_F(LoadFormat, OfAModuleWithoutTheRecordIsReportedAndTheModuleClosed) {
    install("nothing", "nothing_cvtformat");
    EXPECT_EQ(program([&] {
                  const std::string row = load("nothing");
                  return row + (is_loaded(plugin("nothing_cvtformat.so")) ? " loaded" : " closed");
              }),
              "-1 closed\nnothing: last os error | cannot find init symbol (bad module?)");
}

TEST_F(LoadFormat, OfAModuleWhoseInitRefusesIsReportedAndTheModuleClosed) {
    install("refusing_cvtformat");
    EXPECT_EQ(program([&] {
                  const std::string row = load("refusing");
                  return row +
                         (is_loaded(plugin("refusing_cvtformat.so")) ? " loaded" : " closed") +
                         " " + table();
              }),
              "-1 closed vor\nrefusing: invalid argument | module init failed");
}

TEST_F(LoadFormat, ThatWasRefusedTakesTheModuleOutOfTheRecord) {
    install("refusing_cvtformat");
    EXPECT_EQ(program([&] {
                  // Held open, so that the record can be looked at afterwards.
                  void *const module = dlopen(plugin("refusing_cvtformat.so").c_str(), RTLD_NOW);
                  lfloadfmt("refusing");
                  const auto *record = static_cast<lffmt_t *>(dlsym(module, "refusing_cvtformat"));
                  return record->module ? "there" : "absent";
              }),
              "absent\nrefusing: invalid argument | module init failed");
}

TEST_F(LoadFormat, OfARecordWithoutANameIsRefusedAndTheModuleClosed) {
    install("nameless_cvtformat");
    EXPECT_EQ(program([&] {
                  const std::string row = load("nameless");
                  return row + (is_loaded(plugin("nameless_cvtformat.so")) ? " loaded" : " closed");
              }),
              "-1 closed\nlfregisterfmt: invalid argument | format without a name");
}

TEST_F(LoadFormat, OfARecordWithoutFunctionsIsGood) {
    install("bare_cvtformat");
    store(image("a.picture"), "text");
    set("KEL_NO_AUTOLOAD", "1");
    EXPECT_EQ(program([&] {
                  const int32_t row = lfloadfmt("bare");
                  const std::string name = image("a.picture");
                  const bool read = lfopen(name.c_str(), LF_READ, 0, nullptr) != nullptr;
                  const bool forced =
                      lfopen(name.c_str(), LF_FORCETYPE, lffdev(row, 0), nullptr) != nullptr;
                  const bool written =
                      lfopen(name.c_str(), LF_WRITE, lffdev(row, 0), nullptr) != nullptr;
                  return std::to_string(row) + (read || forced || written ? " opens" : " refuses");
              }),
              "1 refuses\n"
              "vor_detect_format: unknown file format\n"
              "lfdopen: read not supported\n"
              "lfdopen: write not supported");
}

TEST_F(LoadFormat, OfANameThatIsTooLongIsReported) {
    // With "_cvtformat" and a zero byte, 501 characters fill the 512 bytes of a module's name.
    const std::string report = "-1\nlfloadfmt: last os error | no such format: ";
    for (const size_t length : {500u, 501u, 502u, 512u}) {
        const std::string name(length, 'x');
        EXPECT_EQ(program([&] { return load(name.c_str()); }), report + name);
    }
    const std::string endless(100000, 'x');
    EXPECT_EQ(program([&] { return load(endless.c_str()); }), report + std::string(512, 'x'));
}

TEST_F(LoadFormat, WithoutMemoryFailsAndLeavesTheTableAsItWas) {
    EXPECT_EQ(program([&] {
                  int32_t row = 0;
                  {
                      const FailingMalloc no_memory(1);
                      row = lfloadfmt("vor");
                  }
                  return std::to_string(row) + load("vor");
              }),
              "-10\nlfregisterfmt: out of memory");
}

// ---- the list in the environment --------------------------------------------------------------

class AutoloadList : public ModuleTest {
protected:
    std::string started() const {
        return program([] {
            lfregisterfmt(nullptr);
            return table();
        });
    }
};

TEST_F(AutoloadList, IsLoadedWhenTheTableStarts) {
    install("good_cvtformat");
    install("bare_cvtformat");
    set("KEL_AUTOLOAD", "good:bare");
    EXPECT_EQ(started(), "vor good bare");
}

TEST_F(AutoloadList, IsLoadedByTheFirstOpenToo) {
    install("good_cvtformat");
    set("KEL_AUTOLOAD", "good");
    EXPECT_EQ(program([] {
                  lfdopen(-1, "name", LF_READ, 0, nullptr);
                  return table();
              }),
              "vor good");
}

TEST_F(AutoloadList, EmptyItemsArePassedOver) {
    install("good_cvtformat");
    install("bare_cvtformat");
    set("KEL_AUTOLOAD", ":good:::bare:");
    EXPECT_EQ(started(), "vor good bare");
    set("KEL_AUTOLOAD", "");
    EXPECT_EQ(started(), "vor");
    set("KEL_AUTOLOAD", ":");
    EXPECT_EQ(started(), "vor");
}

TEST_F(AutoloadList, TheNativeFormatIsNoModule) {
    install("good_cvtformat");
    set("KEL_AUTOLOAD", "vor:good:vor");
    EXPECT_EQ(started(), "vor good");
}

TEST_F(AutoloadList, AFailureDoesNotStopTheList) {
    install("good_cvtformat");
    set("KEL_AUTOLOAD", "absent:good");
    EXPECT_EQ(started(), "vor good\nlfloadfmt: last os error | no such format: absent");
}

TEST_F(AutoloadList, ANameOfAnyLengthDoesNoHarm) {
    install("good_cvtformat");
    const std::string name(5000, 'x');
    set("KEL_AUTOLOAD", name + ":good");
    EXPECT_EQ(started(),
              "vor good\nlfloadfmt: last os error | no such format: " + name.substr(0, 512));
}

TEST_F(AutoloadList, IsLoadedAlsoWhereLoadingBySuffixIsOff) {
    install("good_cvtformat");
    set("KEL_AUTOLOAD", "good");
    set("KEL_NO_AUTOLOAD", "1");
    EXPECT_EQ(started(), "vor good");
}

// ---- the module of the bitmap codecs ----------------------------------------------------------

class BitmapModule : public ModuleTest {
protected:
    // What becomes of a bitmap handle that wants the codec "fw8".
    static std::string assign(uint32_t flags = LF_BITMAP) {
        CodecHandle h;
        h->flags = flags;
        h.set_window(0, 10, 10);
        if (lfrw_functions(h.get(), "fw8") < 0) return "-1";
        return std::to_string(flags & LF_BITMAP ? h->readtrack(h.get(), nullptr) : 0);
    }
    void install_bitmaps(const char *module) const { install(module, "vortobm"); }

    static constexpr const char *no_codec =
        "\nfw8: invalid argument | Cannot find r/w functions for format";
};

TEST_F(BitmapModule, IsLoadedForTheFirstBitmapHandle) {
    install_bitmaps("bitmaps");
    EXPECT_EQ(program([] { return assign() + assign(); }), "7777");
}

TEST_F(BitmapModule, IsNotLoadedForOtherHandles) {
    install_bitmaps("bitmaps");
    EXPECT_EQ(program([&] {
                  const std::string result = assign(0);
                  return result + (is_loaded(plugin("vortobm.so")) ? " loaded" : " not loaded");
              }),
              "0 not loaded");
}

TEST_F(BitmapModule, IsNotLoadedWhereAProgramHasAFinder) {
    install_bitmaps("bitmaps");
    EXPECT_EQ(program([] {
                  lfbmsetup([](const char *) -> const rle_row * { return nullptr; }, nullptr);
                  return assign();
              }),
              std::string("-1") + no_codec);
}

TEST_F(BitmapModule, IsNotLoadedWhereAutoloadIsOff) {
    install_bitmaps("bitmaps");
    for (const char *const value : {"1", "0", ""}) {
        set("KEL_NO_AUTOLOAD", value);
        EXPECT_EQ(program([] { return assign(); }), std::string("-1") + no_codec);
    }
}

TEST_F(BitmapModule, ThatIsMissingIsReportedAtEachWant) {
    const std::string reports =
        std::string("\nlfbm_load: last os error | failed to load vortobm module") + no_codec;
    EXPECT_EQ(program([] { return assign() + assign(); }), "-1-1" + reports + reports);
}

TEST_F(BitmapModule, LoadedTwiceIsReported) {
    install_bitmaps("bitmaps");
    EXPECT_EQ(program([] {
                  const int32_t first = lfbm_load();
                  return std::to_string(first) + std::to_string(lfbm_load()) + assign();
              }),
              "0-177\nlfbm_load: invalid argument | module allready loaded");
}

TEST_F(BitmapModule, WithoutItsStartIsReportedAndClosed) {
    install_bitmaps("nothing");
    EXPECT_EQ(program([&] {
                  const int32_t result = lfbm_load();
                  return std::to_string(result) +
                         (is_loaded(plugin("vortobm.so")) ? " loaded" : " closed");
              }),
              "-1 closed\nlfbm_load: invalid argument | cannot find init symbol (bad module?)");
}

TEST_F(BitmapModule, WithoutItsStartLeavesTheHookOfTheProgram) {
    install_bitmaps("nothing");
    EXPECT_EQ(program([] {
                  lfbmsetup(nullptr, [](const char *) -> int32_t { return 5; });
                  return std::to_string(lfcvt_register(nullptr, "heard"));
              }),
              "5\nlfbm_load: invalid argument | cannot find init symbol (bad module?)");
}

TEST_F(BitmapModule, ThatRefusesIsReportedAndClosed) {
    install_bitmaps("bitmaps_refusing");
    EXPECT_EQ(program([&] {
                  const int32_t result = lfbm_load();
                  return std::to_string(result) +
                         (is_loaded(plugin("vortobm.so")) ? " loaded" : " closed");
              }),
              "-1 closed\nlfbm_load: invalid argument | module init failed");
}

TEST_F(BitmapModule, ThatRefusesLeavesNeitherFinderNorHook) {
    install_bitmaps("bitmaps_refusing");
    EXPECT_EQ(program([] {
                  lfbm_load();
                  ::setenv("KEL_NO_AUTOLOAD", "1", 1);
                  return assign() + std::to_string(lfcvt_register(nullptr, "heard"));
              }),
              std::string("-10\nlfbm_load: invalid argument | module init failed") + no_codec);
}

TEST_F(BitmapModule, ThatRefusedIsTriedAgain) {
    install_bitmaps("bitmaps_refusing");
    const std::string reports =
        std::string("\nlfbm_load: invalid argument | module init failed") + no_codec;
    EXPECT_EQ(program([] { return assign() + assign(); }), "-1-1" + reports + reports);
}

TEST_F(BitmapModule, ThatInstallsNothingIsNotLoadedAgain) {
    install_bitmaps("bitmaps_idle");
    EXPECT_EQ(program([] { return assign() + assign(); }),
              std::string("-1-1") + no_codec +
                  "\nlfbm_load: invalid argument | module allready loaded" + no_codec);
}

TEST_F(BitmapModule, IsLoadedToHearOfABitmapName) {
    install_bitmaps("bitmaps");
    EXPECT_EQ(program([] {
                  return std::to_string(lfcvt_register(nullptr, "heard")) +
                         std::to_string(lfcvt_register(nullptr, "else"));
              }),
              "88-1");
}

TEST_F(BitmapModule, IsNotLoadedForACodecWithoutABitmapName) {
    install_bitmaps("bitmaps");
    EXPECT_EQ(program([&] {
                  const int32_t result = lfcvt_register(nullptr, nullptr);
                  return std::to_string(result) +
                         (is_loaded(plugin("vortobm.so")) ? " loaded" : " not loaded");
              }),
              "0 not loaded");
}

TEST_F(BitmapModule, IsNotLoadedToHearOfANameWhereAutoloadIsOff) {
    install_bitmaps("bitmaps");
    set("KEL_NO_AUTOLOAD", "1");
    EXPECT_EQ(program([] { return std::to_string(lfcvt_register(nullptr, "heard")); }), "0");
}

} // namespace
} // namespace vor::test
