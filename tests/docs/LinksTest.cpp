// Links within the documents lead somewhere.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/docs/support/DocumentFile.h"

namespace {

using Documents::ReadDocument;
using testing::Contains;

struct Link {
    // Relative to docs/; empty for the page itself.
    std::string path;
    // Without its #; empty for the whole page.
    std::string anchor;
};

std::vector<Link> LinksOf(const std::string& page) {
    static const std::regex pattern("\\]\\(([^)#:]*)#?([^):]*)\\)");
    std::vector<Link> links;
    for (std::sregex_iterator match(page.begin(), page.end(), pattern); match != std::sregex_iterator(); ++match) {
        links.push_back({(*match)[1], (*match)[2]});
    }
    return links;
}

// As a heading is made into an anchor: in lower case, with hyphens for blanks and without punctuation.
std::string AnchorOf(const std::string& heading) {
    std::string anchor;
    for (const char character : heading) {
        const auto byte = static_cast<unsigned char>(character);
        if (std::isalnum(byte) != 0 || character == '-' || character == '_') {
            anchor += static_cast<char>(std::tolower(byte));
        } else if (character == ' ') {
            anchor += '-';
        }
    }
    return anchor;
}

std::set<std::string> AnchorsOf(const std::string& page) {
    static const std::regex heading("^#+ (.*)$");
    std::set<std::string> anchors;
    std::istringstream lines(page);
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, match, heading)) {
            anchors.insert(AnchorOf(match[1]));
        }
    }
    return anchors;
}

std::vector<std::string> Pages() {
    std::vector<std::string> pages = {"../README.md", "../CONTRIBUTING.md"};
    for (const auto& entry : std::filesystem::directory_iterator(PROJECT_FOLDER "/docs")) {
        if (entry.path().extension() == ".md") {
            pages.push_back(entry.path().filename());
        }
    }
    return pages;
}

void ExpectLeadsSomewhere(const std::string& page, const Link& link) {
    const std::string target =
        link.path.empty() ? page : (std::filesystem::path(page).parent_path() / link.path).string();
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(PROJECT_FOLDER "/docs") / target)) << link.path;
    if (!link.anchor.empty()) {
        EXPECT_THAT(AnchorsOf(ReadDocument(target)), Contains(link.anchor)) << target;
    }
}

TEST(Links, OfEveryPageLeadSomewhere) {
    std::size_t count = 0;
    for (const std::string& page : Pages()) {
        SCOPED_TRACE(page);
        for (const Link& link : LinksOf(ReadDocument(page))) {
            ExpectLeadsSomewhere(page, link);
            ++count;
        }
    }
    EXPECT_GE(count, 50U);
}

TEST(Links, ToAHeadingAreMadeFromIt) {
    EXPECT_EQ(AnchorOf("Numbers: reference ID and sequence counter"), "numbers-reference-id-and-sequence-counter");
    EXPECT_EQ(AnchorsOf("# One\ntext\n## Two, three\n#no\n"), (std::set<std::string>{"one", "two-three"}));
}

}  // namespace
