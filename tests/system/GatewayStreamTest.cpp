// How a gateway's bytes become frames: in pieces, glued, with junk before them, answered twice or to nobody.
//
// The Mux reads until what it has is one frame by its length byte. Anything else it only takes up when nothing more
// has come for 11 seconds, which is why some of these tests last that long.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/ExchangeRunner.h"
#include "tools/gateway-simulator/Console.h"

namespace SystemTest {
namespace {

constexpr const char* kLost =
    "A reply message was sent from gateway. But no request message was found in the waiting message map. The message "
    "is lost";

Exchange UnderFault(const std::string& fault, const std::string& log = "") {
    return {fault, Request(14), "00000005 08", Ack(), "fault " + fault, log};
}

Exchange Unanswered(const std::string& fault, const std::string& log) {
    return {fault, Request(14), "00000005 08", {}, "fault " + fault, log};
}

TEST(GatewayStream, FaultsThatAreOvercomeAtOnce) {
    MuxSystem system(WithArguments({"--verbose"}, WithGateways({GatewaySetup{1}, GatewaySetup{2}})));
    const std::vector<Exchange> answered = {
        UnderFault("byte-by-byte 5"),
        UnderFault("byte-by-byte 60"),
        UnderFault("wrong-crc"),
        UnderFault("delay 1500"),
        kRequest,
    };
    const std::vector<Exchange> unanswered = {
        Unanswered("unknown-reference", kLost),
        kRequest,
        Unanswered("answer-code 2",
                   "Received a message from Virtual Gateway that is not in the requests list. And it's "
                   "also nullptr."),
        kRequest,
        Unanswered("answer-code 12", "Received unmanaged message response."),
        kRequest,
    };
    ExchangeRunner(system).RunSideBySide({answered, unanswered});
}

TEST(GatewayStream, AnAnswerInPiecesOverSecondsIsOneAnswer) {
    MuxSystem system;
    ExchangeRunner(system).Run({UnderFault("byte-by-byte 250"), kRequest});
}

TEST(GatewayStream, TheTwoHighestBitsOfAReferenceAreTheGatewaysOwn) {
    MuxSystem system;
    ExchangeRunner runner(system);
    for (const int bits : {0x40, 0x80, 0xC0}) {
        Exchange held = Unanswered("silence", "");
        held.name = "reference bits " + std::to_string(bits);
        runner.Run({held});
        ASSERT_TRUE(system.Gateway().SendRaw(
            AnswerTo(system.Gateway().ReceivedFrames().back(), 6, static_cast<std::uint8_t>(bits))));
        EXPECT_NE(runner.Client().Receive().find("Request not supported."), std::string::npos);
    }
}

TEST(GatewayStream, AnAnswerMayOvertakeAnother) {
    MuxSystem system;
    ExchangeRunner runner(system);
    const std::time_t from = std::time(nullptr);
    runner.Run({Unanswered("silence", "")});
    const Simulator::ReceivedFrame slow = system.Gateway().ReceivedFrames().back();
    runner.Run({kRequest});
    ASSERT_TRUE(system.Gateway().SendRaw(AnswerTo(slow, 0)));
    ExpectMessage(runner.Client().Receive(), "request-1-1", Ack(), from);
}

TEST(GatewayStream, AnAnswerThatComesTwiceIsPassedOnOnce) {
    MuxSystem system;
    ExchangeRunner(system).Run({UnderFault("twice", kLost), kRequest});
}

TEST(GatewayStream, TwoFramesInOnePieceAreBothTakenUpInTheirOrder) {
    MuxSystem system;
    ExchangeRunner runner(system);
    Exchange held = Unanswered("glue", "");
    held.gateway = "fault delay 0; fault glue";
    runner.Run({held});
    ASSERT_TRUE(system.Gateway().RaiseCard(5, {0xAB}));
    EXPECT_NE(runner.Client().Receive().find(R"("Data":{}})"), std::string::npos);
    EXPECT_NE(runner.Client().Receive().find(R"("RFIDData":"AB"})"), std::string::npos);
    runner.Run({kRequest});
}

TEST(GatewayStream, JunkBeforeAFrameStaysAndHarmsNothing) {
    MuxSystem system;
    ExchangeRunner(system).Run({UnderFault("junk 0102FE0304"), kRequest, UnderFault("byte-by-byte 1"), kRequest});
}

TEST(GatewayStream, AMagicAtItsStartMakesTheGatewayUnheard) {
    const std::string warning =
        "Found a new BRENK packet magic number, but seems that's at an index position that isn't allowed.";
    MuxSystem system;
    ExchangeRunner runner(system);
    ASSERT_EQ(Execute(system.Gateway(), "raw FEFD"), "");
    ASSERT_TRUE(system.Mux().WaitFor(warning));
    Exchange unheard = kRequest;
    unheard.answer.reset();
    unheard.log = warning;
    runner.Run({unheard, Odd({"what needs no gateway", RequestWithoutData(3), "", Refusal()})});

    system.Gateway().CloseConnection();
    ASSERT_TRUE(system.Mux().WaitFor("DISCONNECTED to state READY"));
    runner.Run({unheard, Odd({"what needs no gateway", RequestWithoutData(3), "", Refusal()})});
}

// A connection that ends in the middle of a frame leaves its half in the buffer, and nothing clears that. It is
// completed with the start of the next connection's first frame: the header is that of the first answer, and what is
// taken for the result is the reference ID of the second.
TEST(GatewayStream, HalfAFrameOutlivesItsConnection) {
    MuxSystem system;
    ExchangeRunner runner(system);
    const std::time_t from = std::time(nullptr);
    runner.Run({Unanswered("close-mid-frame", "DISCONNECTED to state READY")});
    Exchange second = kRequest;
    second.answer.reset();
    runner.Run({second});
    const std::uint8_t referenceOfSecond = system.Gateway().ReceivedFrames().back().frame.referenceId;
    ASSERT_EQ(referenceOfSecond, 4);
    ExpectMessage(runner.Client().Receive(), "request-1-1", Nack(4, "Not in whitelist."), from);
    EXPECT_EQ(system.Gateway().ConnectionCount(), 2U);
}

}  // namespace
}  // namespace SystemTest
