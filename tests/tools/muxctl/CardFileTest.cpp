#include "tools/muxctl/CardFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Muxctl {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Faults = std::vector<std::string>;

const CardDefaults kNothingRequired = {std::nullopt, {}, {}, false};

CardDefaults ForLocks(std::int32_t gateway, const std::vector<std::string>& locks) {
    return {gateway, locks, {}, true};
}

// Two gateways, of which each has a lock with the name "Side door", and one a lock with a number for its name.
CardDefaults WithSite(const std::vector<std::string>& locks = {}) {
    const Site site = {std::nullopt,
                       {{1, "Hall", {{5, "Front door"}, {6, "Side door"}, {9, "7"}}}, {2, "Yard", {{8, "Side door"}}}},
                       std::nullopt};
    return {std::nullopt, locks, {}, true, site};
}

CardFile Read(const std::string& text, const CardDefaults& defaults = {}) {
    return ReadCardFile("cards", text, defaults);
}

Faults FaultsIn(const std::string& text) {
    return Read(text, kNothingRequired).faults;
}

// "1/5 04A1B2C3 uid 0 1 Ann"
std::vector<std::string> CardsIn(const CardFile& file) {
    std::vector<std::string> cards;
    for (const CardList& list : file.lists) {
        for (const ListedCard& listed : list.cards) {
            cards.push_back(std::to_string(list.lock.gateway) + "/" + std::to_string(list.lock.lock) + " " +
                            listed.card.data + (listed.card.isUid ? " uid " : " data ") +
                            std::to_string(listed.card.setupNumber) + " " + std::to_string(listed.card.options) + " " +
                            listed.name);
        }
    }
    return cards;
}

TEST(CardCsvTest, HasAColumnForEachOption) {
    const CardFile file = Read(
        "gateway,lock,card,uid,setup,options,name\n"
        "1,5,04A1B2C3,yes,0,1,Ann\n"
        "-2,70000,04a1,NO,255,4294967295,\"Smith, \"\"Bob\"\"\"\n");
    EXPECT_THAT(file.faults, IsEmpty());
    EXPECT_THAT(CardsIn(file),
                ElementsAre("1/5 04A1B2C3 uid 0 1 Ann", "-2/70000 04a1 data 255 4294967295 Smith, \"Bob\""));
    EXPECT_EQ(file.lists.back().cards.front().place, "cards:3");
}

TEST(CardCsvTest, TakesWhatItLeavesOutFromTheOptions) {
    CardDefaults defaults = ForLocks(1, {"5", "6"});
    defaults.card.isUid = true;
    defaults.card.options = 1;
    const CardFile file = Read("card,uid\n04A1,\n04A2,no\n", defaults);
    EXPECT_THAT(file.faults, IsEmpty());
    EXPECT_THAT(CardsIn(file),
                ElementsAre("1/5 04A1 uid 0 1 ", "1/5 04A2 data 0 1 ", "1/6 04A1 uid 0 1 ", "1/6 04A2 data 0 1 "));
}

// The Mux sends a UID with setup number 0 whatever it is told.
TEST(CardCsvTest, HasNoSetupNumberForAUid) {
    CardDefaults defaults = ForLocks(1, {"5"});
    defaults.card.setupNumber = 3;
    EXPECT_THAT(CardsIn(Read("card,uid\n01,yes\n02,no\n", defaults)),
                ElementsAre("1/5 01 uid 0 0 ", "1/5 02 data 3 0 "));
    EXPECT_THAT(CardsIn(Read("card,uid,setup\n01,yes,0\n", defaults)), ElementsAre("1/5 01 uid 0 0 "));
    EXPECT_THAT(Read("setup,card,uid\n2,01,yes\n", defaults).faults,
                ElementsAre("cards:2:1: setup must be 0 for a UID, not 2"));
}

TEST(CardCsvTest, MayComeFromASpreadsheet) {
    const CardFile file = Read("\xEF\xBB\xBF Card ; Lock \r\n 04A1 ;5\r\n\r\n04A2;5", {1, {}, {}, true});
    EXPECT_THAT(file.faults, IsEmpty());
    EXPECT_THAT(CardsIn(file), ElementsAre("1/5 04A1 data 0 0 ", "1/5 04A2 data 0 0 "));
}

TEST(CardCsvTest, FaultsHaveLineAndColumn) {
    const std::string header = "gateway,lock,card,uid,setup,name\n";
    EXPECT_THAT(Read(header + "1,5,04A,yes,0,x\n" + "1, 05,04,maybe,256,x\n" + "1,5,\n" + "1,5,,yes,,\n").faults,
                ElementsAre("cards:2:5: card must be pairs of hexadecimal digits, not 04A",
                            "cards:3:4: lock must be a decimal integer from -2147483648 to 2147483647 (no leading "
                            "zeros), not 05; a name requires --site or --config",
                            "cards:3:10: uid must be yes or no, not maybe",
                            "cards:3:16: setup must be a decimal integer from 0 to 255 (no leading zeros), not 256",
                            "cards:4:1: has 3 fields, and the header 6", "cards:5:5: card must not be empty"));
    EXPECT_THAT(FaultsIn("card,name\n04,\xC3\x84\xC3\x96,x"), ElementsAre("cards:2:1: has 3 fields, and the header 2"));
    EXPECT_THAT(FaultsIn("name,card\n\xC3\x84\xC3\x96,x"), ElementsAre(HasSubstr("cards:2:4: card must be ")));
}

TEST(CardCsvTest, HasIdsOrNames) {
    const CardFile file = Read(
        "lock,card,gateway\n"
        "Front door,01,Hall\n"
        "Side door,02,2\n"
        "7,03,Hall\n",
        WithSite());
    EXPECT_THAT(file.faults, IsEmpty());
    EXPECT_THAT(CardsIn(file), ElementsAre("1/5 01 data 0 0 ", "2/8 02 data 0 0 ", "1/7 03 data 0 0 "));
}

TEST(CardCsvTest, TakesTheGatewayFromTheNameOfALock) {
    EXPECT_THAT(CardsIn(Read("lock,card\nFront door,01\n", WithSite())), ElementsAre("1/5 01 data 0 0 "));
    EXPECT_THAT(Read("lock,card\nSide door,01\n6,02\n", WithSite()).faults,
                ElementsAre("cards:2:1: several locks are named \"Side door\": gateway 1, lock 6; gateway 2, lock 8",
                            "cards:3:1: lock 6 is an ID, which requires --gateway"));
}

TEST(CardCsvTest, LooksUpTheNamesOfTheOptions) {
    EXPECT_THAT(CardsIn(Read("card,gateway\n01,Hall\n02,Yard\n", WithSite({"Side door"}))),
                ElementsAre("1/6 01 data 0 0 ", "2/8 02 data 0 0 "));
    EXPECT_THAT(CardsIn(Read("card\n01\n", WithSite({"Front door"}))), ElementsAre("1/5 01 data 0 0 "));
    EXPECT_THAT(Read("card\n01\n02\n", WithSite({"Front dor"})).faults,
                ElementsAre("cards: no lock is named \"Front dor\"; did you mean \"Front door\"?"));
    EXPECT_THAT(Read("card,gateway\n01,Yard\n", WithSite({"Front door"})).faults,
                ElementsAre("cards:2:4: gateway 2 has no lock \"Front door\", but gateway 1 has"));
}

TEST(CardCsvTest, FaultsOfNamesHaveLineAndColumn) {
    EXPECT_THAT(Read("gateway,lock,card\nHal,Front door,0\n1,front door,01\n2,Front door,01\n", WithSite()).faults,
                ElementsAre("cards:2:1: no gateway is named \"Hal\"; did you mean \"Hall\"?",
                            "cards:2:16: card must be pairs of hexadecimal digits, not 0",
                            "cards:3:3: no lock is named \"front door\"; did you mean \"Front door\"?",
                            "cards:4:3: gateway 2 has no lock \"Front door\", but gateway 1 has"));
}

TEST(CardCsvTest, RefusesAHeaderThatIsNotClear) {
    const std::string columns = "; allowed: gateway, lock, card, uid, setup, options, name";
    EXPECT_THAT(FaultsIn("card,crad,dcar\n04,05,06\n"), ElementsAre("cards:1:6: unknown column \"crad\"" + columns,
                                                                    "cards:1:11: unknown column \"dcar\"" + columns));
    EXPECT_THAT(FaultsIn("card,Card\n04,05\n"), ElementsAre("cards:1:6: duplicate column \"Card\"" + columns));
    EXPECT_THAT(FaultsIn(""), ElementsAre("cards: the header must have a column \"card\"" + columns));
    EXPECT_THAT(Read("card\n04\n").faults, ElementsAre("cards: has no column \"gateway\", so --gateway is required",
                                                       "cards: has no column \"lock\", so --lock is required"));
    EXPECT_THAT(Read("gateway,lock,card\n1,5,04\n", ForLocks(1, {"5"})).faults,
                ElementsAre("cards: has a column \"gateway\", so --gateway must be left out",
                            "cards: has a column \"lock\", so --lock must be left out"));
}

TEST(CardCsvTest, RefusesAQuoteWithoutAnEnd) {
    EXPECT_THAT(FaultsIn("card,name\n04,\"Ann\n05,Bob\n"), ElementsAre("cards: a quote has no end"));
}

TEST(CardCsvTest, RefusesALongUid) {
    EXPECT_THAT(FaultsIn("card,uid\n0102030405060708090A0B,yes\n0102030405060708090A0B,no\n"),
                ElementsAre("cards:2: a UID must be at most 10 bytes"));
}

// A gateway knows a card by the bytes that it gets.
TEST(CardCsvTest, RefusesACardThatIsThereAlready) {
    const std::string text =
        "lock,card,uid\n"
        "5,0a01,no\n"
        "5,0A01,no\n"
        "6,0A01,no\n"
        "5,010A,no\n"
        "5,01,yes\n"
        "5,01000000000000000000,no\n";
    EXPECT_THAT(FaultsIn(text), ElementsAre("cards:3: same card as cards:2", "cards:7: same card as cards:6"));
}

const CardDefaults kGatewayOnly = {1, {}, {}, true};

TEST(CardJsonTest, HasTheBytesThatTheGatewayGets) {
    const CardFile file = Read(
        R"({"Locks": [{"ID": 5, "Cards": [{"Card": "04A1B2C3", "SetupNumber": 2, "Option": 1}, {"Card": "0102"}]},)"
        R"({"ID": 4294967295, "Enabled": false}]})",
        kGatewayOnly);
    EXPECT_THAT(file.faults, IsEmpty());
    EXPECT_THAT(CardsIn(file), ElementsAre("1/5 C3B2A104 data 2 1 ", "1/5 0201 data 0 0 "));
    EXPECT_EQ(BytesAtGateway(file.lists.front().cards.front().card), "04A1B2C3");
    ASSERT_EQ(file.lists.size(), 2U);
    EXPECT_TRUE(file.lists.front().isEnabled);
    EXPECT_FALSE(file.lists.back().isEnabled);
    EXPECT_EQ(file.lists.back().lock.lock, -1);
}

TEST(CardJsonTest, NamesThePlaceOfEachFault) {
    EXPECT_THAT(
        Read(R"({"Locks": [{"ID": 5, "Cards": [{"Card": "4A1"}, {"Card": "04", "Option": 2}, {}, {"Card": "04"},)"
             R"({"Card": "04"}]}, {"Cards": []}, 7]})",
             kGatewayOnly)
            .faults,
        ElementsAre("cards: Locks[0].Cards[0].Card must be pairs of hexadecimal digits, not 4A1",
                    "cards: Locks[0].Cards[1].Option must be a number from 0 to 1",
                    "cards: Locks[0].Cards[2] must have a member \"Card\"",
                    "cards: Locks[0].Cards[4]: same card as cards: Locks[0].Cards[3]",
                    "cards: Locks[1] must have a member \"ID\"", "cards: Locks[2] must be an object"));
    EXPECT_THAT(Read("{\"Locks\":\n [,]}", kGatewayOnly).faults,
                ElementsAre(HasSubstr("cards: is not JSON: line 2, ")));
    for (const MuxClient::Card& card :
         {MuxClient::Card{"", true, 0, 0}, MuxClient::Card{"", false, 1, 0}, MuxClient::Card{"", false, 0, 1}}) {
        EXPECT_THAT(Read("{}", {1, {}, card, true}).faults,
                    ElementsAre("--uid, --setup and --options: cards has these of each card itself"));
    }
    EXPECT_THAT(Read("{}").faults, ElementsAre("--gateway is required: cards does not name it"));
    EXPECT_THAT(Read("{}", ForLocks(1, {"5"})).faults, ElementsAre("--lock: cards names its locks itself"));
}

}  // namespace
}  // namespace Muxctl
