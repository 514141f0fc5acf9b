// Card data of every shape, from the text in a client's request to the bytes of the frame.
//
// The text's bytes are taken from its end to its start. A UID card of at most 10 bytes is then turned round and padded
// with zeros in front to 10 bytes; so the frame has a short UID in the order of the text.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/system/support/ExchangeRunner.h"

namespace SystemTest {
namespace {

std::string Card(const std::string& cardData, const std::string& members) {
    return R"("lockID":5,"cardData":")" + cardData + R"(",)" + members;
}

const std::string kPlain = R"("setupNumber":0,"options":0,"isUIDCard":false)";
const std::string kUid = R"("setupNumber":0,"options":0,"isUIDCard":true)";

// A gateway takes no card without bytes.
const Answer kNoCardBytes = Nack(9, "Datalength mismatch for the request message.");

const std::vector<Exchange> kUidCards = {
    {"4 bytes", Request(21, Card("04A1B2C3", kUid)), "00000005 03 00 00 0A 00000000000004A1B2C3", Ack()},
    {"7 bytes", Request(21, Card("01020304050607", kUid)), "00000005 03 00 00 0A 00000001020304050607", Ack()},
    {"10 bytes", Request(21, Card("0102030405060708090A", kUid)), "00000005 03 00 00 0A 0102030405060708090A", Ack()},
    Odd({"11 bytes are refused by the gateway", Request(21, Card("0102030405060708090A0B", kUid)),
         "00000005 03 00 00 00", kNoCardBytes, "",
         "Message card data bytes are null. This means no valid data was provided. Whitelist message payload will be "
         "filled with dummy data, so Brenk Gateway will return a correlated error for the request."}),
    {"1 byte", Request(21, Card("7F", kUid)), "00000005 03 00 00 0A 0000000000000000007F", Ack()},
    Odd({"a setup number is set to 0", Request(21, Card("0A0B", R"("setupNumber":5,"options":0,"isUIDCard":true)")),
         "00000005 03 00 00 0A 00000000000000000A0B", Ack(), "",
         "Specified UID mode card data, but SetupNo is not zero. Change to zero."}),
    Odd({"a setup number is set to 0 when a card is removed",
         Request(25, Card("0A0B", R"("setupNumber":5,"options":1,"isUIDCard":true)")),
         "00000005 04 00 00 0A 00000000000000000A0B", Ack(), "",
         "Specified UID mode card data, but SetupNo is not zero. Change to zero."}),
};

const std::vector<Exchange> kPlainCards = {
    {"4 bytes", Request(21, Card("04A1B2C3", kPlain)), "00000005 03 00 00 04 C3B2A104", Ack()},
    {"11 bytes", Request(21, Card("0102030405060708090A0B", kPlain)), "00000005 03 00 00 0B 0B0A090807060504030201",
     Ack()},
    Odd({"an odd number of digits", Request(21, Card("ABC", kPlain)), "00000005 03 00 00 02 BC0A", Ack()}),
    Odd({"one digit", Request(21, Card("7", kPlain)), "00000005 03 00 00 01 07", Ack()}),
    {"small letters", Request(21, Card("abcdef", kPlain)), "00000005 03 00 00 03 EFCDAB", Ack()},
    Odd({"other characters are zeros", Request(21, Card("G1x-", kPlain)), "00000005 03 00 00 02 0001", Ack()}),
    {"setup number 1", Request(21, Card("0102030405060708090A0B0C", R"("setupNumber":1,"isUIDCard":false)")),
     "00000005 03 01 00 0C 0C0B0A090807060504030201", Ack()},
};

const std::vector<Exchange> kMembers = {
    Odd({"setup number 258 keeps its low 8 bits", Request(21, Card("01", R"("setupNumber":258,"isUIDCard":false)")),
         "00000005 03 02 00 01 01", Ack()}),
    Odd({"a setup number below 0", Request(21, Card("02", R"("setupNumber":-1,"isUIDCard":false)")),
         "00000005 03 00 00 01 02", Ack(), "", "Cannot parse setup number. Set to default 0."}),
    Odd({"a setup number that is a text", Request(21, Card("03", R"("setupNumber":"1","isUIDCard":false)")),
         "00000005 03 00 00 01 03", Ack(), "", "Cannot parse setup number. Set to default 0."}),
    Odd({"every option but 0 is 1", Request(21, Card("04", R"("options":256,"isUIDCard":false)")),
         "00000005 03 00 01 01 04", Ack(), "",
         "Current whitelist message doesn't contain a Setup Number value. Will be set to default (0)"}),
    Odd({"an option below 0", Request(21, Card("05", R"("options":-1,"isUIDCard":false)")), "00000005 03 00 00 01 05",
         Ack(), "", "Cannot parse options value. Set to default 0."}),
    {"removing never sends an option", Request(25, Card("05", R"("options":1,"isUIDCard":false)")),
     "00000005 04 00 00 01 05", Ack()},
    {"no member but the card", Request(21, R"("lockID":5,"cardData":"06")"), "00000005 03 00 00 01 06", Ack(), "",
     "Current whitelist message doesn't contain an Options value. Will be set to default (0)"},
    Odd({"a card type that is a text", Request(21, Card("07", R"("isUIDCard":"true")")), "00000005 03 00 00 01 07",
         Ack(), "", "Card data type is not in a valid format. Will be used default value (false)"}),
    {"no card type", Request(21, Card("08", R"("options":0)")), "00000005 03 00 00 01 08", Ack(), "",
     "Card data type is not specified. Default su IsUIDCard false"},
};

TEST(WhitelistCards, EveryShapeReachesTheGatewayAsTheProtocolSays) {
    MuxSystem system(WithGateways({GatewaySetup{1}, GatewaySetup{2}, GatewaySetup{3}}));
    ExchangeRunner(system).RunSideBySide({kUidCards, kPlainCards, kMembers});
}

TEST(WhitelistCards, TheGatewayKeepsItsWhitelistAndItsAnswersComeBack) {
    MuxSystem system;
    const std::string one = Card("01", kPlain);
    const std::string two = Card("02", kPlain);
    const std::string setup = Card("03", R"("setupNumber":4,"isUIDCard":false)");
    ExchangeRunner(system).Run({
        {"not there", Request(25, one), "00000005 04 00 00 01 01", Nack(4, "Not in whitelist.")},
        {"added", Request(21, one), "00000005 03 00 00 01 01", Ack(), "capacity 5 1"},
        {"there already", Request(21, one), "00000005 03 00 00 01 01", Nack(2, "Already in whitelist.")},
        {"no room", Request(21, two), "00000005 03 00 00 01 02", Nack(3, "Whitelist full.")},
        {"another setup number", Request(21, setup), "00000005 03 04 00 01 03", Nack(11, "Setup number mismatch."),
         "setup-number 5 9"},
        {"another length", Request(21, two), "00000005 03 00 00 01 02",
         Nack(9, "Datalength mismatch for the request message."), "setup-number 5 any; card-length 5 8"},
        {"cleared", Request(22), "00000005 05", Ack()},
        {"and not there any more", Request(25, one), "00000005 04 00 00 01 01", Nack(4, "Not in whitelist."),
         "card-length 5 any"},
    });
}

}  // namespace
}  // namespace SystemTest
