// The client against a plain socket that plays the Mux.

#include "tools/client/Client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <future>
#include <map>
#include <stdexcept>
#include <vector>

#include "tests/support/LoopbackSocket.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/WaitUntil.h"

namespace MuxClient {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using Testing::LoopbackSocket;
using testing::ThrowsMessage;

constexpr std::chrono::seconds kLong{20};

const std::string kEvent =
    R"({"MessageID":"lockEventMessage-1","MessageCode":51,"Data":{"gatewayID":1,"lockID":5,"RFIDData":"0A"}})";

class ClientTest : public testing::Test {
  protected:
    ClientTest() : client_(Address(), kLong), mux_(listener_.Accept()) {}

    MuxAddress Address() const { return {"127.0.0.1", static_cast<std::uint16_t>(listener_.Port())}; }
    void MuxSends(const std::string& text) { mux_.Send({text.begin(), text.end()}); }
    std::string MuxReceives(std::size_t count) {
        const LoopbackSocket::Bytes bytes = mux_.Receive(count);
        return {bytes.begin(), bytes.end()};
    }
    // The texts of these requests are the next that the Mux receives.
    void ExpectReceived(const std::vector<Request>& requests) {
        client_.Wait(0ms);  // sends
        for (const Request& request : requests) {
            EXPECT_EQ(MuxReceives(6 + request.text.size()).substr(6), request.text);
        }
    }
    // Sends what has its turn; nothing arrives.
    void ExpectNothingReceived() {
        client_.Wait(0ms);
        EXPECT_TRUE(mux_.IsQuietFor(20ms));
    }
    // Has the handler of events throw for one that the Mux sends.
    void SendEventToThrowingHandler() {
        client_.OnEvent([](const Message&) { throw std::logic_error("from the handler"); });
        MuxSends(kEvent);
    }
    // Sends more than all buffers hold.
    void SendMuch(std::chrono::milliseconds timeout) {
        const Request large = Request::FromText(std::string(65000, ' '));
        for (int count = 0; count < 1000; ++count) {
            client_.SendOnly(large, timeout);
        }
    }
    // Takes down what the client gets.
    Client::AnswerHandler Note(const std::string& name) {
        return [this, name](const std::optional<Message>& answer) {
            noted_.push_back(name + " " + (answer ? answer->text : "nothing"));
        };
    }

    LoopbackSocket listener_ = LoopbackSocket::Listening();
    Client client_;
    LoopbackSocket mux_;
    std::vector<std::string> noted_;
};

Request WithId(const std::string& id) {
    return Request::FromText(R"({"MessageID":")" + id + R"("})");
}

Request ToGateway(int gateway, const std::string& id) {
    return Request::FromText(R"({"MessageID":")" + id + R"(","Data":{"gatewayID":)" + std::to_string(gateway) + "}}");
}

std::string Ack(const std::string& id) {
    return R"({"MessageID":")" + id + R"(","MessageCode":0})";
}

// The text of 17 bytes in a packet of 23.
const std::string kPacketA = std::string("\x17\x00MUXM", 6) + R"({"MessageID":"a"})";

TEST_F(ClientTest, AsksAndGetsTheAnswer) {
    auto received = std::async(std::launch::async, [&] {
        std::string packet = MuxReceives(kPacketA.size());
        MuxSends(Ack("a"));
        return packet;
    });
    const auto answer = client_.Ask(WithId("a"), kLong);
    EXPECT_EQ(received.get(), kPacketA);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->text, Ack("a"));
}

TEST_F(ClientTest, FindsEachAnswerByItsIdentifier) {
    for (const char* const id : {"a", "b", "c"}) {
        client_.Send(WithId(id), Note(id), kLong);
    }
    MuxSends(Ack("c") + Ack("a") + Ack("b"));
    while (noted_.size() < 3) {
        ASSERT_TRUE(client_.Wait(kLong));
    }
    EXPECT_THAT(noted_, ElementsAre("c " + Ack("c"), "a " + Ack("a"), "b " + Ack("b")));
}

TEST_F(ClientTest, SendsPacketsInOrder) {
    const std::string large(60000, ' ');
    std::string all;
    for (int count = 0; count < 100; ++count) {
        const Request request = Request::FromText(R"({"MessageID":")" + std::to_string(count) + R"("})" + large);
        client_.Send(request, Note(""), kLong);
        all += request.text;
    }
    auto received = std::async(std::launch::async, [&] {
        std::string bytes = MuxReceives(all.size() + 600);
        MuxSends(Ack("99"));
        return bytes;
    });
    ASSERT_TRUE(client_.Wait(kLong));
    const std::string bytes = received.get();
    std::string texts;
    for (std::size_t begin = 0; begin + 6 <= bytes.size();) {
        const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(bytes.at(index)); };
        const std::size_t length = byteAt(begin) + 256U * byteAt(begin + 1);
        texts += bytes.substr(begin + 6, length - 6);
        begin += length;
    }
    EXPECT_TRUE(texts == all);
}

TEST_F(ClientTest, HandsEventsOutWhileItWaitsForAnAnswer) {
    std::vector<std::string> events;
    client_.OnEvent([&](const Message& event) { events.push_back(event.text); });
    MuxSends(kEvent + Ack("a") + kEvent);
    ASSERT_TRUE(client_.Ask(WithId("a"), kLong));
    EXPECT_THAT(events, ElementsAre(kEvent));
    EXPECT_TRUE(client_.Wait(kLong));
    EXPECT_THAT(events, ElementsAre(kEvent, kEvent));
}

TEST_F(ClientTest, WaitsOnlySoLong) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(client_.Wait(30ms));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
    const auto asked = std::chrono::steady_clock::now();
    EXPECT_EQ(client_.Ask(WithId("a"), 30ms), std::nullopt);
    EXPECT_GE(std::chrono::steady_clock::now() - asked, 30ms);
}

TEST_F(ClientTest, EndsEachRequestAtItsOwnTime) {
    client_.Send(WithId("slow"), Note("slow"), kLong);
    client_.Send(WithId("later"), Note("later"), 60ms);
    client_.Send(WithId("sooner"), Note("sooner"), 30ms);
    EXPECT_TRUE(client_.Wait(kLong));
    EXPECT_TRUE(client_.Wait(kLong));
    EXPECT_THAT(noted_, ElementsAre("sooner nothing", "later nothing"));
}

TEST_F(ClientTest, DropsAnAnswerThatComesTooLate) {
    EXPECT_EQ(client_.Ask(WithId("a"), 1ms), std::nullopt);
    MuxSends(Ack("a") + Ack("stranger") + Ack("b"));
    const auto answer = client_.Ask(WithId("b"), kLong);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->id, "b");
}

TEST_F(ClientTest, MayAskWithTheSameIdentifierAgain) {
    EXPECT_EQ(client_.Ask(WithId("a"), 1ms), std::nullopt);
    MuxSends(Ack("a"));
    EXPECT_TRUE(client_.Ask(WithId("a"), kLong));
}

TEST_F(ClientTest, RefusesAnIdentifierThatWaitsAlready) {
    client_.Send(WithId("a"), Note("first"), kLong);
    EXPECT_THROW(client_.Send(WithId("a"), Note("second"), kLong), std::invalid_argument);
    MuxSends(Ack("a"));
    EXPECT_TRUE(client_.Wait(kLong));
    EXPECT_THAT(noted_, ElementsAre("first " + Ack("a")));
}

TEST_F(ClientTest, RefusesATextThatFitsNoPacketAndGoesOn) {
    const Request tooLong = Request::FromText(std::string(65530, ' '));
    EXPECT_THROW(client_.Send(tooLong, Note(""), kLong), std::length_error);
    EXPECT_THROW(client_.SendOnly(tooLong), std::length_error);
    MuxSends(Ack(""));
    EXPECT_TRUE(client_.Ask(Request::FromText("{}"), kLong));
}

TEST_F(ClientTest, SendsWithoutWaitingForAnAnswer) {
    client_.SendOnly(WithId("a"));
    EXPECT_EQ(MuxReceives(kPacketA.size()), kPacketA);
}

TEST_F(ClientTest, SaysWhenWhatItSendsIsNotTaken) {
    EXPECT_THAT([&] { SendMuch(50ms); }, ThrowsMessage<ConnectionError>(HasSubstr(" accepts no data")));
}

TEST_F(ClientTest, LetsAHandlerSend) {
    client_.Send(
        WithId("a"), [&](const std::optional<Message>&) { client_.Send(WithId("b"), Note("b"), kLong); }, kLong);
    MuxSends(Ack("a"));
    ASSERT_TRUE(client_.Wait(kLong));
    MuxSends(Ack("b"));
    ASSERT_TRUE(client_.Wait(kLong));
    EXPECT_THAT(noted_, ElementsAre("b " + Ack("b")));
}

TEST_F(ClientTest, PassesOnWhatAHandlerThrowsAndGoesOn) {
    SendEventToThrowingHandler();
    MuxSends(Ack("a"));
    EXPECT_THAT([&] { client_.Wait(kLong); }, ThrowsMessage<std::logic_error>("from the handler"));
    EXPECT_TRUE(client_.Ask(WithId("a"), kLong));
}

TEST_F(ClientTest, ForgetsTheRequestThatItAskedWhenAHandlerThrows) {
    SendEventToThrowingHandler();
    EXPECT_THAT([&] { client_.Ask(WithId("a"), kLong); }, ThrowsMessage<std::logic_error>("from the handler"));
    MuxSends(Ack("a") + Ack("b"));
    client_.Send(WithId("b"), Note("b"), kLong);
    EXPECT_TRUE(client_.Wait(kLong));
    EXPECT_THAT(noted_, ElementsAre("b " + Ack("b")));
}

TEST_F(ClientTest, SendsAGatewayTheNextRequestWhenTheLastIsAnswered) {
    client_.Send(ToGateway(1, "a"), Note("a"), kLong);
    client_.Send(ToGateway(1, "b"), Note("b"), kLong);
    client_.Send(ToGateway(1, "c"), Note("c"), kLong);
    client_.Send(ToGateway(2, "other"), Note("other"), kLong);
    client_.Send(WithId("none"), Note("none"), kLong);
    ExpectReceived({ToGateway(1, "a"), ToGateway(2, "other"), WithId("none")});
    ExpectNothingReceived();
    for (const auto& [answered, next] : std::map<std::string, std::string>{{"a", "b"}, {"b", "c"}}) {
        MuxSends(Ack(answered));
        ASSERT_TRUE(client_.Wait(kLong));
        ExpectReceived({ToGateway(1, next)});
    }
    EXPECT_THAT(noted_, ElementsAre("a " + Ack("a"), "b " + Ack("b")));
    ExpectNothingReceived();
}

TEST_F(ClientTest, SendsAGatewayTheNextRequestWhenTheLastIsGivenUp) {
    client_.Send(ToGateway(1, "z"), Note("z"), 60ms);
    client_.Send(ToGateway(1, "a"), Note("a"), 1ms);  // its time begins when it is sent
    ASSERT_TRUE(client_.Wait(kLong));
    ASSERT_TRUE(client_.Wait(kLong));
    EXPECT_THAT(noted_, ElementsAre("z nothing", "a nothing"));
    ExpectReceived({ToGateway(1, "z"), ToGateway(1, "a")});
}

TEST_F(ClientTest, DropsAnAnswerToARequestThatIsNotSentYet) {
    client_.Send(ToGateway(1, "a"), Note("a"), kLong);
    client_.Send(ToGateway(1, "b"), Note("b"), kLong);
    MuxSends(Ack("b") + Ack("a"));
    ASSERT_TRUE(client_.Wait(kLong));
    ExpectReceived({ToGateway(1, "a"), ToGateway(1, "b")});
    MuxSends(Ack("b"));
    ASSERT_TRUE(client_.Wait(kLong));
    EXPECT_THAT(noted_, ElementsAre("a " + Ack("a"), "b " + Ack("b")));
}

TEST_F(ClientTest, RefusesAnIdentifierThatIsNotSentYet) {
    client_.Send(ToGateway(1, "a"), Note("a"), kLong);
    client_.Send(ToGateway(1, "b"), Note("b"), kLong);
    EXPECT_THROW(client_.Send(ToGateway(2, "b"), Note("again"), kLong), std::invalid_argument);
    ExpectReceived({ToGateway(1, "a")});
    ExpectNothingReceived();
}

TEST_F(ClientTest, LetsAGatewayFinishTheRequestThatItForgot) {
    SendEventToThrowingHandler();
    EXPECT_THROW(client_.Ask(ToGateway(1, "a"), kLong), std::logic_error);
    client_.Send(ToGateway(1, "b"), Note("b"), kLong);
    ExpectReceived({ToGateway(1, "a")});
    ExpectNothingReceived();
    MuxSends(Ack("a") + Ack("b"));
    EXPECT_TRUE(client_.Wait(kLong));
    ExpectReceived({ToGateway(1, "b")});
    EXPECT_THAT(noted_, ElementsAre("b " + Ack("b")));
}

TEST_F(ClientTest, DoesNotSendWhatItForgotBefore) {
    client_.Send(ToGateway(1, "a"), Note("a"), kLong);
    SendEventToThrowingHandler();
    EXPECT_THROW(client_.Ask(ToGateway(1, "b"), kLong), std::logic_error);
    client_.Send(ToGateway(1, "c"), Note("c"), kLong);
    MuxSends(Ack("a"));
    EXPECT_TRUE(client_.Wait(kLong));
    ExpectReceived({ToGateway(1, "a"), ToGateway(1, "c")});
}

// The client's socket: the one among this process's whose peer is the listening port.
int SocketTowards(int port) {
    for (int descriptor = 3; descriptor < 1024; ++descriptor) {
        sockaddr_in peer = {};
        socklen_t size = sizeof(peer);
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && ntohs(peer.sin_port) == port) {
            return descriptor;
        }
    }
    return -1;
}

TEST_F(ClientTest, NoticesWithinHalfAMinuteThatTheHostIsGone) {
    const auto option = [this](int name) {
        int value = -1;
        socklen_t size = sizeof(value);
        getsockopt(SocketTowards(listener_.Port()), IPPROTO_TCP, name, &value, &size);
        return value;
    };
    EXPECT_LE(option(TCP_KEEPIDLE) + option(TCP_KEEPINTVL) * option(TCP_KEEPCNT), 30);
    EXPECT_EQ(option(TCP_USER_TIMEOUT), 30000);
}

// A peer that takes nothing is all that one machine has for a host that is gone, and here half a minute is short.
TEST_F(ClientTest, SaysWhenTheHostIsGone) {
    const int milliseconds = 100;
    ASSERT_EQ(
        setsockopt(SocketTowards(listener_.Port()), IPPROTO_TCP, TCP_USER_TIMEOUT, &milliseconds, sizeof(milliseconds)),
        0);
    EXPECT_THAT([&] { SendMuch(kLong); }, ThrowsMessage<ConnectionError>(HasSubstr(" no longer responds: ")));
}

TEST_F(ClientTest, TakesWhatHasComeAlreadyWithoutWaiting) {
    int events = 0;
    client_.OnEvent([&](const Message&) { ++events; });
    EXPECT_FALSE(client_.Wait(0ms));
    MuxSends(kEvent);
    EXPECT_TRUE(Testing::WaitUntil([&] { return client_.Wait(0ms); }, kLong));
    EXPECT_EQ(events, 1);
}

TEST_F(ClientTest, SaysWhileItWaitsThatItDoes) {
    int calls = 0;
    const auto answerAtTheThird = [&] {
        if (++calls == 3) {
            MuxSends(Ack("a"));
        }
    };
    EXPECT_TRUE(client_.Ask(WithId("a"), kLong, 1ms, answerAtTheThird));
    EXPECT_GE(calls, 3);
}

TEST_F(ClientTest, SaysThatTheMuxHasGoneWhenAllBeforeIsHandedOut) {
    MuxSends(Ack("a"));
    mux_.Close();
    client_.Send(WithId("a"), Note("a"), kLong);
    ASSERT_TRUE(client_.Wait(kLong));
    EXPECT_THAT(noted_, ElementsAre("a " + Ack("a")));
    const std::string name = "127.0.0.1:" + std::to_string(listener_.Port());
    EXPECT_THAT([&] { client_.Wait(kLong); }, ThrowsMessage<ConnectionError>(HasSubstr(name + " has closed")));
    EXPECT_THROW(client_.Ask(WithId("b"), kLong), ConnectionError);
}

TEST_F(ClientTest, SaysThatTheMuxHasResetTheConnection) {
    mux_.Reset();
    EXPECT_THAT([&] { client_.Wait(kLong); }, ThrowsMessage<ConnectionError>(HasSubstr("Connection reset by peer")));
}

TEST_F(ClientTest, SaysWhenItTalksToSomethingElse) {
    int events = 0;
    client_.OnEvent([&](const Message&) { ++events; });
    MuxSends(kEvent + "HTTP/1.1 400 Bad Request\r\n\r\n");
    EXPECT_TRUE(client_.Wait(kLong));
    EXPECT_EQ(events, 1);
    EXPECT_THAT([&] { client_.Wait(kLong); }, ThrowsMessage<ProtocolError>(HasSubstr(" is not a Mux: ")));
    EXPECT_THROW(client_.Wait(kLong), ProtocolError);
}

TEST(ClientConnectTest, SaysWhenNobodyListens) {
    const Testing::ReservedPort port;
    const MuxAddress address = {"127.0.0.1", port.Number()};
    EXPECT_THAT([&] { Client client(address, kLong); },
                ThrowsMessage<ConnectionError>("cannot connect to 127.0.0.1:" + std::to_string(port.Number()) +
                                               ": Connection refused"));
}

TEST(ClientConnectTest, SaysWhenItIsNotTakenUpInTime) {
    LoopbackSocket full = LoopbackSocket::Listening(0);
    const MuxAddress address = {"127.0.0.1", static_cast<std::uint16_t>(full.Port())};
    const Client first(address, kLong);
    EXPECT_THAT([&] { Client second(address, 50ms); },
                ThrowsMessage<ConnectionError>(HasSubstr("no connection within 50 ms")));
}

}  // namespace
}  // namespace MuxClient
