#include "proxy/web/SiteState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "json/Reading.h"

namespace MuxProxy {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const Viewer kAnna{"anna", false};
const Viewer kBen{"ben", false};
const Viewer kAuditor{"anna", true};

NumberSet Only(std::int32_t number) {
    return NumberSet({{number, number}});
}

// Anna may do everything at lock 5, Ben see the status of lock 70000.
std::shared_ptr<const Rights> TheRights() {
    return std::make_shared<const Rights>(
        std::vector<Rule>{{{"anna"}, RightSet().set(), Only(1), Only(5)},
                          {{"ben"}, RightSet().set(static_cast<std::size_t>(Right::kStatus)), Only(1), Only(70000)}});
}

AuditRow Event(const char* operation, std::int32_t lock, const std::string& card = "") {
    AuditRow row;
    row.kind = "event";
    row.operation = operation;
    row.gateway = 1;
    row.lock = lock;
    row.card = card;
    return row;
}

struct SiteStateTest : testing::Test {
    SiteState site{{{{1, 5}, "Cellar", "Front door"}, {{1, 70000}, "Cellar", "Gate"}}, TheRights()};
    ProxyRequest request = OpenOf(5);

    static ProxyRequest OpenOf(std::int32_t lock) {
        ProxyRequest opening;
        opening.kind = FindRequestKind("open");
        opening.lock = {1, lock};
        return opening;
    }

    rapidjson::Document SiteOf(const Viewer& viewer) const {
        rapidjson::Document document;
        EXPECT_TRUE(Json::Parse(site.SiteText(viewer), document));
        return document;
    }

    std::vector<int> DoorsOf(const Viewer& viewer) const {
        std::vector<int> locks;
        const rapidjson::Document document = SiteOf(viewer);
        for (const auto& door : document["doors"].GetArray()) {
            locks.push_back(door["lock"].GetInt());
        }
        return locks;
    }

    const PageRow* End(const std::string& client, const std::string& result, RequestNumber number = 1) {
        return site.RequestEnded({number, client, request}, {result, 0, std::chrono::milliseconds(12)});
    }
};

TEST_F(SiteStateTest, ShowsEachViewerTheDoorsWithARight) {
    EXPECT_THAT(DoorsOf(kAnna), ElementsAre(5));
    EXPECT_THAT(DoorsOf(kBen), ElementsAre(70000));
    EXPECT_THAT(DoorsOf({"nobody", true}), IsEmpty());
}

TEST_F(SiteStateTest, FindsTheLockOfAnEventByItsLowBits) {
    const PageRow* const row = site.EventCame(Event("allowed", 70000 & 0xFFFF));
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->row.lock, 70000);
}

TEST_F(SiteStateTest, ShowsEventsToThoseWithTheRightAlone) {
    const PageRow row = *site.EventCame(Event("card", 5, "04A1B2C3D4"));
    EXPECT_TRUE(site.Sees(row, kAnna));
    EXPECT_FALSE(site.Sees(row, kBen));
    const PageRow other = *site.EventCame(Event("card", 70000 & 0xFFFF, "04A1B2C3D4"));
    EXPECT_FALSE(site.Sees(other, kBen));
    EXPECT_EQ(SiteOf(kBen)["rows"].Size(), 0U);
    EXPECT_TRUE(SiteOf(kBen)["doors"][0]["lastEvent"].IsNull());
}

TEST_F(SiteStateTest, KeepsTheWholeCardToItself) {
    const PageRow row = *site.EventCame(Event("card", 5, "04A1B2C3D4"));
    const std::string text = site.RowText(row, kAnna);
    EXPECT_THAT(text, HasSubstr(R"("card":"*C3D4")"));
    EXPECT_THAT(text, HasSubstr(R"("cardEvent":true)"));
    EXPECT_THAT(text, Not(HasSubstr("04A1B2C3D4")));
    EXPECT_EQ(site.CardOf(row.number, kAnna), "04A1B2C3D4");
    EXPECT_EQ(site.CardOf(row.number, kBen), "");
    EXPECT_EQ(site.CardOf(row.number + 1, kAnna), "");
}

TEST_F(SiteStateTest, KnowsNothingOfPins) {
    const PageRow row = *site.EventCame(Event("pin", 5, "31323334"));
    EXPECT_THAT(site.RowText(row, kAuditor), Not(HasSubstr("3132")));
    EXPECT_EQ(site.CardOf(row.number, kAnna), "");
}

TEST_F(SiteStateTest, ForgetsTheOldestRowsAndTheirCards) {
    const std::uint64_t first = site.EventCame(Event("card", 5, "04A1B2C3D4"))->number;
    for (std::size_t i = 0; i < SiteState::kMostCards; ++i) {
        site.EventCame(Event("card", 5, "0011223344"));
    }
    EXPECT_EQ(site.CardOf(first, kAnna), "");
    EXPECT_EQ(SiteOf(kAnna)["rows"].Size(), SiteState::kMostRows);
}

TEST_F(SiteStateTest, KeepsCardsHoweverManyOtherRowsCome) {
    const std::uint64_t first = site.EventCame(Event("card", 5, "04A1B2C3D4"))->number;
    for (std::size_t i = 0; i < 2 * SiteState::kMostRows; ++i) {
        site.EventCame(Event("pin", 5, "31"));
    }
    EXPECT_EQ(site.CardOf(first, kAnna), "04A1B2C3D4");
}

TEST_F(SiteStateTest, OffersCardsToThoseWhoMayEnterThem) {
    const RightSet events = RightSet().set(static_cast<std::size_t>(Right::kEvents));
    site.SetRights(std::make_shared<const Rights>(std::vector<Rule>{{{"anna"}, events, Only(1), Only(5)}}));
    const PageRow row = *site.EventCame(Event("card", 5, "04A1B2C3D4"));
    EXPECT_THAT(site.RowText(row, kAnna), Not(HasSubstr("cardEvent")));
}

TEST_F(SiteStateTest, ShowsRequestsToThoseWhoMayMakeThem) {
    request = OpenOf(70000);
    const PageRow row = *End("reception", "ack");
    EXPECT_FALSE(site.Sees(row, kBen));
    EXPECT_TRUE(site.Sees(row, {"ben", true}));
    EXPECT_TRUE(site.Sees(*End("ben", "not-sent"), kBen));
    EXPECT_FALSE(site.Sees(row, kAuditor));
}

TEST_F(SiteStateTest, ShowsBatteriesToThoseWhoMayAskForThem) {
    site.SetRights(std::make_shared<const Rights>(
        std::vector<Rule>{{{"anna"}, RightSet().set(static_cast<std::size_t>(Right::kOpen)), Only(1), Only(5)}}));
    site.StatusCame({1, 5}, {});
    EXPECT_TRUE(SiteOf(kAnna)["doors"][0]["battery"].IsNull());
    EXPECT_THAT(site.BatteryText({1, 5}, kAnna), HasSubstr(R"("battery":null)"));
}

TEST_F(SiteStateTest, LeavesTheProxysOwnQuestionsOut) {
    EXPECT_EQ(End("", "ack"), nullptr);
    EXPECT_TRUE(SiteOf(kAuditor)["doors"][0]["lastResult"].IsNull());
}

TEST_F(SiteStateTest, CountsTheRowsThatAViewerSees) {
    site.EventCame(Event("card", 5, "04"));
    const std::uint64_t second = site.EventCame(Event("card", 5, "05"))->number;
    site.EventCame(Event("card", 70000 & 0xFFFF, "06"));
    EXPECT_EQ(site.CountFrom(second, kAnna), 1U);
    EXPECT_EQ(site.CountFrom(0, kBen), 0U);
}

TEST_F(SiteStateTest, NamesOtherClientsToAuditorsAlone) {
    const PageRow row = *End("reception", "ack");
    EXPECT_THAT(site.RowText(row, kAnna), HasSubstr(R"("client":null)"));
    EXPECT_THAT(site.RowText(row, kAuditor), HasSubstr(R"("client":"reception")"));
    EXPECT_THAT(site.RowText(*End("anna", "ack"), kAnna), HasSubstr(R"("client":"anna")"));
}

TEST_F(SiteStateTest, ShowsWhatIsUnderWayUntilItEnds) {
    const std::string client = "anna";
    site.RequestTaken({7, client, request});
    EXPECT_THAT(site.BusyText({1, 5}, kAnna), HasSubstr(R"("operation":"open")"));
    End(client, "nack", 7);
    EXPECT_THAT(site.BusyText({1, 5}, kAnna), HasSubstr(R"("busy":[])"));
    EXPECT_STREQ(SiteOf(kAnna)["doors"][0]["lastResult"]["result"].GetString(), "nack");
}

TEST_F(SiteStateTest, TakesADoorOfNoFileOnceItHasAnswered) {
    site.SetRights(std::make_shared<const Rights>(
        std::vector<Rule>{{{"anna"}, RightSet().set(), NumberSet::All(), NumberSet::All()}}));
    request = OpenOf(9);
    End("anna", "no-answer");
    EXPECT_THAT(DoorsOf(kAnna), ElementsAre(5, 70000));
    End("anna", "ack");
    EXPECT_THAT(DoorsOf(kAnna), ElementsAre(5, 70000, 9));
}

TEST_F(SiteStateTest, TakesNoMoreDoorsThanItMay) {
    site.SetRights(std::make_shared<const Rights>(
        std::vector<Rule>{{{"anna"}, RightSet().set(), NumberSet::All(), NumberSet::All()}}));
    for (int lock = 100; lock < 100 + 2 * static_cast<int>(SiteState::kMostOtherDoors); ++lock) {
        site.EventCame(Event("allowed", lock));
    }
    EXPECT_EQ(DoorsOf(kAnna).size(), 2 + SiteState::kMostOtherDoors);
}

TEST_F(SiteStateTest, KnowsNoBatteryUntilItIsAsked) {
    EXPECT_TRUE(SiteOf(kAnna)["doors"][0]["battery"].IsNull());
    MuxClient::LockStatus status;
    status.batteryStatus = 3;
    EXPECT_TRUE(site.StatusCame({1, 5}, status));
    EXPECT_STREQ(SiteOf(kAnna)["doors"][0]["battery"]["battery"].GetString(), "full");
}

TEST_F(SiteStateTest, BeginsWithTheAuditsEnd) {
    AuditRow opening = Event("open", 5);
    opening.kind = "request";
    opening.result = "ack";
    opening.client = "reception";
    AuditRow connection;
    connection.kind = "connection";
    site.TakeHistory({Event("card", 5, "*C3D4"), connection, opening});
    const rapidjson::Document document = SiteOf(kAnna);
    EXPECT_STREQ(document["doors"][0]["lastEvent"]["card"].GetString(), "*C3D4");
    EXPECT_STREQ(document["doors"][0]["lastResult"]["result"].GetString(), "ack");
    EXPECT_EQ(document["rows"].Size(), 2U);
    EXPECT_FALSE(document["rows"][0].HasMember("cardEvent"));
}

}  // namespace
}  // namespace MuxProxy
