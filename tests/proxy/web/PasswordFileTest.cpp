#include "proxy/web/PasswordFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <limits>

#include "tests/proxy/web/WebAccessKit.h"
#include "tests/support/TemporaryFolder.h"

namespace MuxProxy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

std::string FaultOf(const std::string& text) {
    try {
        const PasswordFile file(text);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

// The same with other numbers, so that it is of no password.
std::string HashWith(const std::string& memory, const std::string& passes, const std::string& lanes = "1") {
    return "$argon2id$v=19$m=" + memory + ",t=" + passes + ",p=" + lanes + kHash.substr(kHash.find("$c29t"));
}

TEST(PasswordFile, VerifiesThePasswordOfEachUser) {
    const PasswordFile file("# Reception\nanna:" + kHash + "\n\notto müller:" + HashWith("8", "1") + "\n");
    EXPECT_TRUE(file.Verify("anna", "password"));
    EXPECT_FALSE(file.Verify("anna", "Password"));
    EXPECT_FALSE(file.Verify("anna", ""));
    EXPECT_FALSE(file.Verify("otto müller", "password"));
    EXPECT_FALSE(file.Verify("Anna", "password"));
    EXPECT_THAT(file.Names(), ElementsAre("anna", "otto müller"));
    EXPECT_EQ(file.HashOf("anna"), kHash);
    EXPECT_EQ(file.HashOf("Anna"), "");
}

TEST(PasswordFile, NobodyLogsInWithoutUsers) {
    EXPECT_THAT(PasswordFile().Names(), IsEmpty());
    EXPECT_THAT(PasswordFile("").Names(), IsEmpty());
    EXPECT_FALSE(PasswordFile().Verify("anna", "password"));
    EXPECT_FALSE(PasswordFile().Verify("", ""));
}

TEST(PasswordFile, TakesALastLineWithoutEnd) {
    EXPECT_TRUE(PasswordFile("anna:" + kHash).Verify("anna", "password"));
}

TEST(PasswordFile, NamesTheLineOfAFault) {
    constexpr const char* kForm = "line 3: must be NAME:$argon2id$v=19$m=KIBIBYTES,t=PASSES,p=1$SALT$HASH";
    constexpr const char* kName = "line 1: the name must be 1 to 64 printable bytes without \":\"";
    const std::string before = "#\nanna:" + kHash + "\n";
    for (const std::string& hash :
         {std::string("secret"), std::string(), "$argon2i" + kHash.substr(9), "x" + kHash, kHash + "=", kHash + ":",
          HashWith("256", "2", "2"), HashWith("256", ""), HashWith("", "2"), HashWith("-256", "2"), HashWith("7", "2"),
          HashWith("256", "0"), kHash.substr(0, kHash.rfind('$')), kHash.substr(0, kHash.rfind('$') + 9),
          HashWith("99999999999", "1"), kHash + std::string(60, 'A'), kHash + "\r"}) {
        EXPECT_EQ(FaultOf(std::string(before).append("otto:").append(hash).append("\n")), kForm) << hash;
    }
    EXPECT_EQ(FaultOf(before + "otto\n"), kForm);
    EXPECT_EQ(FaultOf(before + "anna:" + kHash), "line 3: anna occurs more than once");
    EXPECT_EQ(FaultOf(":" + kHash), kName);
    EXPECT_EQ(FaultOf("a\tb:" + kHash), kName);
    EXPECT_EQ(FaultOf(std::string(65, 'a') + ":" + kHash), kName);
    EXPECT_EQ(FaultOf(std::string(64, 'a') + ":" + kHash), "");
}

TEST(PasswordFile, RefusesHashesThatWouldStopTheHost) {
    EXPECT_EQ(FaultOf("anna:" + HashWith("65536", "10")), "");
    EXPECT_EQ(FaultOf("anna:" + HashWith("65537", "10")), "line 1: needs more than 64 MiB of memory for each log-in");
    EXPECT_EQ(FaultOf("anna:" + HashWith("65536", "11")), "line 1: needs more than 10 passes for each log-in");
}

TEST(PasswordFile, SaysWhichFileCannotBeUsed) {
    const Testing::TemporaryFolder folder;
    const std::string file = (folder.Path() / "users").string();
    const auto faultOf = [](const std::string& path) -> std::string {
        try {
            PasswordFile::Read(path);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(faultOf(file), file + ": cannot be read: No such file or directory");
    EXPECT_EQ(faultOf(folder.Path().string()), folder.Path().string() + ": cannot be read: Is a directory");
    std::ofstream(file) << "anna\n";
    EXPECT_THAT(faultOf(file), StartsWith(file + ": line 1: must be NAME:"));
    std::ofstream(file) << "";
    EXPECT_EQ(faultOf(file), "");
    std::ofstream(file) << "anna:" + kHash;
    EXPECT_TRUE(PasswordFile::Read(file).Verify("anna", "password"));
}

// Of this process's time, which does not depend on others.
TEST(PasswordFile, ANameThatIsNotThereTakesAsLong) {
    const PasswordFile file("anna:" + HashPassword("correct horse"));
    const auto timeOf = [&](const std::string& name) {
        std::clock_t shortest = std::numeric_limits<std::clock_t>::max();
        for (int i = 0; i < 5; ++i) {
            const std::clock_t begin = std::clock();
            EXPECT_FALSE(file.Verify(name, "wrong password"));
            shortest = std::min(shortest, std::clock() - begin);
        }
        return shortest;
    };
    const std::clock_t known = timeOf("anna");
    EXPECT_GT(known, 0);
    EXPECT_NEAR(static_cast<double>(timeOf("nobody")), static_cast<double>(known), static_cast<double>(known) / 2);
}

TEST(HashPassword, MakesWhatTheFileHolds) {
    const std::string hash = HashPassword("correct horse");
    EXPECT_THAT(hash, StartsWith("$argon2id$v=19$m=19456,t=2,p=1$"));
    EXPECT_NE(HashPassword("correct horse"), hash);
    const PasswordFile file("anna:" + hash);
    EXPECT_TRUE(file.Verify("anna", "correct horse"));
    EXPECT_FALSE(file.Verify("anna", "correct hors"));
}

TEST(HashPassword, RefusesWhatIsTooShortOrTooLong) {
    const auto isRefused = [](std::size_t length) {
        try {
            HashPassword(std::string(length, 'p'));
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), "a password must have 8 to 1024 bytes, not " + std::to_string(length));
            return true;
        }
        return false;
    };
    EXPECT_TRUE(isRefused(7));
    EXPECT_FALSE(isRefused(8));
    EXPECT_FALSE(isRefused(1024));
    EXPECT_TRUE(isRefused(1025));
}

TEST(IsUserName, IsWhatALineCanHold) {
    EXPECT_TRUE(IsUserName("anna"));
    EXPECT_TRUE(IsUserName("Anna #1"));
    for (const std::string& name : {std::string(), std::string("#anna"), std::string("a:b"), std::string("a\nb"),
                                    std::string("a\x7F"), std::string("a\0b", 3), std::string(65, 'a')}) {
        EXPECT_FALSE(IsUserName(name)) << name;
    }
}

}  // namespace
}  // namespace MuxProxy
