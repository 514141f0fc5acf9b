// The books themselves: every block of theirs is an example that some test reads, and none stands there unread.

#include "tests/docs/support/Book.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace {

using Documents::Book;
using Documents::Example;
using testing::Contains;
using testing::ElementsAre;

// The kinds of examples that the tests of each book read, with their languages.
const std::map<std::string, std::set<std::string>> kKinds = {
    {"client-protocol.md",
     {"hex packet", "json request", "json answer", "json event", "json silent", "text silent", "json fatal",
      "python client", "text output"}},
    {"gateway-protocol.md", {"hex request", "hex answer", "hex event"}},
    {"configuration.md",
     {"json configuration", "json odd-configuration", "text odd-configuration", "text log",
      "json fatal-configuration"}},
    {"architecture.md", {"mermaid "}},
};

// A name is needed where several examples may be of one kind.
bool IsNamed(const Example& block) {
    return block.kind.empty() || block.kind == "client" || !block.name.empty();
}

TEST(Books, HaveNoBlockThatNoTestReads) {
    for (const auto& [file, kinds] : kKinds) {
        const Book book(file);
        EXPECT_FALSE(book.Blocks().empty()) << file;
        for (const Example& block : book.Blocks()) {
            EXPECT_THAT(kinds, Contains(block.language + " " + block.kind)) << file << ": " << block.text;
            EXPECT_TRUE(IsNamed(block)) << file << ": " << block.text;
            EXPECT_NE(block.text, "") << file << ": " << block.kind << " " << block.name;
        }
    }
}

TEST(Books, AreCutIntoTheirExamples) {
    const Book book("configuration.md");
    const Example* const example = book.Find("odd-configuration", "no-json");
    ASSERT_NE(example, nullptr);
    EXPECT_EQ(example->language, "text");
    EXPECT_EQ(example->text, R"({"Enabled": true, "Gateways": [)");
    ASSERT_NE(book.Find("configuration", "hall"), nullptr);
    EXPECT_EQ(book.Find("configuration", "hall")->text.substr(0, 21), "{\n  \"Enabled\": true,\n");
    EXPECT_EQ(book.Find("configuration", "no-json"), nullptr);
    EXPECT_EQ(book.OfKind("fatal-configuration").size(), 3U);
}

TEST(Books, HaveExamplesInListsWithoutTheirIndent) {
    const Book book("client-protocol.md");
    ASSERT_NE(book.Find("silent", "no-json"), nullptr);
    EXPECT_EQ(book.Find("silent", "no-json")->text, "hello");
}

TEST(Books, HaveTablesWithCells) {
    const Book book("gateway-protocol.md");
    EXPECT_THAT(book.Table("events").front(), ElementsAre("0E", "a card was presented", "event 51"));
    EXPECT_EQ(book.Table("events").size(), 5U);
    EXPECT_TRUE(book.Table("no such").empty());
}

TEST(Books, ThatDoNotExistCannotBeRead) {
    EXPECT_THROW(Book("no-such.md"), std::runtime_error);
}

}  // namespace
