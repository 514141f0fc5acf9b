#include "tools/gateway-simulator/Screen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/gateway-simulator/ScreenText.h"

namespace Simulator {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr std::size_t kWidth = 120;

// The rows' text without the blanks at their ends.
std::vector<std::string> Texts(const Screen& screen) {
    std::vector<std::string> texts;
    for (const ScreenLine& line : screen.lines) {
        texts.push_back(line.text.substr(0, line.text.find_last_not_of(' ') + 1));
    }
    return texts;
}

std::vector<std::string> Draw(const ScreenState& state, std::size_t height, std::size_t width = kWidth) {
    return Texts(LayOut(state, {width, height}));
}

LockStatus ClosedLock(std::uint32_t address, std::size_t capacity = 100) {
    LockStatus lock;
    lock.address = address;
    lock.batteryStatus = 3;
    lock.batteryLevel = 3;
    lock.capacity = capacity;
    return lock;
}

GatewayView Hall() {
    GatewayView view;
    view.id = 1;
    view.name = "Hall";
    view.address = "127.0.0.1:2101";
    view.status.connected = true;
    view.status.counter = 1003;
    view.status.locks = {ClosedLock(5, 100), ClosedLock(66, 2)};
    view.lockNames = {{5, "Front"}, {66, ""}};
    view.recent = {{"one"}, {"two"}, {"three"}};
    return view;
}

GatewayView Cellar() {
    GatewayView view;
    view.id = -2;
    view.address = "[::1]:2102";
    view.status.counter = 41;
    return view;
}

ScreenState State(const std::vector<GatewayView>& gateways) {
    ScreenState state;
    state.gateways = gateways;
    state.prompt = "> ";
    return state;
}

// Twenty gateways with the IDs 1 to 20 and three locks each.
ScreenState ManyGateways(std::size_t chosen) {
    ScreenState state = State({});
    for (std::int32_t id = 1; id <= 20; ++id) {
        GatewayView view = Cellar();
        view.id = id;
        view.status.locks = {ClosedLock(5), ClosedLock(6), ClosedLock(7)};
        view.recent = {{"one"}, {"two"}, {"three"}, {"four"}};
        state.gateways.push_back(view);
    }
    state.chosen = chosen;
    return state;
}

// As a gateway of ManyGateways() is listed.
std::string Listed(int id) {
    const std::string name = "gateway " + std::to_string(id);
    return name + std::string(id < 10 ? 1 : 0, ' ') + "  [::1]:2102  not connected  counter 41";
}

const std::string kRule(kWidth, '-');
const std::string kTitleEnd = " connected. \"help\" for help, \"quit\" to exit";
const std::string kHall = "gateway 1 Hall  127.0.0.1:2101  connected      counter 1003";
const std::string kFront = "  lock 5 Front  closed        battery 3 level 3  cards 0/100";
const std::string kOther = "  lock 66       closed        battery 3 level 3  cards 0/2";
const std::string kCellar = "gateway -2      [::1]:2102      not connected  counter 41";

TEST(ScreenTest, ShowsGatewaysWithLocksAndLatestLines) {
    EXPECT_THAT(Draw(State({Hall(), Cellar()}), 13),
                ElementsAre("gateway-simulator: 2 gateways, 1" + kTitleEnd, kHall, kFront, kOther, "    two",
                            "    three", kCellar, "", "", kRule, "", "", ">"));
}

TEST(ScreenTest, AlignsTheColumnsOfAllGateways) {
    GatewayView wordy = Cellar();
    wordy.name = "With a name that is too long";
    wordy.status.locks = {ClosedLock(5)};
    wordy.lockNames = {{5, "Door to the coal hole"}};
    const std::vector<std::string> rows = Draw(State({Hall(), wordy}), 16);
    EXPECT_EQ(rows.at(1), "gateway 1 Hall                   127.0.0.1:2101  connected      counter 1003");
    EXPECT_EQ(rows.at(2), "  lock 5 Front          closed        battery 3 level 3  cards 0/100");
    EXPECT_THAT(rows, Contains("gateway -2 With a name that is>  [::1]:2102      not connected  counter 41"));
    EXPECT_THAT(rows, Contains("  lock 5 Door to the >  closed        battery 3 level 3  cards 0/100"));
}

TEST(ScreenTest, ShowsTheStateOfALock) {
    GatewayView hall = Hall();
    hall.status.faults = {Fault::Delay(std::chrono::milliseconds(500)), Fault::Silence().Always()};
    LockStatus& front = hall.status.locks.at(0);
    front.state = Lock::State::kOpen;
    front.batteryStatus = 1;
    front.batteryLevel = 2;
    front.mechanicalActive = true;
    front.batteryWarning = true;
    front.batteryAlarm = true;
    front.eventPending = true;
    LockStatus& other = hall.status.locks.at(1);
    other.state = Lock::State::kOpenUntil;
    other.cards = 3;
    other.whitelistEnabled = false;
    const std::vector<std::string> rows = Draw(State({hall}), 12, 140);
    EXPECT_EQ(rows.at(2), "  fault delay 500 (for 1 more), silence (always)");
    EXPECT_EQ(rows.at(3),
              "  lock 5 Front  open          battery 1 level 2  cards 0/100, event pending, mechanical, "
              "battery warning, battery alarm");
    EXPECT_EQ(rows.at(4), "  lock 66       open (timed)  battery 3 level 3  cards 3/2 disabled");
}

TEST(ScreenTest, UnfoldsTheChosenOneOfManyGateways) {
    EXPECT_THAT(
        Draw(ManyGateways(14), 24, 80),
        ElementsAre("gateway-simulator: 20 gateways, 0" + kTitleEnd, "-- 8 more gateways above --", Listed(9),
                    Listed(10), Listed(11), Listed(12), Listed(13), Listed(14), Listed(15),
                    "  lock 5  closed        battery 3 level 3  cards 0/100",
                    "  lock 6  closed        battery 3 level 3  cards 0/100",
                    "  lock 7  closed        battery 3 level 3  cards 0/100", "    two", "    three", "    four",
                    Listed(16), Listed(17), Listed(18), Listed(19), Listed(20), std::string(80, '-'), "", "", ">"));
}

TEST(ScreenTest, BeginsAndEndsTheListWithTheFirstAndTheLastGateway) {
    const std::vector<std::string> first = Draw(ManyGateways(0), 24, 80);
    EXPECT_EQ(first.at(1), Listed(1));
    EXPECT_EQ(first.at(8), Listed(2));
    EXPECT_EQ(first.at(19), "-- 8 more gateways below --");
    const std::vector<std::string> last = Draw(ManyGateways(19), 24, 80);
    EXPECT_EQ(last.at(1), "-- 8 more gateways above --");
    EXPECT_EQ(last.at(12), Listed(19));
    EXPECT_EQ(last.at(13), Listed(20));
    EXPECT_EQ(last.at(19), "    four");
}

TEST(ScreenTest, NotesFaultsAndOpenLocksOfAGatewayThatIsNotUnfolded) {
    ScreenState state = ManyGateways(0);
    GatewayView& second = state.gateways.at(1);
    second.status.faults = {Fault::Silence()};
    second.status.locks.at(2).state = Lock::State::kOpen;
    EXPECT_EQ(Draw(state, 24, 80).at(8), Listed(2) + ", 1 fault, 1 open");
}

TEST(ScreenTest, LeavesRoomForFramesBelowManyLocks) {
    GatewayView hall = Hall();
    for (std::uint32_t address = 100; address < 130; ++address) {
        hall.status.locks.push_back(ClosedLock(address));
    }
    const std::vector<std::string> rows = Draw(State({hall}), 24);
    EXPECT_EQ(rows.at(16), "  -- 18 more locks --");
    EXPECT_EQ(rows.at(17), "    one");
    EXPECT_EQ(rows.at(19), "    three");
}

TEST(ScreenTest, ShowsKeepAlivesOnlyWhereNothingElseIsToBeShown) {
    GatewayView hall = Hall();
    hall.recent = {{"one"}, {"asked", true}, {"answered", true}, {"two"}};
    const std::vector<std::string> roomy = Draw(State({hall}), 13);
    EXPECT_EQ(roomy.at(4), "    one");
    EXPECT_EQ(roomy.at(5), "    asked");
    EXPECT_EQ(roomy.at(7), "    two");
    const std::vector<std::string> narrow = Draw(State({hall}), 11);
    EXPECT_EQ(narrow.at(4), "    one");
    EXPECT_EQ(narrow.at(5), "    two");
}

TEST(ScreenTest, GivesALongAnswerHalfOfTheRoomAndPagesIt) {
    ScreenState state = State({Cellar()});
    const ScreenSize size = {kWidth, 11};
    EXPECT_EQ(FirstPage(state, size), std::nullopt);
    for (int number = 1; number <= 8; ++number) {
        state.messages.push_back("line " + std::to_string(number));
    }
    EXPECT_THAT(Draw(state, 11),
                ElementsAre(HasSubstr("1 gateway, 0 connected"), "gateway -2  [::1]:2102  not connected  counter 41",
                            "", "", "", kRule, "line 5", "line 6", "line 7", "line 8", ">"));
    const auto page = [&](std::optional<std::size_t> first) {
        state.firstRow = first;
        const std::vector<std::string> rows = Draw(state, 11);
        return std::vector<std::string>(rows.begin() + 6, rows.end() - 1);
    };
    EXPECT_THAT(page(FirstPage(state, size)),
                ElementsAre("line 1", "line 2", "line 3", "-- 5 more lines, Page Down --"));
    EXPECT_THAT(page(PreviousPage(state, size)), Contains("line 1"));
    EXPECT_THAT(page(NextPage(state, size)),
                ElementsAre("line 4", "line 5", "line 6", "-- 2 more lines, Page Down --"));
    EXPECT_THAT(page(NextPage(state, size)), ElementsAre("line 5", "line 6", "line 7", "line 8"));
    EXPECT_THAT(page(NextPage(state, size)), Contains("line 8"));
    EXPECT_THAT(page(PreviousPage(state, size)),
                ElementsAre("line 2", "line 3", "line 4", "-- 4 more lines, Page Down --"));
    EXPECT_THAT(page(PreviousPage(state, size)), Contains("line 1"));
}

TEST(ScreenTest, WrapsMessagesAndCutsOtherRows) {
    ScreenState state = State({Hall()});
    state.messages = {"a message of more columns"};
    const std::vector<std::string> rows = Draw(state, 12, 20);
    EXPECT_EQ(rows.at(1), "gateway 1 Hall  127>");
    EXPECT_EQ(rows.at(9), "a message of more co");
    EXPECT_EQ(rows.at(10), "lumns");
}

TEST(ScreenTest, KeepsTheCursorOfALongLineInSight) {
    ScreenState state = State({Cellar()});
    state.input = "raw 0123456789";
    state.cursor = state.input.size();
    const Screen atTheEnd = LayOut(state, {10, 6});
    EXPECT_EQ(atTheEnd.lines.back().text, "> 3456789");
    EXPECT_EQ(atTheEnd.cursorColumn, 9U);
    state.cursor = 0;
    const Screen atTheStart = LayOut(state, {10, 6});
    EXPECT_EQ(atTheStart.lines.back().text, "> raw 0123");
    EXPECT_EQ(atTheStart.cursorColumn, 2U);
}

TEST(ScreenTest, FillsAnySizeAndGoesBeyondNone) {
    GatewayView hall = Hall();
    hall.name = "T\xC3\xBCr\x1B";
    ScreenState state = State({hall, Cellar(), Hall()});
    state.messages = {"one", "two", "three"};
    state.firstRow = 0;
    state.input = "card";
    state.cursor = 4;
    for (std::size_t height = 0; height < 30; ++height) {
        for (std::size_t width = 0; width < 60; ++width) {
            state.chosen = (height + width) % state.gateways.size();
            const Screen screen = LayOut(state, {width, height});
            ASSERT_THAT(screen.lines, SizeIs(height));
            ASSERT_LE(screen.cursorColumn, width);
            ASSERT_TRUE(height == 0 || width < 7 || screen.lines.back().text == "> card") << height;
            for (const ScreenLine& line : screen.lines) {
                ASSERT_LE(ColumnsOf(line.text), width) << line.text;
            }
        }
    }
}

}  // namespace
}  // namespace Simulator
