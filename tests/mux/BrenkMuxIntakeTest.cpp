// Bytes and texts from clients, up to the request queue, with all log lines.

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

#include "mux/BrenkMux.h"
#include "mux/messages/RequestTable.h"
#include "net/MuxPacket.h"
#include "tests/mux/MuxClient.h"
#include "tests/mux/MuxLog.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"

using plog::debug;
using plog::error;
using plog::verbose;
using plog::warning;
using Testing::CapturedLog;
using Testing::LockData;
using Testing::MuxLog;
using Testing::Packet;
using Testing::Request;
using Testing::Steps;
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

    // Expects the lines of every packet up to the parser, then `further`.
    void ExpectSteps(const std::string& json, const Steps& further) {
        const MuxLog muxLog(log);
        Receive(Packet(json));
        muxLog.Expect(
            Steps{{verbose, "Data callback hit."},
                  {debug, "[Mux::ServerSocketClientDataReceived] - Data received from socket with FD 7. Data size: " +
                              std::to_string(json.size() + 6)},
                  {verbose, "The string contained is: " + json + ". I will try to parse message."},
                  {verbose, "Message received is of size > 0."},
                  {debug, "Received message JSON: " + json}} +
            further);
    }

    // The last lines of a request that is queued.
    Steps Enqueued() const {
        return {Testing::kClientLock,
                {debug, "Message enqueued. The queue is currently " + std::to_string(mux.RequestCount() + 1) +
                            " elements long."}};
    }

    // Expects that nothing is parsed or queued.
    void ExpectIgnored(const std::vector<unsigned char>& bytes) {
        const std::size_t before = mux.RequestCount();
        Receive(bytes);
        EXPECT_EQ(mux.RequestCount(), before);
        EXPECT_FALSE(log.Holds(verbose, "Message received is of size > 0."));
    }

    const CapturedLog log;
    TestMux mux;
};

// The lines of the parser.
Steps Parsing(int code) {
    if (code % 100 == 11) {
        return {{debug, "MuxMessageBuilder - gatewayID :3 lockID :5"}};
    }
    const bool hasCard = code == 21 || code == 25;
    return hasCard ? Steps{{debug, "Finished parsing whitelist message payload."}} : Steps{};
}

TEST_F(BrenkMuxIntake, QueuesEachRequestAndNamesItsLockAndGateway) {
    for (const int code : Testing::RoutedCodes()) {
        SCOPED_TRACE(code);
        const char* const ending = code % 100 == 13 ? ". Duration is 7" : "";
        ExpectSteps(Request(code, "m1", LockData(3)),
                    Parsing(code) +
                        Steps{{verbose, "Parsed received message."},
                              {debug, std::string("The message is ") + FindRequest(code)->codeName +
                                          ", and the lockID is 5 on gateway 3" + ending}} +
                        Enqueued());
    }
    EXPECT_EQ(mux.RequestCount(), Testing::RoutedCodes().size());
}

TEST_F(BrenkMuxIntake, QueuesEachRequestWithoutPayloadAndSaysSo) {
    for (const int code : Testing::RoutedCodes()) {
        SCOPED_TRACE(code);
        ExpectSteps(Request(code),
                    Steps{{verbose, "Parsed received message."},
                          {error, std::string("The message ") + FindRequest(code)->codeName + " is nullptr."}} +
                        Enqueued());
    }
}

TEST_F(BrenkMuxIntake, QueuesCodesThatAreNoRequestsToALock) {
    for (const int code : {0, 1, 3, 9, 20, 50, 51, 60, 99, 112, 115, -5}) {
        ExpectSteps(Request(code), Steps{{verbose, "Parsed received message."}} + Enqueued());
        ExpectSteps(Request(code, "m1", LockData()), Steps{{verbose, "Parsed received message."}} + Enqueued());
    }
}

TEST_F(BrenkMuxIntake, NeitherAnswersNorQueuesAConfigureMessage) {
    for (const char* const data : {R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"127.0.0.1","Port":1}]})", ""}) {
        ExpectSteps(Request(2, "m1", data), {{verbose, "Parsed received message."},
                                             {warning, "Configure via network message currently not supported."}});
    }
    EXPECT_EQ(mux.RequestCount(), 0U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_FALSE(mux.IsConfigured());
}

TEST_F(BrenkMuxIntake, NeitherQueuesNorAnswersTextThatDoesNotParse) {
    for (const char* const text : {"not JSON", "{", "{\"MessageCode\":10,}", "\xFF\xFE"}) {
        ExpectSteps(text, {});
    }
    EXPECT_EQ(mux.RequestCount(), 0U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxIntake, TakesThePacketsTextUpToANulWhateverItsLengthFieldSays) {
    std::vector<unsigned char> packet = Packet(Request(10, "m1", LockData()));
    packet.at(0) = 1;
    packet.at(1) = 0;
    packet.push_back(0);
    packet.push_back('x');
    Receive(packet);
    EXPECT_EQ(mux.RequestCount(), 1U);
}

TEST_F(BrenkMuxIntake, OnlySaysThatItWasCalledWithoutAContext) {
    const MuxLog muxLog(log);
    BrenkMux::ServerSocketClientDataReceived(7, new std::vector<unsigned char>(Packet("{}")), nullptr);
    muxLog.Expect({{verbose, "Data callback hit."}});
}

TEST_F(BrenkMuxIntake, IgnoresWhatIsNoPacketOrHasNoText) {
    const std::vector<unsigned char> empty = Packet("");
    for (std::size_t size = 0; size <= empty.size(); ++size) {
        ExpectIgnored({empty.begin(), empty.begin() + static_cast<std::ptrdiff_t>(size)});
    }
    std::vector<unsigned char> wrongMagic = Packet(Request(10));
    wrongMagic.at(5) = 'N';
    ExpectIgnored(wrongMagic);
    std::vector<unsigned char> lengthZero = Packet(Request(10));
    lengthZero.at(0) = 0;
    lengthZero.at(1) = 0;
    ExpectIgnored(lengthZero);
    const MuxLog muxLog(log);
    Receive({1, 2, 3});
    BrenkMux::ServerSocketClientDataReceived(7, nullptr, &mux);
    muxLog.Expect({{verbose, "Data callback hit."}, {verbose, "Data callback hit."}});
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

TEST_F(BrenkMuxIntake, LogsTheClientsThatComeAndGo) {
    const MuxLog muxLog(log);
    BrenkMux::ServerSocketClientAccepted(8, &mux);
    BrenkMux::ServerSocketClientDeleted(8, &mux);
    BrenkMux::ServerSocketClientAccepted(8, nullptr);
    BrenkMux::ServerSocketClientDeleted(8, nullptr);
    muxLog.Expect({{verbose, "Data callback hit."},
                   {debug, "Client with FD 8 accepted."},
                   {debug, "Client deleted from list. FD 8"}});
}

}  // namespace
}  // namespace Mux
