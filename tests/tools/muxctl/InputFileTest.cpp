#include "tools/muxctl/InputFile.h"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"

namespace Muxctl {
namespace {

class InputFileTest : public testing::Test {
  protected:
    std::string Write(const std::string& content) const { return folder_.Write("file", content); }

    Testing::TemporaryFolder folder_;
};

TEST_F(InputFileTest, IsReadWithEveryByte) {
    const std::string content("{\r\n}\0\xFF\n", 7);
    EXPECT_EQ(ReadInputFile(Write(content)), content);
}

TEST_F(InputFileTest, MayBeEmpty) {
    EXPECT_EQ(ReadInputFile(Write("")), "");
}

TEST_F(InputFileTest, IsNothingWhenItCannotBeRead) {
    EXPECT_EQ(ReadInputFile((folder_.Path() / "none").string()), std::nullopt);
    EXPECT_EQ(ReadInputFile(folder_.Path().string()), std::nullopt);
}

}  // namespace
}  // namespace Muxctl
