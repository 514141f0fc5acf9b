// whitelist load and check, with the real Mux and simulated gateways.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/tools/muxctl/Exchange.h"
#include "tools/gateway-simulator/WhitelistFile.h"

namespace Muxctl {
namespace {

using SystemTest::GatewaySetup;
using SystemTest::MuxSystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class WhitelistLoadTest : public testing::Test {
  protected:
    std::string FileOf(const std::string& text) const { return folder_.Write("cards.csv", text); }
    std::string Journal() const { return folder_.Read("cards.csv.journal"); }
    bool HasJournal() const { return std::filesystem::exists(folder_.Path() / "cards.csv.journal"); }

    static Words Load(const std::string& file, const Words& more = {}) {
        return Words{"whitelist", "load", file} + more;
    }
    static Ending RunLoad(const std::string& file, std::uint16_t port, const Words& more = {},
                          const Words& time = kMuchTime) {
        return RunMuxctl(Load(file, more) + ToPort(port) + time);
    }

    // The cards of a lock in hexadecimal, oldest first.
    static Words CardsOf(MuxSystem& system, std::uint32_t lock, std::size_t gateway = 0) {
        Words cards;
        const auto found = system.Gateway(gateway).FindLock(lock);
        for (const auto& entry : found->Cards().Entries()) {
            cards.push_back(Simulator::ToHex(entry.card));
        }
        return cards;
    }

    Testing::TemporaryFolder folder_;
};

TEST_F(WhitelistLoadTest, EnablesEachListAndAddsItsCards) {
    MuxSystem system(SystemTest::WithGateways({{1, {5, 6}}, {2, {5}}}));
    system.Gateway().ChangeLock(5, [](Simulator::Lock& lock) { lock.Cards().SetEnabled(false); });
    const std::string file = FileOf("gateway,lock,card,uid\n1,5,04A1,no\n1,6,04A1B2C3,yes\n2,5,04A2,no\n1,5,04A3,no\n");
    const Ending ending = RunLoad(file, system.Port());
    EXPECT_EQ(ending.status, 0) << ending.error;
    EXPECT_EQ(ending.output, file + ": 4 cards added\n");
    EXPECT_EQ(ending.error, "");
    EXPECT_TRUE(system.Gateway().FindLock(5)->Cards().IsEnabled());
    EXPECT_THAT(CardsOf(system, 5), ElementsAre("A104", "A304"));
    EXPECT_THAT(CardsOf(system, 6), ElementsAre("00000000000004A1B2C3"));
    EXPECT_THAT(CardsOf(system, 5, 1), ElementsAre("A204"));
    EXPECT_FALSE(HasJournal());
}

TEST_F(WhitelistLoadTest, TakesTheSimulatorsFileAsItIs) {
    const std::string text =
        R"({"Locks": [{"ID": 5, "Enabled": false, "Cards": [{"Card": "04A1B2C3", "SetupNumber": 2, "Option": 1}]}]})";
    MuxSystem system;
    EXPECT_EQ(RunLoad(FileOf(text), system.Port(), {"--gateway", "1"}).status, 0);
    const auto cards = system.Gateway().FindLock(5)->Cards();
    EXPECT_FALSE(cards.IsEnabled());
    ASSERT_EQ(cards.Entries().size(), 1U);
    EXPECT_EQ(cards.Entries().front().setupNumber, 2);
    EXPECT_EQ(cards.Entries().front().option, 1);
    EXPECT_THAT(CardsOf(system, 5), ElementsAre("04A1B2C3"));
}

TEST_F(WhitelistLoadTest, RemovesCardsOnlyWhenToldSo) {
    MuxSystem system;
    const std::string file = FileOf("card\n04A1\n");
    const Words lock = {"--gateway", "1", "--lock", "5"};
    system.Gateway().ChangeLock(5, [](Simulator::Lock& changed) { changed.Cards().Add({0, 0, {0xA1, 0x04}}); });
    system.Gateway().ChangeLock(5, [](Simulator::Lock& changed) { changed.Cards().Add({0, 0, {0x09}}); });
    EXPECT_EQ(RunLoad(file, system.Port(), lock).output, file + ": 0 cards added, 1 already listed\n");
    EXPECT_THAT(CardsOf(system, 5), ElementsAre("A104", "09"));
    EXPECT_EQ(RunLoad(file, system.Port(), lock + Words{"--clear"}).output, file + ": 1 card added\n");
    EXPECT_THAT(CardsOf(system, 5), ElementsAre("A104"));
}

const char* const kThreeCards = "gateway,lock,card,name\n1,5,04A1,Ann\n1,5,04A2,Bob\n1,5,04A3,\n";

TEST_F(WhitelistLoadTest, ReportsWhatTheGatewayRefuses) {
    MuxSystem system;
    system.Gateway().ChangeLock(5, [](Simulator::Lock& lock) { lock.Cards().SetCapacity(1); });
    const std::string file = FileOf(kThreeCards);
    const Ending ending = RunLoad(file, system.Port());
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.output, "refused  " + file +
                                 ":3: add, gateway 1, lock 5, card 04A2 (Bob): Whitelist full. [error 3]\n"
                                 "gateway 1, lock 5: not sent: Whitelist full. [error 3] (1 request)\n" +
                                 file + ": 1 card added, 1 refused, 1 not sent\n");
    EXPECT_EQ(ending.error, "muxctl: when that is corrected, run it again with --resume\n");
    EXPECT_THAT(CardsOf(system, 5), ElementsAre("A104"));
}

TEST_F(WhitelistLoadTest, ReportsInJsonAndGoesOnBehindOneCard) {
    MuxSystem system;
    system.Gateway().ChangeLock(5, [](Simulator::Lock& lock) { lock.Cards().DemandCardLength(2); });
    const std::string file = FileOf("gateway,lock,card\n1,5,04\n1,5,0405\n");
    const Ending ending = RunLoad(file, system.Port(), {"--json"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.output,
              R"({"File":")" + file +
                  R"(","Added":1,"AddedBefore":0,"AlreadyListed":0,"Failed":[{"State":"refused","Request":"add",)"
                  R"("Gateway":1,"Lock":5,"Card":"04","Name":"","Place":")" +
                  file + R"(:2","Error":9,"Message":"Datalength mismatch for the request message."}]})" + "\n");
}

TEST_F(WhitelistLoadTest, SendsAnUnansweredRequestAgain) {
    MuxSystem system;
    SystemTest::RunCommands(system.Gateway(), "fault silence");
    const Ending ending = RunLoad(FileOf(kThreeCards), system.Port(), {}, {"--timeout", "5"});
    EXPECT_EQ(ending.status, 0) << ending.output;
    EXPECT_EQ(CardsOf(system, 5).size(), 3U);
}

TEST_F(WhitelistLoadTest, LeavesASilentGatewayAfterThreeRequests) {
    MuxSystem system(SystemTest::WithGateways({{1, {5}}, {2, {6}}}));
    SystemTest::RunCommands(system.Gateway(), "fault silence always");
    const std::string file = FileOf("gateway,lock,card\n1,5,04A1\n2,6,04A1\n");
    const std::size_t before = system.Gateway().ReceivedFrames().size();
    const Ending ending = RunLoad(file, system.Port(), {}, {"--timeout", "2"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(system.Gateway().ReceivedFrames().size(), before + 3);
    EXPECT_EQ(ending.output,
              "unanswered  enable, gateway 1, lock 5: no answer\n"
              "gateway 1, lock 5: not sent: no answer (1 request)\n" +
                  file + ": 1 card added, 1 not sent\n");
    EXPECT_THAT(CardsOf(system, 6, 1), ElementsAre("A104"));
}

// Loads the three cards into lock 5 of a Mux that has the list enabled and is asked for the first card.
class UnfinishedLoadTest : public WhitelistLoadTest {
  protected:
    UnfinishedLoadTest() {
        mux_.AnswerNext();
        request_ = mux_.ReceiveText();
    }

    FakeMux mux_;
    std::string file_ = FileOf(kThreeCards);
    ConnectedProgram program_{mux_, Load(file_) + kMuchTime};
    std::string request_;
};

// Has the program killed when the first card is answered.
class ResumeTest : public UnfinishedLoadTest {
  protected:
    ResumeTest() {
        mux_.Answer(request_, 0, kAckData);
        mux_.ReceiveText();
        program_.Signal(SIGKILL);
        program_.WaitForEnd();
    }

    // The requests of this command line, all of which are answered.
    Words RequestsOf(const Words& more) {
        ConnectedProgram program(mux_, Load(file_, more) + kMuchTime);
        Words requests = mux_.AnswerAll();
        EXPECT_EQ(program.WaitForExit(), 0);
        output_ = program.Output();
        return requests;
    }

    std::string output_;
};

TEST_F(ResumeTest, SendsNothingAgainThatWasAnswered) {
    EXPECT_EQ(Journal(), "127.0.0.1:" + std::to_string(mux_.Port()) + "\nenable 1 5\nadd 1 5 04A1 data 0 0\n");
    EXPECT_THAT(RequestsOf({"--resume"}),
                ElementsAre(HasSubstr(R"("cardData":"04A2")"), HasSubstr(R"("cardData":"04A3")")));
    EXPECT_EQ(output_, file_ + ": 2 cards added, 1 added before\n");
    EXPECT_FALSE(HasJournal());
}

TEST_F(ResumeTest, BeginsAgainWithoutTheOption) {
    EXPECT_EQ(RequestsOf({}).size(), 4U);
    EXPECT_EQ(output_, file_ + ": 3 cards added\n");
}

// Cards from before the removal are gone.
TEST_F(ResumeTest, SendsAllCardsBehindANewRemoval) {
    EXPECT_THAT(RequestsOf({"--resume", "--clear"}),
                ElementsAre(HasSubstr(R"("MessageCode":22)"), HasSubstr("04A1"), HasSubstr("04A2"), HasSubstr("04A3")));
}

// The second card was added before the lock was cleared, the first one also after.
TEST_F(ResumeTest, SendsCardsAgainThatARemovalTookAway) {
    folder_.Write("cards.csv.journal", Journal() + "add 1 5 04A2 data 0 0\nclear 1 5\nadd 1 5 04A1 data 0 0\n");
    EXPECT_THAT(RequestsOf({"--resume", "--clear"}), ElementsAre(HasSubstr("04A2"), HasSubstr("04A3")));
}

TEST_F(ResumeTest, SendsALineAgainThatWasCutOff) {
    folder_.Write("cards.csv.journal", "127.0.0.1:" + std::to_string(mux_.Port()) + "\nenable 1 5\nadd 1 5 04A1 da");
    EXPECT_EQ(RequestsOf({"--resume"}).size(), 3U);
}

TEST_F(ResumeTest, IsOfTheSameMuxOnly) {
    const Testing::ReservedPort other;
    const Ending ending = RunLoad(file_, other.Number(), {"--resume"});
    EXPECT_EQ(ending.status, 64);
    EXPECT_THAT(ending.error, HasSubstr("cards.csv.journal is of a load for 127.0.0.1:"));
}

TEST_F(ResumeTest, HasAJournalForItsOwnerOnly) {
    struct stat status = {};
    ASSERT_EQ(stat((file_ + ".journal").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(UnfinishedLoadTest, KeepsItsJournalWhenTheMuxGoesAway) {
    mux_.HangUp();
    EXPECT_EQ(program_.WaitForExit(), 2);
    EXPECT_THAT(program_.Output(),
                HasSubstr(" has closed the connection (3 requests)\n" + file_ + ": 0 cards added, 3 not sent\n"));
    EXPECT_THAT(Journal(), EndsWith("\nenable 1 5\n"));
}

TEST_F(UnfinishedLoadTest, ReportsWhatIsNotSentWhenItIsInterrupted) {
    program_.Signal(SIGINT);
    EXPECT_EQ(program_.WaitForEnd(), "signal 2");
    EXPECT_EQ(program_.Output(),
              "gateway 1, lock 5: not sent: interrupted (3 requests)\n" + file_ + ": 0 cards added, 3 not sent\n");
    EXPECT_EQ(program_.ErrorOutput(), "muxctl: run it again with --resume to send the rest\n");
    EXPECT_THAT(Journal(), EndsWith("\nenable 1 5\n"));
}

TEST_F(UnfinishedLoadTest, ReportsWhatIsNotSentWhenThePeerIsNoMux) {
    mux_.Send("HTTP/1.1 400 Bad Request");
    EXPECT_EQ(program_.WaitForExit(), 2);
    EXPECT_THAT(program_.Output(), HasSubstr(" is not a Mux: "));
    EXPECT_THAT(program_.Output(), EndsWith(file_ + ": 0 cards added, 3 not sent\n"));
}

TEST_F(WhitelistLoadTest, SaysWhyThereIsNothingToResume) {
    const Testing::ReservedPort nobody;
    const std::string file = FileOf(kThreeCards);
    EXPECT_EQ(RunLoad(file, nobody.Number(), {"--resume"}).error,
              "muxctl: --resume: there is no unfinished load, as " + file + ".journal does not exist\n");
}

TEST_F(WhitelistLoadTest, SaysWhatToDoAboutAFolderThatCannotBeWritten) {
    FakeMux mux;
    const std::string file = FileOf(kThreeCards);
    // Nobody can write what is a folder.
    std::filesystem::create_directory(file + ".journal");
    const Ending ending = RunLoad(file, mux.Port());
    EXPECT_EQ(ending.status, 64);
    EXPECT_EQ(ending.error, "muxctl: cannot write " + file +
                                ".journal: Is a directory; what is loaded is noted beside the file, so copy it to a "
                                "folder that you may write to\n");
}

TEST_F(WhitelistLoadTest, SendsNothingOfAWrongFile) {
    const Testing::ReservedPort nobody;
    const std::string file = FileOf("gateway,lock,card\n1,5,04A\n");
    const Ending ending = RunLoad(file, nobody.Number());
    EXPECT_EQ(ending.status, 64);
    EXPECT_EQ(ending.error, "muxctl: " + file +
                                ":2:5: card must be pairs of hexadecimal digits, not 04A\n"
                                "muxctl: nothing was sent\n");
    EXPECT_EQ(RunLoad(file + ".none", nobody.Number()).status, 64);
    EXPECT_EQ(RunLoad("-", nobody.Number(), {"--resume"}).status, 64);
    FileOf(kThreeCards);
    EXPECT_EQ(RunLoad(file, nobody.Number(), {"--resume"}).status, 64);
    EXPECT_EQ(RunLoad(file, nobody.Number()).status, 2);
    EXPECT_FALSE(HasJournal());
}

TEST_F(WhitelistLoadTest, HasAProgressBarOnATerminal) {
    FakeMux mux;
    ProcessSetup setup;
    setup.console = Testing::Console::kTerminal;
    setup.mergesError = true;
    setup.variables = {{"TERM", "xterm"}, {"NO_COLOR", "1"}};
    ConnectedProgram program(mux, Load(FileOf(kThreeCards)) + kMuchTime, setup);
    mux.AnswerNext();
    mux.AnswerNext();
    EXPECT_TRUE(program.WaitForOutput("[###############...............] 2 of 4, "));
    mux.AnswerAll();
    EXPECT_EQ(program.WaitForExit(), 0);
}

TEST_F(WhitelistLoadTest, ChecksAFileWithoutAMux) {
    const std::string file = FileOf("card,uid\n04A1,yes\n04A2,maybe\n");
    const Ending wrong = RunMuxctl({"whitelist", "check", file});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.output, file + ":3:6: uid must be yes or no, not maybe\n" + file + ": invalid, 1 card, 1 lock\n");
    FileOf("card,crad\n04A1,1\n");
    EXPECT_THAT(RunMuxctl({"whitelist", "check", file}).output,
                EndsWith(file + ": invalid, the cards were not checked\n"));
    FileOf(kThreeCards);
    EXPECT_EQ(RunMuxctl({"whitelist", "check", file}).output, file + ": valid, 3 cards, 1 lock\n");
    EXPECT_EQ(RunMuxctl({"whitelist", "check", file, "--json"}).output,
              R"({"File":")" + file + R"(","Cards":3,"Locks":1,"Faults":[]})" + "\n");
}

}  // namespace
}  // namespace Muxctl
