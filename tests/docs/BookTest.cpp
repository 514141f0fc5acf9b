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
    {"fleet.md",
     {"mermaid ", "json command", "json signed-command", "json reply", "json event", "json result", "json state"}},
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

}  // namespace
