#include "mux/configuration/ConfigurationFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <string>
#include <thread>

#include "tests/support/TemporaryFolder.h"

namespace Mux::Configuration {
namespace {

constexpr std::size_t kLimit = 200000;

class ConfigurationFileTest : public testing::Test {
  protected:
    // Whether a file of this size can be read when `kLimit` is the limit, and then is what it was.
    bool IsRead(std::size_t bytes) const {
        const std::string content(bytes, 'x');
        std::string text = "from before";
        const bool isRead = ReadConfigurationFile(folder_.Write("mux.json", content), text, kLimit);
        EXPECT_EQ(text, isRead ? content : "");
        return isRead;
    }

    Testing::TemporaryFolder folder_;
};

TEST_F(ConfigurationFileTest, IsReadWholeUpToTheLimit) {
    EXPECT_TRUE(IsRead(0));
    EXPECT_TRUE(IsRead(1));
    EXPECT_TRUE(IsRead(65536));
    EXPECT_TRUE(IsRead(65537));
    EXPECT_TRUE(IsRead(kLimit));
    EXPECT_FALSE(IsRead(kLimit + 1));
    EXPECT_FALSE(IsRead(2 * kLimit));
}

TEST_F(ConfigurationFileTest, MayHave64MebibytesByDefault) {
    EXPECT_EQ(kMaximumFileBytes, 67108864U);
}

TEST_F(ConfigurationFileTest, ThatHasNoEndCannotBeRead) {
    std::string text = "from before";
    EXPECT_FALSE(ReadConfigurationFile("/dev/zero", text));
    EXPECT_EQ(text, "");
}

TEST_F(ConfigurationFileTest, ThatIsAFolderOrMissingCannotBeRead) {
    std::string text = "from before";
    EXPECT_FALSE(ReadConfigurationFile(folder_.Path().string(), text));
    EXPECT_EQ(text, "");
    EXPECT_FALSE(ReadConfigurationFile((folder_.Path() / "missing").string(), text));
}

TEST_F(ConfigurationFileTest, ThatIsAPipeIsReadUntilItsWriterHasClosedIt) {
    const std::string pipe = (folder_.Path() / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
    std::thread writer([&pipe] {
        std::ofstream file(pipe);
        file << "{" << std::flush << std::string(70000, ' ') << "}";
    });
    std::string text;
    EXPECT_TRUE(ReadConfigurationFile(pipe, text));
    writer.join();
    EXPECT_EQ(text, "{" + std::string(70000, ' ') + "}");
}

}  // namespace
}  // namespace Mux::Configuration
