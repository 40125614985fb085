#include "finding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace vor::tool {
namespace {

Finding fault_at(int64_t offset) {
    return {FindingId::track_pixels, 3, offset, "9 pixels", "8 pixels"};
}

// The rows of the page's table of findings.
std::vector<std::string> documented() {
    std::vector<std::string> rows;
    std::ifstream page(VOR_DOCS "/checking.md");
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("| `") && (line.find("` | fault | ") != std::string::npos ||
                                        line.find("` | warning | ") != std::string::npos)) {
            rows.push_back(line);
        }
    }
    return rows;
}

TEST(FindingKinds, AreThoseOfTheDocumentInItsOrder) {
    std::vector<std::string> rows;
    for (const FindingKind &kind : finding_kinds()) {
        rows.push_back("| `" + std::string(kind.name) + "` | " + severity_name(kind.severity) +
                       " | " + kind.meaning + " |");
    }
    EXPECT_EQ(rows, documented());
}

TEST(FindingKinds, HaveNamesOfTheirOwnInWordsAndHyphens) {
    std::set<std::string> names;
    for (const FindingKind &kind : finding_kinds()) {
        const std::string name = kind.name;
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_TRUE(std::all_of(name.begin(), name.end(), [](unsigned char c) {
            return std::islower(c) != 0 || c == '-';
        })) << name;
    }
}

TEST(FindingKinds, AreFoundByTheirIds) {
    for (const FindingKind &kind : finding_kinds())
        EXPECT_STREQ(kind_of(kind.id).name, kind.name);
    EXPECT_STREQ(kind_of(FindingId::header_checksum).name, "header-checksum");
}

TEST(FindingList, KeepsTheFirstAndCountsAll) {
    FindingList list(2);
    for (int64_t i = 0; i < 5; ++i)
        list.add(fault_at(i));
    list.add({FindingId::letters, {}, 252, "0", "1"});
    ASSERT_EQ(list.kept().size(), 2U);
    EXPECT_EQ(list.kept()[1].offset, 1);
    EXPECT_EQ(list.faults(), 5);
    EXPECT_EQ(list.warnings(), 1);
    EXPECT_EQ(list.total(), 6);
}

TEST(FindingList, CanKeepNone) {
    FindingList list(0);
    list.add(fault_at(1));
    EXPECT_TRUE(list.kept().empty());
    EXPECT_EQ(list.faults(), 1);
}

TEST(Finding, IsTheSameOnlyInAllItsParts) {
    const Finding one = fault_at(5);
    Finding other = one;
    EXPECT_EQ(one, other);
    other.track = 4;
    EXPECT_FALSE(one == other);
    other = one;
    other.found = "7 pixels";
    EXPECT_FALSE(one == other);
}

} // namespace
} // namespace vor::tool
