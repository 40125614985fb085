// The start-up of formats by the settings.

#include "formats/format_setup.h"

#include "config/rc.h"
#include "formats/module_fixture.h"

namespace vor::test {
namespace {

class FormatSetup : public ModuleTest {
protected:
    // The table after the set-up, which finds a module "fw32".
    std::string preload(const std::string &list) {
        set("KEL_PRELOAD", list);
        return program([] {
            lf_fmt_setup();
            return table();
        });
    }
    void install_fw32() const { install("fw32_cvtformat_like", "fw32_cvtformat"); }

    static constexpr const char *no_fw32 = "\nlfloadfmt: last os error | no such format: fw32";
};

TEST_F(FormatSetup, RunsOnce) {
    EXPECT_EQ(program([] {
                  const int32_t first = lf_fmt_setup();
                  return std::to_string(first) + std::to_string(lf_fmt_setup()) +
                         std::to_string(lf_fmt_setup());
              }),
              std::string("100") + no_fw32);
}

TEST_F(FormatSetup, RunsOnceHoweverOftenTypesAreParsed) {
    EXPECT_EQ(program([] {
                  lf_parse_type("", 0, 0);
                  lf_parse_type("", 0, 0);
                  return std::to_string(lf_fmt_setup());
              }),
              std::string("0") + no_fw32);
}

TEST_F(FormatSetup, LoadsTheStreamFormat) {
    install_fw32();
    EXPECT_EQ(program([] {
                  lf_fmt_setup();
                  return table();
              }),
              "vor fw32");
}

TEST_F(FormatSetup, WithoutTheStreamFormatReportsAndGoesOn) {
    install("good_cvtformat");
    EXPECT_EQ(preload("good"), std::string("vor good") + no_fw32);
}

TEST_F(FormatSetup, LoadsTheListOfTheSettings) {
    install_fw32();
    install("good_cvtformat");
    install("bare_cvtformat");
    EXPECT_EQ(preload("good:bare"), "vor fw32 good bare");
    EXPECT_EQ(preload("bare:good:"), "vor fw32 bare good") << "a colon may end the list";
    EXPECT_EQ(preload(":bare::good"), "vor fw32 bare good");
    EXPECT_EQ(preload(""), "vor fw32");
}

TEST_F(FormatSetup, AFailureDoesNotStopTheList) {
    install_fw32();
    install("good_cvtformat");
    EXPECT_EQ(preload("absent:good"),
              "vor fw32 good\nlfloadfmt: last os error | no such format: absent");
}

TEST_F(FormatSetup, NamesOf256CharactersAreNotLoaded) {
    install_fw32();
    install("good_cvtformat");
    const std::string name(255, 'x');
    EXPECT_EQ(preload(name + "x:good"), "vor fw32 good");
    EXPECT_EQ(preload(name + ":good"),
              "vor fw32 good\nlfloadfmt: last os error | no such format: " + name);
}

TEST_F(FormatSetup, TakesTheListFromTheRcFileOnceThatHasBeenRead) {
    install_fw32();
    install("good_cvtformat");
    install("bare_cvtformat");
    set("KEL_PRELOAD", "good");
    store(image("rc"), "KEL_PRELOAD = bare\n");
    EXPECT_EQ(program([&] {
                  readrcfile(image("rc").c_str(), 0);
                  lf_fmt_setup();
                  return table();
              }),
              "vor fw32 bare");
}

TEST_F(FormatSetup, ReadsWhetherTracksMayBeCompressed) {
    install_fw32();
    const struct {
        const char *value;
        const char *enabled;
    } cases[] = {{"on", "1"}, {"1", "1"}, {"yes", "1"}, {"off", "0"}, {"0", "0"}, {"no", "0"}};
    const auto ask = [] {
        const std::string before = std::to_string(deflate_enabled());
        lf_fmt_setup();
        return before + std::to_string(deflate_enabled());
    };
    EXPECT_EQ(program(ask), "11") << "unless the settings say otherwise";
    for (const auto &[value, enabled] : cases) {
        set("VOR_DEFLATE_ENABLED", value);
        EXPECT_EQ(program(ask), std::string("1") + enabled) << value;
    }
}

} // namespace
} // namespace vor::test
