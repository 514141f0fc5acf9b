// What the Mux answers by itself, and what it does not answer at all.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ResourceLimit.h"
#include "tests/system/support/ExchangeRunner.h"

namespace SystemTest {
namespace {

constexpr const char* kNotEnqueued = "Message not correctly enqueued by Virtual Gateway. MessageID: @I";

// The row that closes a table: nothing else may have come before its answer.
Exchange Closing() {
    return Odd({"the next request", RequestWithoutData(3), "", Refusal()});
}

Exchange Refused(const std::string& name, const std::string& request, const std::string& log = kNotEnqueued) {
    return Odd({name, request, "", Refusal(), "", log});
}

Exchange Silent(const std::string& name, const std::string& request, const std::string& log = "") {
    return Odd({name, request, "", {}, "", log});
}

// Nothing is wrong with the request but that there is no such gateway.
Exchange UnknownGateway(int code, const std::string& nameInLog, const std::string& members = "") {
    return {"code " + std::to_string(code),
            RequestWithData(code, R"({"gatewayID":2,"lockID":5)" + members + "}"),
            "",
            Refusal(),
            "",
            "Cannot find requested gateway for " + nameInLog};
}

TEST(RefusedRequests, AGatewayThatIsNotConfigured) {
    const std::string duration = R"(,"duration":1)";
    const std::string card = R"(,"cardData":"01")";
    MuxSystem system;
    ExchangeRunner(system).Run({
        UnknownGateway(10, "LOCK_OPEN"),
        UnknownGateway(11, "LOCK_CLOSE"),
        UnknownGateway(12, "LOCK_GETSTATUS"),
        UnknownGateway(13, "LOCK_OPEN_CLOSE", duration),
        UnknownGateway(14, "MUX_MESSAGE_ACCESS_DENIED"),
        UnknownGateway(21, "LOCK_WHITELIST_SET", card),
        UnknownGateway(22, "MUX_MESSAGE_CLEAR_WHITELIST"),
        UnknownGateway(23, "MUX_MESSAGE_ENABLE_WHITELIST"),
        UnknownGateway(24, "MUX_MESSAGE_DISABLE_WHITELIST"),
        UnknownGateway(25, "LOCK_WHITELIST_REMOVE", card),
        UnknownGateway(110, "LOCK_OPEN"),
        UnknownGateway(111, "LOCK_CLOSE"),
        UnknownGateway(113, "LOCK_OPEN_CLOSE", duration),
        UnknownGateway(114, "MUX_MESSAGE_ACCESS_DENIED"),
        Refused("a gateway ID that is no number is 0", RequestWithData(10, R"({"gatewayID":"1","lockID":5})")),
        {"gateway -1", RequestWithData(10, R"({"gatewayID":-1,"lockID":5})"), "", Refusal()},
        {"the gateway that is configured", Request(14), "00000005 08", Ack()},
    });
}

TEST(RefusedRequests, CodesThatAreNotRouted) {
    std::vector<Exchange> table = {
        Refused("whitelist get", Request(20)),
        Refused("access allowed", Request(50),
                "Access allowed message received, but it's currently not supported by the Brenk gateway."),
        Refused("the largest code", Request(2147483647)),
        Refused("the smallest code", Request(-2147483648)),
        Refused("a code that is no number is 0", R"({"MessageID":"@I","MessageCode":"10","Data":{}})"),
        Refused("no code", R"({"MessageID":"@I"})"),
    };
    for (const int code : {0, 1, 3, 9, 15, 19, 26, 49, 51, 52, 59, 60, 61, 109, 112, 115, 266}) {
        table.push_back(Refused("code " + std::to_string(code), Request(code)));
    }
    table.push_back({"a routed code", Request(14), "00000005 08", Ack()});
    MuxSystem system;
    ExchangeRunner(system).Run(table);
}

struct PayloadText {
    int code;
    const char* log;
};

const std::vector<PayloadText> kWithoutPayload = {
    {10, kNotEnqueued},
    {11, kNotEnqueued},
    {12, "Paylaod for LOCK_GETSTATUS is nullptr. Message cannot be routed to gateway."},
    {13, "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done."},
    {14, "MUX_MESSAGE_ACCESS_DENIED payload is nullptr."},
    {21, "Current data payload for LOCK_WHITELIST_SET is null. Nothing can be done."},
    {22, "MUX_MESSAGE_CLEAR_WHITELIST payload is nullptr."},
    {23, "MUX_MESSAGE_ENABLE_WHITELIST payload is nullptr."},
    {24, "MUX_MESSAGE_DISABLE_WHITELIST payload is nullptr."},
    {25, "Current data payload for LOCK_WHITELIST_REMOVE is null. Nothing can be done."},
    {110, kNotEnqueued},
    {111, kNotEnqueued},
    {113, "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done."},
    {114, "MUX_MESSAGE_ACCESS_DENIED payload is nullptr."},
};

TEST(RefusedRequests, DataThatIsMissing) {
    std::vector<Exchange> table;
    table.reserve(kWithoutPayload.size());
    for (const PayloadText& row : kWithoutPayload) {
        table.push_back(Refused("code " + std::to_string(row.code), RequestWithoutData(row.code), row.log));
    }
    MuxSystem system;
    ExchangeRunner(system).Run(table);
}

TEST(RefusedRequests, WhitelistRequestsThatCannotBeRead) {
    const std::string noCard = "Cannot determine card data in whitelist message. Unrecoverable error";
    const std::string noGateway = "Cannot parse gateway ID for current message.";
    const std::string noLock = "Cannot parse lock ID for current message.";
    MuxSystem system;
    ExchangeRunner(system).Run({
        Refused("no gateway ID", RequestWithData(21, R"({"lockID":5,"cardData":"01"})"), noGateway),
        Refused("a lock ID that is no number", RequestWithData(25, R"({"gatewayID":1,"lockID":null,"cardData":"01"})"),
                noLock),
        Refused("no card data", Request(21), "Received a Mux Set Whitelist payload, but the card data is nullptr"),
        Refused("no card data to remove", Request(25), noCard),
        Refused("card data that is no text", Request(21, R"("lockID":5,"cardData":4711)"),
                "Card data value is not in the attended format."),
    });
}

TEST(RefusedRequests, TheMessageIdOfTheAnswerIsThatOfTheRequest) {
    const auto withId = [](const std::string& name, const std::string& member, const std::string& answered) {
        return Odd({name, "{" + member + R"("MessageCode":3})", "", Refusal(), "", "", answered});
    };
    // With the other members around it, the message fills a packet.
    const std::string longId(0xFFFF - 6 - std::string(R"({"MessageID":"","MessageCode":3})").size(), 'x');
    // Overlong, a surrogate, beyond the last code point, cut off.
    const std::string noUtf8 = "\xC0\x80 \xED\xA0\x80 \xF4\x90\x80\x80 \xFF\xFE \xE2\x82";
    MuxSystem system;
    ExchangeRunner(system).Run({
        withId("none", "", ""),
        withId("a number", R"("MessageID":5,)", ""),
        withId("quotes and backslashes", R"("MessageID":"a\"b\\c\/d",)", R"(a\"b\\c/d)"),
        withId("control characters", R"("MessageID":"\n\u0001\u001f\u007f",)", "\\n\\u0001\\u001F\x7F"),
        withId("characters beyond ASCII", "\"MessageID\":\"\\u00e9\u20ac\\ud83d\\ude00\",", "\u00e9\u20ac\U0001F600"),
        withId("a character 0", R"("MessageID":"a\u0000b",)", R"(a\u0000b)"),
        withId("bytes that are no UTF-8", R"("MessageID":")" + noUtf8 + R"(",)", noUtf8),
        withId("the largest there is room for", R"("MessageID":")" + longId + R"(",)", longId),
        Odd({"a time stamp that is no number", R"({"Timestamp":"x","MessageID":"@I","MessageCode":3})", "", Refusal()}),
        Odd({"a time stamp beyond 32 bits", R"({"Timestamp":4294967297,"MessageID":"@I","MessageCode":3})", "",
             Refusal()}),
        Odd({"an empty object", "{}", "", Refusal(), "", "", ""}),
    });
}

TEST(RefusedRequests, WithoutConfigurationEveryRequest) {
    MuxSystem system(WithGateways({}));
    TestClient client = system.NewClient();
    for (const int code : {10, 11, 12, 13, 14, 20, 21, 22, 23, 24, 25, 50, 110, 111, 112, 113, 114}) {
        const std::string id = "request-" + std::to_string(code);
        const std::string request = Request(code, R"("lockID":5,"duration":1,"cardData":"01")");
        const std::time_t sent = std::time(nullptr);
        client.Send(Replace(Replace(request, "@G", "1"), "@I", id));
        ExpectMessage(client.Receive(), id, Refusal(), sent);
    }
}

TEST(SilentRequests, AConfigureMessageIsOnlyLogged) {
    const std::string log = "Configure via network message currently not supported.";
    const std::string configuration =
        R"({"Enabled":true,"Gateways":[{"ID":9,"IpAddress":"127.0.0.1","Port":1,"Devices":[]}]})";
    MuxSystem system;
    ExchangeRunner(system).Run({
        Silent("a configuration", RequestWithData(2, configuration), log),
        Silent("an empty one", RequestWithData(2, "{}"), log),
        Silent("none", RequestWithoutData(2), log),
        {"and it is not applied", RequestWithData(10, R"({"gatewayID":9,"lockID":5})"), "", Refusal()},
        {"the gateway of the file is still there", Request(14), "00000005 08", Ack()},
    });
}

TEST(SilentRequests, TextThatIsNoJson) {
    std::vector<Exchange> table;
    for (const char* const text : {"", "hello", R"({"MessageCode":3)", R"({"MessageCode":3} x)", "nul"}) {
        table.push_back(Silent(text, text));
    }
    table.push_back(Closing());
    MuxSystem system;
    ExchangeRunner(system).Run(table);
}

// Brackets nested as deep as a packet has room for must not cost the Mux its stack: of a megabyte there are 16 bytes
// for each level, which no function gets by with that calls itself.
TEST(SilentRequests, DeepNestingIsNoDanger) {
    const std::string open(32000, '[');
    const std::string close(32000, ']');
    // A program that is started meanwhile gives each of its threads so much stack.
    Testing::ResourceLimit stack(RLIMIT_STACK);
    ASSERT_TRUE(stack.Set(rlim_t{1024} * 1024));
    MuxSystem system;
    ExchangeRunner(system).Run({
        Silent("never closed", std::string(65000, '[')),
        Silent("objects never closed", Replace(std::string(13000, '#'), "#", R"({"a":)")),
        Refused("a deep array for data", RequestWithData(10, open + close)),
        Silent("a deep configuration", RequestWithData(2, R"({"Gateways":)" + open + close + "}"),
               "Configure via network message currently not supported."),
        Closing(),
    });
}

TEST(SilentRequests, ARequestThatLooksLikeACounterRefreshIsNotAnswered) {
    MuxSystem system;
    ExchangeRunner runner(system);
    Exchange refresh = {"done by the gateway",
                        R"({"MessageID":"requestNewSEQID-1","MessageCode":14,"Data":{"gatewayID":@G,"lockID":5}})",
                        "00000005 08",
                        {},
                        "",
                        "The gateway anwser is for a NEW SEQ request but the seq code is correct. MessageID "
                        "requestNewSEQID-1"};
    Exchange noRoute = {"refused by the gateway",
                        R"({"MessageID":"my requestNewSEQID-2","MessageCode":14,"Data":{"gatewayID":@G,"lockID":6}})",
                        "00000006 08",
                        {},
                        "",
                        "The gateway answer is for a NEW SEQ but the gateway cannot find a route to the device. Maybe "
                        "it's a keep alive packet."};
    runner.Run({Odd(refresh), Odd(noRoute), {"another request", Request(14), "00000005 08", Ack()}});
}

}  // namespace
}  // namespace SystemTest
