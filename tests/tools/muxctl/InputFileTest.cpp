#include "tools/muxctl/InputFile.h"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"

namespace Muxctl {
namespace {

using Diagnostics::TextReading;

TEST(InputFileTest, IsReadWithEveryByte) {
    const Testing::TemporaryFolder folder;
    const std::string content("{\r\n}\0\xFF\n", 7);
    std::string text;
    EXPECT_EQ(ReadInputFile(folder.Write("file", content), text), TextReading::kWhole);
    EXPECT_EQ(text, content);
}

TEST(InputFileTest, IsRefusedWhenItCannotBeRead) {
    const Testing::TemporaryFolder folder;
    std::string text;
    EXPECT_EQ(ReadInputFile((folder.Path() / "none").string(), text), TextReading::kFailed);
    EXPECT_EQ(ReadInputFile(folder.Path().string(), text), TextReading::kFailed);
}

}  // namespace
}  // namespace Muxctl
