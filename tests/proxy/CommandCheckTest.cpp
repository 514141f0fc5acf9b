#include "proxy/mqtt/CommandCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/jose/TestKeys.h"
#include "tools/jose/SigningKey.h"

namespace MuxProxy {
namespace {

using Error = MuxClient::ProxyError;
using std::chrono::milliseconds;
using std::chrono::seconds;

const WallTime kIssued = WallTime(milliseconds(1795185612500));
constexpr seconds kHour{3600};

// Claims of a signed command, of which a test leaves out or changes one.
using Claims = std::map<std::string, std::string>;

Claims GoodClaims() {
    return {{"iat", "1795185612.5"}, {"exp", "1795185642"}, {"aud", R"("hall")"},      {"gateway", "1"},
            {"lock", "70000"},       {"jti", R"("a1")"},    {"operation", R"("open")"}};
}

std::string Payload(const Claims& claims) {
    std::string text;
    for (const auto& [name, value] : claims) {
        text.append(text.empty() ? "{\"" : ",\"").append(name).append("\":").append(value);
    }
    return text + "}";
}

std::string Signed(const Claims& claims, const std::string& kid = "reception") {
    return Jose::SigningKey::FromText("key", Jose::Testing::PrivateJwk(kid)).Sign(Payload(claims));
}

class CommandCheckTest : public testing::Test {
  protected:
    // Of a site that requires signatures, or trusts the broker.
    static CommandCheck::Keys Keys() {
        const std::string keys = Jose::Testing::PublicJwk() + "," + Jose::Testing::PublicJwk("cleaning");
        return std::make_shared<Jose::KeySet>(Jose::KeySet::FromText("keys", Jose::Testing::SetOf(keys)));
    }

    std::variant<CheckedCommand, RefusedCommand> ReadBy(CommandCheck& check, const std::string& payload) {
        return check.Read({{1, 70000}, "reception", payload, isRetained});
    }

    // "-7 it is 31 s old"; for a command that is accepted, what it asks for.
    std::string ResultOf(CommandCheck& check, const std::string& payload) {
        const auto read = ReadBy(check, payload);
        if (const auto* const refused = std::get_if<RefusedCommand>(&read)) {
            return std::to_string(static_cast<int>(refused->error)) + " " + refused->reason;
        }
        const std::string& text = std::get<CheckedCommand>(read).text;
        return text.substr(text.find("\"MessageCode\""));
    }
    std::string ResultOf(const std::string& payload) { return ResultOf(open, payload); }
    std::string SignedResultOf(const Claims& claims) { return ResultOf(strict, Signed(claims)); }
    std::string SignedResultWith(const std::string& name, const std::string& value) {
        Claims claims = GoodClaims();
        claims[name] = value;
        return SignedResultOf(claims);
    }

    WallTime now = kIssued - kHour;
    bool isRetained = false;
    CommandCheck open{"hall", nullptr, [this] { return now; }};
    CommandCheck strict{"hall", Keys(), [this] { return now; }};

    void SetUp() override { now = kIssued; }
};

constexpr const char* kOpened = R"("MessageCode":10,"Data":{"gatewayID":1,"lockID":70000}})";

// Made by another implementation.
const char* const kForeign =
    "eyJhbGciOiJFUzI1NiIsImtpZCI6InJlY2VwdGlvbiJ9.eyJpYXQiOjE3OTUxODU2MTIuNSwiZXhwIjoxNzk1MTg1NjQyLCJhdWQ"
    "iOiJoYWxsIiwiZ2F0ZXdheSI6MSwibG9jayI6NzAwMDAsImp0aSI6IjNiMjQxMTAxLWUyYmItNDI1NS04Y2FmLTQxMzZjNTY2YTk"
    "2MiIsIm9wZXJhdGlvbiI6Im9wZW4tY2xvc2UiLCJkdXJhdGlvbiI6NX0.6tBUi7uqHcpmo7uEebI6Z2r4X3IEEZWzKUn_i-9Ama5"
    "1CTgBO07Gc7iKhVQ8JIb_tXpkBepK_E87rJGdjPSGDA";

TEST_F(CommandCheckTest, AcceptsASignedCommand) {
    EXPECT_EQ(ResultOf(strict, kForeign), R"("MessageCode":13,"Data":{"gatewayID":1,"lockID":70000,"duration":5}})");
}

TEST_F(CommandCheckTest, AcceptsAPlainCommandWhereTheBrokerIsTrusted) {
    EXPECT_EQ(ResultOf(R"({"operation":"open","iat":1795185612.5})"), kOpened);
    EXPECT_EQ(ResultOf(R"({"operation":"open","iat":1795185612,"x":[],"gateway":1,"lock":70000,"aud":"hall"})"),
              kOpened);
}

TEST_F(CommandCheckTest, GivesTextsThatADispatcherTakes) {
    const auto read = ReadBy(open, R"({"operation":"whitelist-add","iat":1795185612,"card":"04a1B2c3","uid":true,)"
                                   R"("setup":7,"options":1})");
    const auto& command = std::get<CheckedCommand>(read);
    const auto request = std::get<ProxyRequest>(ReadRequest(command.text));
    EXPECT_STREQ(command.kind->name, "whitelist-add");
    EXPECT_EQ(request.clientId, command.id);
    EXPECT_EQ(request.lock.gateway, 1);
    EXPECT_EQ(request.lock.lock, 70000);
    EXPECT_EQ(request.card.data, "04A1B2C3");
    EXPECT_TRUE(request.card.isUid);
    EXPECT_EQ(request.card.setupNumber, 7U);
    EXPECT_EQ(request.card.options, 1U);
}

TEST_F(CommandCheckTest, RefusesWhatIsNotACommand) {
    const std::string start = R"({"iat":1795185612,)";
    EXPECT_EQ(ResultOf("open"), "-2 it is not a JSON object");
    EXPECT_EQ(ResultOf(kForeign), "-2 it is not a JSON object");
    EXPECT_EQ(ResultOf("[1]"), "-2 it is not a JSON object");
    EXPECT_EQ(ResultOf(std::string(16385, ' ')), "-2 it is longer than 16384 bytes");
    EXPECT_EQ(ResultOf(R"({"iat":1795185612,"iat":1})"), "-2 it has iat twice");
    EXPECT_EQ(ResultOf(start + R"("x":1})"), "-2 operation is missing");
    EXPECT_EQ(ResultOf(start + R"("operation":10})"), "-2 operation must be a string");
    EXPECT_EQ(ResultOf(start + R"("operation":"Open"})"), "-2 operation is \"Open\", which is unknown");
    EXPECT_EQ(ResultOf(start + R"("operation":"open-close"})"), "-2 duration is missing");
    for (const char* const duration : {"0", "256", "1.5", "\"5\""}) {
        EXPECT_EQ(ResultOf(start + R"("operation":"open-close","duration":)" + duration + "}"),
                  "-2 duration must be an integer from 1 to 255");
    }
    for (const char* const card : {"", "0", "0G", "0102030405060708090A0B"}) {
        EXPECT_EQ(ResultOf(start + R"("operation":"whitelist-add","uid":true,"card":")" + card + "\"}"),
                  "-2 card must be 1 to 10 bytes in hexadecimal");
    }
    EXPECT_EQ(ResultOf(start + R"("operation":"whitelist-add","uid":1,"card":"04"})"), "-2 uid must be true or false");
    EXPECT_EQ(ResultOf(start + R"("operation":"whitelist-add","setup":256,"card":"04"})"),
              "-2 setup must be an integer from 0 to 255");
}

TEST_F(CommandCheckTest, RepeatsOnlyTheStartOfALongText) {
    // The 200th byte and the next are one character.
    const std::string text = std::string(199, 'a') + "\xC3\xA4" + std::string(5000, 'b');
    const std::string start = std::string(199, 'a') + "...";
    const std::string operation = R"({"iat":1795185612,"operation":")";
    EXPECT_EQ(ResultOf(operation + text + "\"}"), "-2 operation is \"" + start + "\", which is unknown");
    EXPECT_EQ(ResultOf(operation + std::string(200, 'a') + "\"}"),
              "-2 operation is \"" + std::string(200, 'a') + "\", which is unknown");
    EXPECT_EQ(ResultOf("{\"" + text + "\":1,\"" + text + "\":1}"), "-2 it has " + start + " twice");
    EXPECT_EQ(ResultOf(R"({"iat":1795185612,"aud":")" + text + "\"}"), "-2 it is for the site \"" + start + "\"");
    // {"alg":"ES256",  "kid":"kkk..."}
    std::string jws = "eyJhbGciOiJFUzI1NiIsICAia2lkIjoi";
    for (int i = 0; i < 100; ++i) {
        jws += "a2tr";
    }
    jws += "In0g.e30." + std::string(86, 'A');
    EXPECT_EQ(ResultOf(strict, jws), "-8 no key \"" + std::string(192, 'k') + "...");
}

TEST_F(CommandCheckTest, RefusesAPlainCommandForAnotherTarget) {
    const std::string start = R"({"iat":1795185612,"operation":"open",)";
    EXPECT_EQ(ResultOf(start + R"("aud":"other"})"), "-2 it is for the site \"other\"");
    EXPECT_EQ(ResultOf(start + R"("lock":5})"), "-2 it is for another lock than its topic");
    EXPECT_EQ(ResultOf(start + R"("gateway":2})"), "-2 it is for another lock than its topic");
    EXPECT_EQ(ResultOf(start + R"("exp":1795185612})"), "-2 it has expired");
}

TEST_F(CommandCheckTest, RefusesWhatIsNotFresh) {
    const std::string text = R"({"operation":"open","iat":1795185612.5})";
    now = kIssued + seconds(30);
    EXPECT_EQ(ResultOf(text), kOpened);
    now = kIssued + milliseconds(30001);
    EXPECT_EQ(ResultOf(text), "-7 it is 31 s old");
    now = kIssued - seconds(30);
    EXPECT_EQ(ResultOf(text), kOpened);
    now = kIssued - milliseconds(30001);
    EXPECT_EQ(ResultOf(text), "-7 its time is 31 s ahead of this host's clock");
    now = kIssued;
    EXPECT_EQ(ResultOf(R"({"operation":"open"})"), "-7 iat is missing");
    for (const char* const time : {"1795185612500", "-1", "\"1795185612\"", "null"}) {
        EXPECT_EQ(ResultOf(std::string(R"({"operation":"open","iat":)") + time + "}"),
                  "-7 iat must be a number of seconds since 1970");
    }
}

TEST_F(CommandCheckTest, RefusesWhatWasRetained) {
    isRetained = true;
    EXPECT_EQ(ResultOf(R"({"operation":"open","iat":1795185612})"), "-7 it was retained by the broker");
    EXPECT_EQ(ResultOf(strict, kForeign), "-7 it was retained by the broker");
}

TEST_F(CommandCheckTest, NamesTheOperationOfARefusedCommandThatIsSigned) {
    now = kIssued + kHour;
    EXPECT_STREQ(std::get<RefusedCommand>(ReadBy(strict, Signed(GoodClaims()))).kind->name, "open");
    EXPECT_EQ(std::get<RefusedCommand>(ReadBy(strict, Payload(GoodClaims()))).kind, nullptr);
}

TEST_F(CommandCheckTest, RequiresTheSignatureOfTheClient) {
    EXPECT_EQ(ResultOf(strict, Payload(GoodClaims())), "-8 it is not a JWS in compact serialization");
    EXPECT_EQ(ResultOf(strict, Signed(GoodClaims(), "nobody")), "-8 no key \"nobody\" is known");
    std::string byAnother = Signed(GoodClaims(), "cleaning");
    EXPECT_EQ(ResultOf(strict, byAnother), "-8 it names the key \"cleaning\"");
    // Another client's key costs no check of a signature.
    byAnother.replace(byAnother.size() - 10, 5, "AAAAA");
    EXPECT_EQ(ResultOf(strict, byAnother), "-8 it names the key \"cleaning\"");
}

TEST_F(CommandCheckTest, RequiresTheClaimsThatBindASignature) {
    for (const char* const name : {"aud", "gateway", "lock", "exp", "jti"}) {
        Claims claims = GoodClaims();
        claims.erase(name);
        EXPECT_EQ(SignedResultOf(claims), std::string("-8 ") + name + " is missing");
    }
    Claims claims = GoodClaims();
    claims.erase("iat");
    EXPECT_EQ(SignedResultOf(claims), "-7 iat is missing");
}

TEST_F(CommandCheckTest, RefusesASignedCommandForAnotherTarget) {
    EXPECT_EQ(SignedResultWith("aud", R"("Hall")"), "-8 it is for the site \"Hall\"");
    EXPECT_EQ(SignedResultWith("aud", R"(["hall"])"), "-8 aud must be a string");
    EXPECT_EQ(SignedResultWith("gateway", "2"), "-8 it is for another lock than its topic");
    EXPECT_EQ(SignedResultWith("lock", "4464"), "-8 it is for another lock than its topic");
    EXPECT_EQ(SignedResultWith("lock", "70000.0"), "-8 lock must be an integer from -2147483648 to 2147483647");
}

TEST_F(CommandCheckTest, RefusesASignedCommandAfterItsExpiry) {
    EXPECT_EQ(SignedResultWith("exp", "1795185612.5"), "-8 it has expired");
    EXPECT_EQ(SignedResultWith("exp", "1795185912.6"), "-8 exp is more than 300 s after iat");
    EXPECT_EQ(SignedResultWith("exp", "1795185912.5"), kOpened);
}

TEST_F(CommandCheckTest, RefusesASignedCommandThatIsNotFresh) {
    Claims claims = GoodClaims();
    claims["exp"] = "1795185900";
    now = kIssued - milliseconds(5001);
    EXPECT_EQ(SignedResultOf(claims), "-7 its time is 6 s ahead of this host's clock");
    now = kIssued - seconds(5);
    EXPECT_EQ(SignedResultOf(claims), kOpened);
    now = kIssued + milliseconds(30001);
    EXPECT_EQ(SignedResultOf(claims), "-7 it is 31 s old");
}

TEST_F(CommandCheckTest, RefusesASignedCommandThatTheBrokerHeldBackUntilTheClockWasSetBack) {
    now = kIssued + milliseconds(30001);
    ResultOf(strict, "another");
    now = kIssued;
    EXPECT_THAT(SignedResultOf(GoodClaims()), testing::StartsWith("-7 it was issued before"));
}

TEST_F(CommandCheckTest, ASignedCommandIsAcceptedAsLongAsItIsFresh) {
    now = kIssued + seconds(29);
    ResultOf(strict, "another");
    EXPECT_EQ(SignedResultOf(GoodClaims()), kOpened);
}

TEST_F(CommandCheckTest, AcceptsASignedCommandOnce) {
    EXPECT_EQ(SignedResultOf(GoodClaims()), kOpened);
    EXPECT_EQ(SignedResultOf(GoodClaims()), "-8 it is a replay: its jti was used before");
    now += seconds(29);
    EXPECT_EQ(SignedResultOf(GoodClaims()), "-8 it is a replay: its jti was used before");
}

TEST_F(CommandCheckTest, ARefusedCommandDoesNotUseItsNumber) {
    EXPECT_EQ(SignedResultWith("operation", R"("Open")"), "-2 operation is \"Open\", which is unknown");
    EXPECT_EQ(SignedResultOf(GoodClaims()), kOpened);
}

TEST_F(CommandCheckTest, RefusesNumbersOfAnotherLength) {
    EXPECT_EQ(SignedResultWith("jti", R"("")"), "-8 jti must have 1 to 64 bytes");
    EXPECT_EQ(SignedResultWith("jti", '"' + std::string(65, 'a') + '"'), "-8 jti must have 1 to 64 bytes");
    EXPECT_EQ(SignedResultWith("jti", '"' + std::string(64, 'a') + '"'), kOpened);
}

TEST_F(CommandCheckTest, RefusesSignedCommandsThatMayHaveBeenUsedBeforeTheStart) {
    for (const auto& [start, isAccepted] :
         {std::pair{kIssued - seconds(5), false}, {kIssued - milliseconds(5001), true}}) {
        now = start;
        CommandCheck restarted("hall", Keys(), [this] { return now; });
        now = kIssued;
        EXPECT_EQ(ResultOf(restarted, Signed(GoodClaims())) == kOpened, isAccepted);
    }
}

TEST_F(CommandCheckTest, RefusesSignedCommandsOfAnEarlierProcessWhoseClockWasAhead) {
    strict.SetEarlierEnd(kIssued - seconds(5));
    EXPECT_THAT(SignedResultOf(GoodClaims()), testing::StartsWith("-7 it was issued before"));
    now = kIssued - kHour;
    CommandCheck restarted("hall", Keys(), [this] { return now; });
    restarted.SetEarlierEnd(kIssued - milliseconds(5001));
    now = kIssued;
    EXPECT_EQ(ResultOf(restarted, Signed(GoodClaims())), kOpened);
}

TEST_F(CommandCheckTest, TakesNewKeys) {
    strict.SetKeys(nullptr);
    EXPECT_EQ(ResultOf(strict, Payload(GoodClaims())), kOpened);
    strict.SetKeys(Keys());
    EXPECT_EQ(ResultOf(strict, Signed(GoodClaims())), kOpened);
}

}  // namespace
}  // namespace MuxProxy
