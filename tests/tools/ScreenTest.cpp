#include "tools/gateway-simulator/Screen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/gateway-simulator/ScreenText.h"

namespace Simulator {
namespace {

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
    view.recent = {"one", "two", "three"};
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

const std::string kRule(kWidth, '-');
const std::string kCommands = " Commands below, \"help\" lists them, \"quit\" ends.";
const std::string kHall = "gateway 1 Hall, 127.0.0.1:2101, connected, counter 1003";
const std::string kFront = "    lock 5 Front  closed            battery 3 level 3  whitelist 0 of 100";
const std::string kOther = "    lock 66       closed            battery 3 level 3  whitelist 0 of 2";
const std::string kCellar = "gateway -2, [::1]:2102, not connected, counter 41";

TEST(ScreenTest, ShowsGatewaysWithLocksAndLatestLines) {
    EXPECT_THAT(Draw(State({Hall(), Cellar()}), 13),
                ElementsAre("gateway-simulator: 2 gateways, 1 connected." + kCommands, kHall, kFront, kOther,
                            "      two", "      three", kCellar, "", "", kRule, "", "", ">"));
}

TEST(ScreenTest, ShowsTheStateOfALock) {
    GatewayView hall = Hall();
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
    const std::vector<std::string> rows = Draw(State({hall}), 10, 140);
    EXPECT_EQ(rows.at(2),
              "    lock 5 Front  open              battery 1 level 2  whitelist 0 of 100, mechanical, "
              "battery warning, battery alarm, event pending");
    EXPECT_EQ(rows.at(3), "    lock 66       open for a while  battery 3 level 3  whitelist 3 of 2 disabled");
}

TEST(ScreenTest, SharesTheRoomForLinesAmongGateways) {
    GatewayView hall = Hall();
    hall.status.locks.clear();
    GatewayView cellar = Cellar();
    cellar.recent = {"four", "five", "six"};
    const std::vector<std::string> rows = Draw(State({hall, cellar}), 10);
    EXPECT_THAT(std::vector<std::string>(rows.begin() + 1, rows.begin() + 6),
                ElementsAre(kHall, "      two", "      three", kCellar, "      six"));
}

TEST(ScreenTest, SaysHowManyLocksThereIsNoRoomFor) {
    GatewayView hall = Hall();
    hall.status.locks = {ClosedLock(5), ClosedLock(6), ClosedLock(7), ClosedLock(8)};
    hall.recent = {"one"};
    const std::vector<std::string> rows = Draw(State({hall, Cellar()}), 9);
    EXPECT_THAT(rows.at(1), kHall);
    EXPECT_THAT(rows.at(2), HasSubstr("lock 5 Front"));
    EXPECT_THAT(rows.at(3), "    and 3 more locks");
    EXPECT_THAT(rows.at(4), kCellar);
}

TEST(ScreenTest, GivesALongAnswerHalfOfTheRoom) {
    ScreenState state = State({Cellar()});
    for (int number = 1; number <= 20; ++number) {
        state.messages.push_back("line " + std::to_string(number));
    }
    EXPECT_EQ(MessageRows(state, {kWidth, 11}), 4U);
    EXPECT_THAT(Draw(state, 11), ElementsAre(HasSubstr("1 gateway, 0 connected"), kCellar, "", "", "", kRule, "line 17",
                                             "line 18", "line 19", "line 20", ">"));
    state.scrolled = 3;
    EXPECT_EQ(Draw(state, 11).at(6), "line 14");
    EXPECT_EQ(Draw(state, 11).at(9), "line 17");
    state.scrolled = 99;
    EXPECT_EQ(Draw(state, 11).at(6), "line 1") << "no further than to the first";
    EXPECT_EQ(Draw(state, 11).at(9), "line 4");
}

TEST(ScreenTest, ShowsTheTypedLineWithItsCursor) {
    ScreenState state = State({Cellar()});
    state.prompt = "-2> ";
    state.input = "card 5 04";
    state.cursor = 4;
    const Screen screen = LayOut(state, {40, 6});
    EXPECT_EQ(screen.lines.back().text, "-2> card 5 04");
    EXPECT_EQ(screen.cursorColumn, 8U);
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
    state.input = "card";
    state.cursor = 4;
    for (std::size_t height = 0; height < 30; ++height) {
        for (std::size_t width = 0; width < 60; ++width) {
            const Screen screen = LayOut(state, {width, height});
            ASSERT_THAT(screen.lines, SizeIs(height));
            ASSERT_LE(screen.cursorColumn, width);
            for (const ScreenLine& line : screen.lines) {
                ASSERT_LE(ColumnsOf(line.text), width) << line.text;
            }
        }
    }
}

}  // namespace
}  // namespace Simulator
