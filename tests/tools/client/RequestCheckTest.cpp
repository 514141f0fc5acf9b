// What the check says of a text, and what the running Mux does with the same text.

#include "tools/client/RequestCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/system/support/FakeDumpTool.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/SideBySide.h"

namespace MuxClient {
namespace {

using SystemTest::MuxSystem;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::optional<RequestHazard> kNone = std::nullopt;

void ExpectHazard(const std::vector<std::string>& texts, std::optional<RequestHazard> hazard) {
    for (const std::string& text : texts) {
        EXPECT_EQ(WorstOf(CheckRequest(text)), hazard) << text.substr(0, 100);
    }
}

std::string Message(int code, const std::string& data) {
    return R"({"MessageID":"a","MessageCode":)" + std::to_string(code) + R"(,"Data":)" + data + "}";
}

// To a gateway that is not there, which the Mux refuses by itself.
std::string Elsewhere(int code, const std::string& members) {
    return Message(code, R"({"gatewayID":99,)" + members + "}");
}

std::string Card(std::size_t bytes) {
    return R"("cardData":")" + std::string(2 * bytes, 'A') + "\"";
}

constexpr int kLockCodes[] = {10, 11, 12, 14, 22, 23, 24, 110, 111, 114};
constexpr int kDurationCodes[] = {13, 113};
constexpr int kCardCodes[] = {21, 25};

std::vector<std::string> AnsweredTexts() {
    std::vector<std::string> texts = {
        "{}",
        " \t{}\r\n ",
        R"({"MessageCode":"10","Data":{}})",
        R"({"MessageCode":null,"Data":{"gatewayID":1.5}})",
        R"({"MessageCode":3,"MessageCode":1.5})",
        R"({"messageCode":1.5,"MessageCode":3,"timestamp":1.5})",
        R"({"Timestamp":9223372036854775807,"MessageCode":3})",
        R"({"Timestamp":-9223372036854775808,"MessageCode":-2147483648})",
        R"({"Timestamp":"x","MessageID":5,"MessageCode":2147483647})",
        R"({"MessageCode":10})",
        R"({"MessageID":"requestNewSEQID-1","MessageCode":3})",
        R"({"MessageID":"a\u0000b\ud83d\ude00","MessageCode":3})",
        std::string("{\"MessageCode\":3}\0{", 19),
        Message(10, "null"),
        Message(13, "[]"),
        Message(10, std::string(30000, '[') + std::string(30000, ']')),
        // These are refused whatever their data, which nobody looks at.
        Message(0, R"({"gatewayID":1.5})"),
        Message(20, R"({"gatewayID":1.5})"),
        Message(50, R"({"lockID":4294967295})"),
        Elsewhere(10, R"("lockID":-2147483648)"),
        Elsewhere(10, R"("lockID":2147483647,"lockID":1.5)"),
        Elsewhere(10, R"("lockID":-0,"duration":1.5,"other":1e-99999999999,"more":18446744073709551616)"),
        Elsewhere(14, R"("lockID":null)"),
        Message(14, R"({"gatewayID":"99","lockID":true})"),
        Elsewhere(13, R"("lockID":5,"duration":4294967295)"),
        Elsewhere(113, R"("lockID":5,"duration":"5")"),
        Message(21, "{}"),
        Message(21, R"({"lockID":1.5,)" + Card(4) + "}"),
        Message(25, R"({"gatewayID":"1","lockID":1.5})"),
        Elsewhere(21, R"("lockID":"5",)" + Card(4)),
        Elsewhere(25, R"("lockID":5)"),
        Elsewhere(21, R"("lockID":5,"cardData":5,"setupNumber":1.5,"options":-1)"),
        Elsewhere(21, R"("lockID":5,)" + Card(233)),
        Elsewhere(21, R"("lockID":5,"isUIDCard":true,)" + Card(300)),
        R"({"MessageID":"requestNewSEQID-1","MessageCode":21,"Data":{"gatewayID":99,"lockID":5,"cardData":""}})",
        R"({"MessageID":"requestNewSEQID-1","MessageCode":10,"Data":[]})",
    };
    for (const int code : kLockCodes) {
        texts.push_back(Elsewhere(code, R"("lockID":5)"));
    }
    return texts;
}

std::vector<std::string> SilentTexts() {
    return {
        "",
        " ",
        std::string("\0{}", 3),
        "hello",
        R"({"MessageCode":3)",
        R"({"MessageCode":3,})",
        R"({"MessageCode":3}{})",
        R"({"MessageCode":03})",
        R"({'MessageCode':3})",
        R"({"MessageCode":3}//)",
        "\xEF\xBB\xBF{\"MessageCode\":3}",
        R"({"MessageID":"\ud800","MessageCode":3})",
        std::string(R"({"MessageID":")") + '\0' + R"(","MessageCode":3})",
        R"({"MessageCode":1e999})",
        R"({"MessageCode":3,"other":)" + std::string(400, '9') + "}",
        "[1,",
        R"({"MessageCode":2})",
        Message(2, R"({"Enabled":true,"Gateways":[{"ID":1.5}]})"),
    };
}

std::vector<std::string> FatalTexts() {
    std::vector<std::string> texts = {
        "[]",
        R"("MessageCode")",
        "5",
        " null ",
        std::string("5\0", 2),
        R"({"Timestamp":1700000000.0,"MessageCode":3})",
        R"({"Timestamp":9223372036854775808})",
        R"({"Timestamp":1.5,"MessageCode":2})",
        R"({"MessageCode":1e1})",
        R"({"MessageCode":2147483648,"Data":{}})",
        R"({"MessageCode":-2147483649})",
        Message(10, R"({"gatewayID":99.0,"lockID":5})"),
        Message(10, R"({"GatewayID":99,"lockID":5})"),
        Elsewhere(10, R"("lockID":1e-99999999999)"),
        Elsewhere(22, R"("lockID":4294967295)"),
        Elsewhere(13, R"("lockID":5,"duration":-1)"),
        Elsewhere(13, R"("lockID":5,"duration":4294967296)"),
        Elsewhere(113, R"("lockID":5,"duration":2.5)"),
        Elsewhere(21, R"("lockID":2147483648,)" + Card(4)),
        Message(25, R"({"gatewayID":-2147483649})"),
    };
    for (const int code : kLockCodes) {
        texts.push_back(Elsewhere(code, R"("lock":5)"));
    }
    for (const int code : kDurationCodes) {
        texts.push_back(Elsewhere(code, R"("lockID":5)"));
    }
    for (const int code : kCardCodes) {
        texts.push_back(Elsewhere(code, R"("lockID":0.5)"));
    }
    return texts;
}

std::string TextsOf(const std::vector<RequestFault>& faults) {
    std::string text;
    for (const RequestFault& fault : faults) {
        text += fault.where + ": " + fault.reason + "\n";
    }
    return text;
}

TEST(RequestCheckTest, NamesEachFault) {
    EXPECT_EQ(TextsOf(CheckRequest(R"({"Timestamp":0.5,"MessageCode":13,"Data":{"lockID":1e3,"duration":-1}})")),
              "/Timestamp: must be a 64-bit integer without decimal point or exponent\n"
              "/Data/gatewayID: is missing\n"
              "/Data/lockID: must be a 32-bit integer without decimal point or exponent\n"
              "/Data/duration: must be an integer from 0 to 4294967295 without decimal point or exponent\n");
    EXPECT_EQ(TextsOf(CheckRequest("[]")), ": must be an object\n");
    EXPECT_EQ(TextsOf(CheckRequest("")), ": is empty\n");
    EXPECT_EQ(TextsOf(CheckRequest("{} x")),
              ": is not JSON at byte 4: The document root must not be followed by other values\n");
    EXPECT_EQ(TextsOf(CheckRequest(R"({"MessageCode":2})")),
              "/MessageCode: is 2, a configuration, which the Mux ignores\n");
}

// The first packet that a client gets back belongs to the first of its texts that is answered.
class RequestCheckSystemTest : public testing::Test {
  protected:
    void ExpectNoAnswerYet() {
        client_.Send(R"({"MessageID":"next","MessageCode":3})");
        EXPECT_THAT(client_.Receive(), HasSubstr(R"("MessageID":"next")"));
    }

    MuxSystem system_;
    SystemTest::TestClient client_ = system_.NewClient();
};

TEST_F(RequestCheckSystemTest, PassesWhatTheMuxAnswers) {
    const std::vector<std::string> texts = AnsweredTexts();
    ExpectHazard(texts, kNone);
    for (const std::string& text : texts) {
        client_.Send(text);
        EXPECT_THAT(client_.Receive(), HasSubstr(R"("Message":"Error in request")")) << text.substr(0, 100);
    }
    ExpectNoAnswerYet();
}

TEST_F(RequestCheckSystemTest, PassesWhatTheGatewayAnswers) {
    for (const std::string& text :
         {Message(12, R"({"gatewayID":1,"lockID":5})"), Message(13, R"({"gatewayID":1,"lockID":5,"duration":256})"),
          Message(21, R"({"gatewayID":1,"lockID":5,)" + Card(233) + "}"),
          Message(25, R"({"gatewayID":1,"lockID":5,"isUIDCard":true,)" + Card(300) + "}")}) {
        ExpectHazard({text}, kNone);
        client_.Send(text);
        EXPECT_THAT(client_.Receive(), HasSubstr(R"("MessageID":"a")")) << text;
    }
}

TEST_F(RequestCheckSystemTest, RefusesWhatTheMuxDoesNotAnswer) {
    const std::vector<std::string> texts = SilentTexts();
    ExpectHazard(texts, RequestHazard::kNoAnswer);
    for (const std::string& text : texts) {
        SCOPED_TRACE(text.substr(0, 100));
        client_.Send(text);
        ExpectNoAnswerYet();
    }
}

TEST_F(RequestCheckSystemTest, RefusesWhatTheMuxTakesForItsOwnQuestion) {
    const std::string text =
        R"({"MessageID":"my requestNewSEQID-1","MessageCode":14,"Data":{"gatewayID":1,"lockID":5}})";
    ExpectHazard({text}, RequestHazard::kNoAnswer);
    client_.Send(text);
    EXPECT_TRUE(system_.Mux().WaitFor("MessageID my requestNewSEQID-1"));
    ExpectNoAnswerYet();
}

TEST_F(RequestCheckSystemTest, RefusesACardThatNoFrameHolds) {
    const std::string start = R"({"gatewayID":1,"lockID":5,)";
    const std::string larger = Message(21, start + Card(300) + "}");
    ExpectHazard({larger, Message(25, start + Card(234) + "}"),
                  Message(21, start + R"("isUIDCard":"true","cardData":")" + std::string(467, 'A') + "\"}"),
                  R"({"MessageID":"requestNewSEQID-1","MessageCode":21,"Data":)" + start + Card(234) + "}}"},
                 RequestHazard::kBrokenFrame);
    client_.Send(larger);
    ASSERT_TRUE(system_.Gateway().WaitForFrames(MuxSystem::kFramesAtStart + 1, SystemTest::kDeadline));
    // Three bytes stand before the card.
    EXPECT_EQ(system_.Gateway().ReceivedFrames().back().frame.payload.size(), 3 + 300 - 256U);
}

TEST(RequestCheckTest, RefusesWhatEndsTheMux) {
    const std::vector<std::string> texts = FatalTexts();
    ExpectHazard(texts, RequestHazard::kEndsMux);
    SystemTest::ForEachSideBySide(texts, [](const std::string& text) {
        const SystemTest::FakeDumpTool tool;
        SystemTest::SystemSetup setup = SystemTest::WithGateways({});
        setup.environment = tool.Environment();
        MuxSystem system(setup);
        const SystemTest::TestClient client = system.NewClient();
        client.Send(text);
        EXPECT_EQ(system.Mux().WaitForEnd(), "status 255") << text;
    });
}

}  // namespace
}  // namespace MuxClient
