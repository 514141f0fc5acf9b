// The page about the architecture: its pictures and the files that it names, against the sources.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include "tests/docs/support/Book.h"
#include "tests/docs/support/DocumentFile.h"

namespace {

using Documents::Book;
using Documents::Example;
using Documents::ReadDocument;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;
using Names = std::set<std::string>;

constexpr const char* kPage = "architecture.md";

// What the first group of the pattern matches, everywhere in the text.
Names FoundIn(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    Names names;
    for (std::sregex_iterator match(text.begin(), text.end(), expression); match != std::sregex_iterator(); ++match) {
        names.insert((*match)[1]);
    }
    return names;
}

std::string Picture(const std::string& kind) {
    const Book page(kPage);
    for (const Example& block : page.Blocks()) {
        if (block.text.rfind(kind + "\n", 0) == 0 || block.text.rfind(kind + " ", 0) == 0) {
            return block.text;
        }
    }
    ADD_FAILURE() << "no picture " << kind;
    return "";
}

Names SourceFiles() {
    Names files;
    for (const char* const folder : {"diagnostics", "json", "threading", "net", "messages", "gateway", "mux"}) {
        for (const auto& entry :
             std::filesystem::recursive_directory_iterator(std::filesystem::path(PROJECT_FOLDER) / folder)) {
            files.insert(entry.path().filename());
        }
    }
    return files;
}

TEST(Architecture, NamesFilesThatExist) {
    const Names files = SourceFiles();
    const Names named = FoundIn(ReadDocument(kPage), "`([A-Za-z0-9]+\\.(?:cpp|h))`");
    EXPECT_THAT(named, Not(IsEmpty()));
    for (const std::string& file : named) {
        EXPECT_THAT(files, Contains(file));
    }
}

TEST(Architecture, NamesFoldersThatExist) {
    Names folders = FoundIn(ReadDocument(kPage), "`([a-z]+(?:/[a-z]+)*)/`");
    EXPECT_THAT(folders, Contains("tests/layering"));
    const Names layers = FoundIn(Picture("flowchart TD"), "\\[\"([a-z/]+): ");
    EXPECT_EQ(layers.size(), 9U);
    folders.insert(layers.begin(), layers.end());
    for (const std::string& folder : folders) {
        EXPECT_TRUE(std::filesystem::is_directory(std::filesystem::path(PROJECT_FOLDER) / folder)) << folder;
    }
}

TEST(Architecture, ShowsTheStatesOfAGateway) {
    Names statuses = FoundIn(ReadDocument("../gateway/GatewayOwner.h"), "([A-Z_]+) = [0-9]+,");
    EXPECT_EQ(statuses.erase("UNKNOWN"), 1U) << "which is never set";
    EXPECT_EQ(FoundIn(Picture("stateDiagram-v2"), "([A-Z_]{2,})"), statuses);
}

}  // namespace
