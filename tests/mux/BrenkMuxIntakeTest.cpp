// What becomes of the bytes and texts that clients send, up to the request queue.

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

#include "mux/BrenkMux.h"
#include "net/MuxPacket.h"
#include "tests/mux/MuxClient.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"

using Testing::CapturedLog;
using Testing::LockData;
using Testing::Packet;
using Testing::Request;
using Testing::RequestNack;
using Testing::TestMux;

namespace {

std::atomic<int> outOfRange{0};

}  // namespace

// What at() throws with, as the linker knows it: std::__throw_out_of_range_fmt(const char*, ...).
extern "C" [[noreturn]] void __wrap__ZSt24__throw_out_of_range_fmtPKcz(const char* format, ...) {
    ++outOfRange;
    throw std::out_of_range(format);
}

namespace Mux {
namespace {

class BrenkMuxIntake : public testing::Test {
  protected:
    void Receive(const std::vector<unsigned char>& bytes) {
        BrenkMux::ServerSocketClientDataReceived(7, new std::vector<unsigned char>(bytes), &mux);
    }

    const CapturedLog log;
    TestMux mux;
};

TEST_F(BrenkMuxIntake, QueuesTheRequestInAPacket) {
    const std::string json = Request(10, "m1", LockData());
    Receive(Packet(json));
    EXPECT_EQ(mux.RequestCount(), 1U);
    EXPECT_EQ(log.Count(plog::verbose, "Data callback hit."), 1);
    EXPECT_EQ(log.Count(plog::debug,
                        "[Mux::ServerSocketClientDataReceived] - Data received from socket with FD 7. Data size: " +
                            std::to_string(json.size() + 6)),
              1);
    EXPECT_EQ(log.Count(plog::verbose, "The string contained is: " + json + ". I will try to parse message."), 1);
    EXPECT_EQ(log.Count(plog::verbose, "Message received is of size > 0."), 1);
    EXPECT_EQ(log.Count(plog::debug, "Received message JSON: " + json), 1);
    EXPECT_EQ(log.Count(plog::verbose, "Parsed received message."), 1);
    EXPECT_EQ(log.Count(plog::debug, "Message enqueued. The queue is currently 1 elements long."), 1);
}

TEST_F(BrenkMuxIntake, CountsTheQueueAfterEachRequest) {
    Receive(Packet(Request(10, "m1", LockData())));
    Receive(Packet(Request(11, "m2", LockData())));
    EXPECT_EQ(mux.RequestCount(), 2U);
    EXPECT_EQ(log.Count(plog::debug, "Message enqueued. The queue is currently 2 elements long."), 1);
}

TEST_F(BrenkMuxIntake, TakesThePacketsTextWhateverItsLengthFieldSays) {
    std::vector<unsigned char> packet = Packet(Request(10, "m1", LockData()));
    packet.at(0) = 1;
    packet.at(1) = 0;
    Receive(packet);
    EXPECT_EQ(mux.RequestCount(), 1U);
}

TEST_F(BrenkMuxIntake, CutsTheTextAtANul) {
    std::vector<unsigned char> packet = Packet(Request(10, "m1", LockData()));
    packet.push_back(0);
    packet.push_back('x');
    Receive(packet);
    EXPECT_EQ(mux.RequestCount(), 1U);
}

TEST_F(BrenkMuxIntake, OnlySaysThatItWasCalledWithoutAContext) {
    BrenkMux::ServerSocketClientDataReceived(7, new std::vector<unsigned char>(Packet("{}")), nullptr);
    EXPECT_EQ(log.Count(plog::verbose, "Data callback hit."), 1);
    EXPECT_FALSE(log.Holds(plog::debug, "Data received from socket"));
}

TEST_F(BrenkMuxIntake, IgnoresMissingData) {
    BrenkMux::ServerSocketClientDataReceived(7, nullptr, &mux);
    EXPECT_EQ(mux.RequestCount(), 0U);
}

TEST_F(BrenkMuxIntake, IgnoresPacketsThatAreTooShort) {
    const std::vector<unsigned char> packet = Packet("");
    for (std::size_t size = 0; size < packet.size(); ++size) {
        Receive({packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(size)});
    }
    EXPECT_EQ(mux.RequestCount(), 0U);
    EXPECT_FALSE(log.Holds(plog::debug, "Data received from socket"));
}

// A client may send such packets without end.
TEST_F(BrenkMuxIntake, RefusesShortPacketsWithoutAnException) {
    outOfRange = 0;
    std::vector<unsigned char> shortPacket = {0x02, 0x00};
    EXPECT_THROW(Brenk::Net::MuxPacket::IsMuxPacket(shortPacket), std::out_of_range);
    EXPECT_EQ(outOfRange, 1) << "exceptions are not counted";
    for (const std::size_t size : {1U, 2U, 5U}) {
        Receive(std::vector<unsigned char>(size, 0x02));
    }
    EXPECT_EQ(outOfRange, 1);
}

TEST_F(BrenkMuxIntake, IgnoresForeignPackets) {
    std::vector<unsigned char> wrongMagic = Packet(Request(10));
    wrongMagic.at(5) = 'N';
    Receive(wrongMagic);
    std::vector<unsigned char> lengthZero = Packet(Request(10));
    lengthZero.at(0) = 0;
    lengthZero.at(1) = 0;
    Receive(lengthZero);
    EXPECT_EQ(mux.RequestCount(), 0U);
    EXPECT_FALSE(log.Holds(plog::debug, "Data received from socket"));
}

TEST_F(BrenkMuxIntake, IgnoresAPacketWithoutText) {
    Receive(Packet(""));
    EXPECT_EQ(mux.RequestCount(), 0U);
    EXPECT_FALSE(log.Holds(plog::verbose, "Message received is of size > 0."));
}

TEST_F(BrenkMuxIntake, NeitherQueuesNorAnswersTextThatDoesNotParse) {
    for (const char* const text : {"not JSON", "{", "{\"MessageCode\":10,}", "\xFF\xFE"}) {
        Receive(Packet(text));
        EXPECT_EQ(log.Count(plog::debug, std::string("Received message JSON: ") + text), 1);
    }
    EXPECT_EQ(mux.RequestCount(), 0U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_FALSE(log.Holds(plog::verbose, "Parsed received message."));
}

TEST_F(BrenkMuxIntake, NeitherAnswersNorQueuesAConfigureMessage) {
    Receive(Packet(Request(2, "m1", R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"127.0.0.1","Port":1}]})")));
    EXPECT_EQ(mux.RequestCount(), 0U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_FALSE(mux.IsConfigured());
    EXPECT_EQ(log.Count(plog::warning, "Configure via network message currently not supported."), 1);
}

TEST_F(BrenkMuxIntake, DropsAConfigureMessageWithoutDataAsWell) {
    Receive(Packet(Request(2)));
    EXPECT_EQ(mux.RequestCount(), 0U);
    EXPECT_EQ(log.Count(plog::warning, "Configure via network message currently not supported."), 1);
}

TEST_F(BrenkMuxIntake, QueuesUnassignedCodesAndRequestsWithoutPayload) {
    for (const int code : {0, 1, 3, 10, 13, 21, 50, 99, 112, -5}) {
        Receive(Packet(Request(code)));
    }
    EXPECT_EQ(mux.RequestCount(), 10U);
}

struct NamedCode {
    int code;
    const char* name;
    const char* ending;
};

constexpr NamedCode kNamedCodes[] = {
    {10, "LOCK_OPEN", ""},
    {11, "LOCK_CLOSE", ""},
    {12, "LOCK_GETSTATUS", ""},
    {13, "LOCK_OPEN_CLOSE", ". Duration is 7"},
    {14, "MUX_MESSAGE_ACCESS_DENIED", ""},
    {21, "LOCK_WHITELIST_SET", ""},
    {22, "MUX_MESSAGE_CLEAR_WHITELIST", ""},
    {23, "MUX_MESSAGE_ENABLE_WHITELIST", ""},
    {24, "MUX_MESSAGE_DISABLE_WHITELIST", ""},
    {25, "LOCK_WHITELIST_REMOVE", ""},
    {110, "LOCK_OPEN", ""},
    {111, "LOCK_CLOSE", ""},
    {113, "LOCK_OPEN_CLOSE", ". Duration is 7"},
    {114, "MUX_MESSAGE_ACCESS_DENIED", ""},
};

TEST(BrenkMuxIntakeLog, NamesEachRequestWithItsLockAndGateway) {
    for (const NamedCode& named : kNamedCodes) {
        const CapturedLog log;
        TestMux().TakeIn(Request(named.code, "m1", LockData(3)));
        EXPECT_EQ(log.Count(plog::debug, std::string("The message is ") + named.name +
                                             ", and the lockID is 5 on gateway 3" + named.ending),
                  1)
            << named.code << '\n'
            << log.Text();
    }
}

TEST(BrenkMuxIntakeLog, SaysOfEachRequestThatItsPayloadIsMissing) {
    for (const NamedCode& named : kNamedCodes) {
        const CapturedLog log;
        TestMux().TakeIn(Request(named.code));
        EXPECT_EQ(log.Count(plog::error, std::string("The message ") + named.name + " is nullptr."), 1) << named.code;
    }
}

TEST(BrenkMuxIntakeLog, SaysNothingOfCodesThatAreNoRequestsToALock) {
    const CapturedLog log;
    TestMux mux;
    for (const int code : {0, 1, 20, 50, 51, 60, 112}) {
        mux.TakeIn(Request(code));
    }
    EXPECT_FALSE(log.Holds(plog::error, "The message "));
    EXPECT_FALSE(log.Holds(plog::debug, "The message is "));
}

TEST(BrenkMuxCallbacks, LogTheClientsThatComeAndGo) {
    const CapturedLog log;
    TestMux mux;
    BrenkMux::ServerSocketClientAccepted(8, &mux);
    EXPECT_EQ(log.Count(plog::verbose, "Data callback hit."), 1);
    EXPECT_EQ(log.Count(plog::debug, "Client with FD 8 accepted."), 1);
    BrenkMux::ServerSocketClientDeleted(8, &mux);
    EXPECT_EQ(log.Count(plog::debug, "Client deleted from list. FD 8"), 1);
}

TEST(BrenkMuxCallbacks, ReturnAtOnceWithoutAContext) {
    const CapturedLog log;
    BrenkMux::ServerSocketClientAccepted(8, nullptr);
    BrenkMux::ServerSocketClientDeleted(8, nullptr);
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

}  // namespace
}  // namespace Mux
