#include "tools/muxctl/InputFile.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/TemporaryDirectory.h"

namespace Muxctl {
namespace {

class InputFileTest : public testing::Test {
  protected:
    std::string Write(const std::string& content) const {
        std::string path = (directory_.Path() / "file").string();
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    Testing::TemporaryDirectory directory_;
};

TEST_F(InputFileTest, IsReadWithEveryByte) {
    const std::string content("{\r\n}\0\xFF\n", 7);
    EXPECT_EQ(ReadInputFile(Write(content)), content);
}

TEST_F(InputFileTest, MayBeEmpty) {
    EXPECT_EQ(ReadInputFile(Write("")), "");
}

TEST_F(InputFileTest, IsNothingWhenItCannotBeRead) {
    EXPECT_EQ(ReadInputFile((directory_.Path() / "none").string()), std::nullopt);
    EXPECT_EQ(ReadInputFile(directory_.Path().string()), std::nullopt);
}

}  // namespace
}  // namespace Muxctl
