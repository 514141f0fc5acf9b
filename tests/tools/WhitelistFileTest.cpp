#include "tools/gateway-simulator/WhitelistFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/PlainSocket.h"
#include "tests/tools/RecordingObserver.h"
#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/GatewaySimulator.h"

namespace Simulator {
namespace {

using testing::HasSubstr;

// One card of lock 5, as the file has it.
const std::string kOneCard = R"({
    "Locks": [
        {
            "ID": 5,
            "Enabled": true,
            "Cards": [
                {
                    "Card": "04A1B2C3",
                    "SetupNumber": 0,
                    "Option": 1
                }
            ]
        }
    ]
}
)";

class WhitelistFileTest : public testing::Test {
  protected:
    std::string Path() const { return (folder_.Path() / "cards.json").string(); }
    std::string Content() const { return folder_.Read("cards.json"); }
    bool IsThere() const { return std::filesystem::exists(Path()); }

    // What is wrong with a file of this text.
    std::string ErrorOf(const std::string& text) {
        folder_.Write("cards.json", text);
        try {
            WhitelistFile file(Path());
        } catch (const CommandError& error) {
            EXPECT_EQ(Content(), text);
            return error.what();
        }
        return "";
    }

    static Lock LockWithCard() {
        Lock lock(5);
        lock.Cards().Add({0, 1, {0x04, 0xA1, 0xB2, 0xC3}});
        return lock;
    }

    Testing::TemporaryFolder folder_;
};

TEST_F(WhitelistFileTest, IsMadeByTheFirstChange) {
    WhitelistFile file(Path());
    file.Keep({Lock(5), Lock(6)});
    EXPECT_FALSE(IsThere());
    file.Keep({LockWithCard(), Lock(6)});
    EXPECT_EQ(Content(), kOneCard);
}

TEST_F(WhitelistFileTest, IsReadBack) {
    folder_.Write("cards.json", R"({"Locks": [{"ID": 4294967295, "Enabled": false, "Cards": [)"
                                R"({"Card": "04a1", "SetupNumber": 9, "Option": 255}, {"Card": "05"}]}]})");
    const WhitelistFile file(Path());
    Lock lock(0xFFFFFFFF, 1);
    file.LoadInto(lock);
    EXPECT_FALSE(lock.Cards().IsEnabled());
    ASSERT_EQ(lock.Cards().Entries().size(), 2U) << "also beyond the capacity";
    EXPECT_EQ(lock.Cards().Entries().at(0).card, Bytes({0x04, 0xA1}));
    EXPECT_EQ(lock.Cards().Entries().at(0).setupNumber, 9);
    EXPECT_EQ(lock.Cards().Entries().at(0).option, 255);
    EXPECT_EQ(lock.Cards().Entries().at(1).card, Bytes({0x05}));
    EXPECT_EQ(lock.Cards().Entries().at(1).setupNumber, 0);
    Lock other(5);
    file.LoadInto(other);
    EXPECT_TRUE(other.Cards().IsEnabled());
    EXPECT_TRUE(other.Cards().Entries().empty());
}

TEST_F(WhitelistFileTest, IsNotWrittenWithoutAChange) {
    folder_.Write("cards.json", kOneCard);
    WhitelistFile file(Path());
    std::filesystem::remove(Path());
    Lock lock = LockWithCard();
    lock.Open();
    file.Keep({lock});
    EXPECT_FALSE(IsThere());
}

TEST_F(WhitelistFileTest, KeepsTheCardsOfALockThatIsNotThere) {
    folder_.Write("cards.json", kOneCard);
    WhitelistFile file(Path());
    Lock lock(6);
    lock.Cards().SetEnabled(false);
    file.Keep({lock});
    EXPECT_THAT(Content(), HasSubstr("04A1B2C3"));
    EXPECT_THAT(Content(), HasSubstr("\"ID\": 6"));
}

TEST_F(WhitelistFileTest, TriesAgainAfterAFailure) {
    std::filesystem::create_directory(Path() + ".new");
    WhitelistFile file(Path());
    EXPECT_THROW(file.Keep({LockWithCard()}), std::runtime_error);
    std::filesystem::remove(Path() + ".new");
    file.Keep({LockWithCard()});
    EXPECT_EQ(Content(), kOneCard);
}

TEST_F(WhitelistFileTest, IsReportedAndLeftAloneWhenItIsBroken) {
    EXPECT_EQ(ErrorOf(R"({"Locks": [)"), Path() + ": is not JSON: line 1, column 12: Invalid value.");
    EXPECT_NE(ErrorOf(""), "");
    EXPECT_EQ(ErrorOf("5"), Path() + ": the document must be an object");
    EXPECT_EQ(ErrorOf(R"({"Locks": [{"Cards": []}]})"), Path() + ": Locks[0] must have a member \"ID\"");
    EXPECT_EQ(ErrorOf(R"({"Locks": [{"ID": 5, "Cards": [{"Card": "0G"}]}]})"),
              Path() + ": Locks[0].Cards[0].Card must be 1 to 233 bytes in hexadecimal");
    EXPECT_EQ(ErrorOf(R"({"Locks": [{"ID": 5, "Cards": [{"Card": "04"}, {"Card": "04"}]}]})"),
              Path() + ": Locks[0].Cards[1] duplicates another card");
    EXPECT_EQ(ErrorOf(R"({"Locks": [{"ID": 5}, {"ID": 5}]})"), Path() + ": Locks[1] has the ID of another lock");
    for (const char* const text :
         {R"({"locks": []})", R"({"Locks": [{"ID": -1}]})", R"({"Locks": [{"ID": 5, "Enabled": 1}]})",
          R"({"Locks": [{"ID": 5, "cards": []}]})", R"({"Locks": [{"ID": 5, "Cards": [{"Card": ""}]}]})",
          R"({"Locks": [{"ID": 5, "Cards": [{"Card": "04", "Option": 256}]}]})"}) {
        EXPECT_NE(ErrorOf(text), "") << text;
    }
}

// A gateway with such a file.
class KeptWhitelistsTest : public WhitelistFileTest {
  protected:
    KeptWhitelistsTest() {
        SimulatorOptions options;
        options.locks = {5};
        options.observer = &observer_;
        options.whitelists = &file_;
        gateway_ = std::make_unique<GatewaySimulator>(options);
        gateway_->Start();
    }

    Testing::RecordingObserver observer_;
    WhitelistFile file_{Path()};
    std::unique_ptr<GatewaySimulator> gateway_;
};

TEST_F(KeptWhitelistsTest, AreInTheFileBeforeTheAnswer) {
    Testing::PlainSocket client(gateway_->Port());
    client.Send("1A FE FD 15 01 00 00 03 00 00 03 E9 00 00 00 05 03 00 01 04 04 A1 B2 C3 65 14");
    EXPECT_EQ(client.Receive(20), "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 D9 DC");
    EXPECT_EQ(Content(), kOneCard);
}

TEST_F(KeptWhitelistsTest, FollowWhatIsDoneByHand) {
    gateway_->ChangeLock(5, [](Lock& lock) { lock.Cards().Add({0, 1, {0x04, 0xA1, 0xB2, 0xC3}}); });
    EXPECT_EQ(Content(), kOneCard);
    gateway_->RemoveLock(5);
    EXPECT_EQ(Content(), kOneCard) << "as if the lock only were out of reach";
    gateway_->AddLock(5);
    EXPECT_EQ(Content(), kOneCard) << "as if the lock were in reach again";
    EXPECT_EQ(gateway_->FindLock(5)->Cards().Entries().size(), 1U);
    gateway_->ChangeLock(5, [](Lock& lock) { lock.Cards().SetEntries({}); });
    EXPECT_THAT(Content(), HasSubstr("\"Locks\": []"));
}

TEST_F(KeptWhitelistsTest, AreThoseOfTheFileForALockThatIsAdded) {
    const std::string text = R"({"Locks": [{"ID": 9, "Enabled": false, "Cards": [{"Card": "04A1B2C3"}]}]})";
    folder_.Write("cards.json", text);
    WhitelistFile file(Path());
    SimulatorOptions options;
    options.whitelists = &file;
    GatewaySimulator gateway(options);
    EXPECT_TRUE(gateway.AddLock(9));
    EXPECT_EQ(Content(), text);
    EXPECT_FALSE(gateway.FindLock(9)->Cards().IsEnabled());
    ASSERT_EQ(gateway.FindLock(9)->Cards().Entries().size(), 1U);
    EXPECT_EQ(gateway.FindLock(9)->Cards().Entries().at(0).card, Bytes({0x04, 0xA1, 0xB2, 0xC3}));
}

TEST_F(KeptWhitelistsTest, AreThoseOfTheFileAtTheStart) {
    folder_.Write("cards.json", kOneCard);
    WhitelistFile file(Path());
    SimulatorOptions options;
    options.locks = {5};
    options.preparedLocks = {Lock(6)};
    options.whitelists = &file;
    GatewaySimulator gateway(options);
    EXPECT_EQ(gateway.FindLock(5)->Cards().Entries().size(), 1U);
    EXPECT_EQ(gateway.FindLock(6)->Cards().Entries().size(), 0U);
}

TEST_F(KeptWhitelistsTest, ThatCannotBeKeptAreReported) {
    std::filesystem::create_directory(Path() + ".new");
    gateway_->ChangeLock(5, [](Lock& lock) { lock.Cards().SetEnabled(false); });
    EXPECT_THAT(observer_.Lines(),
                testing::ElementsAre("failed: cannot write the whitelists: " + Path() + ".new: Is a directory"));
    EXPECT_FALSE(gateway_->FindLock(5)->Cards().IsEnabled());
}

}  // namespace
}  // namespace Simulator
