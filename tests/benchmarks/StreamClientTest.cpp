#include "benchmarks/load/StreamClient.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

#include "benchmarks/load/Waiting.h"
#include "tests/support/LoopbackSocket.h"

namespace Load {
namespace {

using Testing::LoopbackSocket;

LoopbackSocket::Bytes BytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

class StreamClientTest : public testing::Test {
  protected:
    void AwaitTexts(std::size_t count) {
        RunUntil(
            loop_, [&] { return texts_.size() >= count; }, "the texts");
    }

    asio::io_context loop_;
    std::vector<std::string> texts_;
    Clock::time_point arrival_;
    LoopbackSocket listener_ = LoopbackSocket::Listening();
    StreamClient client_{loop_,
                         {"127.0.0.1", static_cast<std::uint16_t>(listener_.Port())},
                         [this](const std::string& text, Clock::time_point arrival) {
                             texts_.push_back(text);
                             arrival_ = arrival;
                         }};
    LoopbackSocket server_ = listener_.Accept();
};

TEST_F(StreamClientTest, SendsTheBytesOfAPacket) {
    const std::string packet("\x08\x00MUXM{}", 8);
    client_.Send(packet);
    EXPECT_EQ(server_.Receive(8), BytesOf(packet));
}

TEST_F(StreamClientTest, ReportsEachTextWithTheTimeOfItsArrival) {
    const Clock::time_point before = Clock::now();
    server_.Send(BytesOf(R"({"a":1}{"b":2}{"c)"));
    AwaitTexts(2);
    EXPECT_THAT(texts_, testing::ElementsAre(R"({"a":1})", R"({"b":2})"));
    EXPECT_LE(before, arrival_);
    EXPECT_LE(arrival_, Clock::now());
}

TEST_F(StreamClientTest, LosingTheConnectionIsAnError) {
    server_.Close();
    EXPECT_THROW(AwaitTexts(1), std::system_error);
}

}  // namespace
}  // namespace Load
