#include "tools/gateway-simulator/TextFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <system_error>

#include "tests/support/TemporaryFolder.h"
#include "tools/gateway-simulator/CommandError.h"

namespace Simulator {
namespace {

class TextFileTest : public testing::Test {
  protected:
    std::string PathOf(const std::string& name) const { return (folder_.Path() / name).string(); }

    // The names of all files in the folder.
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    Testing::TemporaryFolder folder_;
};

TEST_F(TextFileTest, OfMoreThan64MebibytesCannotBeRead) {
    const std::string large = folder_.Write("large", "{}");
    std::filesystem::resize_file(large, 64UL * 1024 * 1024 + 1);
    EXPECT_THROW(ReadTextFile(large), CommandError);
}

// Whoever has the old file open still has all of it.
TEST_F(TextFileTest, IsReplacedByAnotherFile) {
    folder_.Write("a", "one");
    std::filesystem::create_hard_link(PathOf("a"), PathOf("old"));
    ReplaceTextFile(PathOf("a"), "two");
    EXPECT_EQ(folder_.Read("old"), "one");
    EXPECT_EQ(folder_.Read("a"), "two");
}

TEST_F(TextFileTest, IsLeftAloneWhenItCannotBeReplaced) {
    EXPECT_THROW(ReplaceTextFile(PathOf("none/a"), "one"), std::system_error);
    std::filesystem::create_directory(PathOf("folder"));
    EXPECT_THROW(ReplaceTextFile(PathOf("folder"), "one"), std::system_error);
    EXPECT_THAT(Names(), testing::ElementsAre("folder"));
}

}  // namespace
}  // namespace Simulator
