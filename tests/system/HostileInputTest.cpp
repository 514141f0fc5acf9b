// Texts that no client of ours would send: each is answered, and the Mux goes on.

#include <gtest/gtest.h>

#include <string>

#include "tests/system/support/MuxSystem.h"

namespace SystemTest {
namespace {

constexpr const char* kEnd = R"(","MessageCode":3})";
constexpr const char* kBegin = R"({"MessageID":")";

// Sends a request with this message ID, which every Mux refuses, and expects that the refusal bears it.
void ExpectTheSameIdBack(const std::string& id) {
    MuxSystem system(WithGateways({}));
    TestClient client = system.NewClient();
    client.Send(kBegin + id + kEnd);
    const std::string answer = client.Receive();
    EXPECT_TRUE(answer.find("\"MessageID\":\"" + id + "\",\"MessageCode\":1,") != std::string::npos)
        << answer.size() << " bytes: " << answer.substr(0, 200);
    EXPECT_TRUE(system.Mux().IsRunning());
}

TEST(HostileInput, AMessageIdThatFillsAPacketComesBackWhole) {
    constexpr std::size_t kRoom = 0xFFFF - 6;
    ExpectTheSameIdBack(std::string(kRoom - std::string(kBegin).size() - std::string(kEnd).size(), 'm'));
}

// Overlong, a surrogate, beyond the last code point, cut off.
TEST(HostileInput, BytesThatAreNoUtf8ComeBackAsTheyCame) {
    ExpectTheSameIdBack("\xC0\x80 \xED\xA0\x80 \xF4\x90\x80\x80 \xFF\xFE \xE2\x82");
}

}  // namespace
}  // namespace SystemTest
