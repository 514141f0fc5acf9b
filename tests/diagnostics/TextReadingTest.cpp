#include "diagnostics/TextReading.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <istream>

#include "tests/support/TemporaryFolder.h"

namespace Diagnostics {
namespace {

constexpr std::size_t kMebibyte64 = 67'108'864;

// So many zeros. An endless one would be read for ever by a reader without a limit.
class Zeros : public std::streambuf {
  public:
    explicit Zeros(std::size_t count) : left_(count) {}

  protected:
    std::streamsize xsgetn(char* target, std::streamsize wanted) override {
        const std::size_t count = std::min(left_, static_cast<std::size_t>(wanted));
        std::fill_n(target, count, char{0});
        left_ -= count;
        return static_cast<std::streamsize>(count);
    }

  private:
    std::size_t left_;
};

TextReading ReadZeros(std::size_t count, std::string& text) {
    Zeros zeros(count);
    std::istream stream(&zeros);
    return ReadText(stream, text);
}

TextReading ReadFile(const std::string& path, std::string& text) {
    std::ifstream file(path, std::ios::binary);
    return ReadText(file, text);
}

class TextReadingTest : public testing::Test {
  protected:
    Testing::TemporaryFolder folder_;
    std::string text_ = "left from before";
};

TEST_F(TextReadingTest, TakesEveryByte) {
    for (const std::string& content : {std::string("{\r\n}\0\xFF\n", 7) + std::string(200'000, 'x'), std::string()}) {
        EXPECT_EQ(ReadFile(folder_.Write("file", content), text_), TextReading::kWhole);
        EXPECT_EQ(text_, content);
    }
}

TEST_F(TextReadingTest, FailsWithoutAFileAndOnAFolder) {
    EXPECT_EQ(ReadFile((folder_.Path() / "none").string(), text_), TextReading::kFailed);
    EXPECT_EQ(ReadFile(folder_.Path().string(), text_), TextReading::kFailed);
    EXPECT_STREQ(FaultText(TextReading::kFailed), "cannot be read");
}

TEST_F(TextReadingTest, TakesNoMoreThan64Mebibytes) {
    EXPECT_EQ(ReadZeros(kMebibyte64, text_), TextReading::kWhole);
    EXPECT_EQ(text_.size(), kMebibyte64);
    EXPECT_EQ(ReadZeros(kMebibyte64 + 1, text_), TextReading::kTooLarge);
    EXPECT_STREQ(FaultText(TextReading::kTooLarge), "cannot be read: it is larger than 64 MiB");
}

}  // namespace
}  // namespace Diagnostics
