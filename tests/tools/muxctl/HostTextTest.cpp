#include "tools/muxctl/HostText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

void ExpectSplit(const std::string& text, const std::string& host, std::optional<std::uint16_t> port) {
    const HostAndPort result = SplitHost(text);
    EXPECT_EQ(result.host, host) << text;
    EXPECT_EQ(result.port, port) << text;
}

TEST(HostTextTest, TellsHostAndPortApart) {
    ExpectSplit("127.0.0.1", "127.0.0.1", std::nullopt);
    ExpectSplit("127.0.0.1:22500", "127.0.0.1", 22500);
    ExpectSplit("mux.example:1", "mux.example", 1);
    ExpectSplit("::1", "::1", std::nullopt);
    ExpectSplit("[::1]", "::1", std::nullopt);
    ExpectSplit("[fe80::1%eth0]:65535", "fe80::1%eth0", 65535);
}

void ExpectRefusal(const std::string& text, const std::string& reason) {
    EXPECT_THAT([&] { SplitHost(text); }, ThrowsMessage<UsageError>(HasSubstr(reason))) << text;
}

TEST(HostTextTest, RefusesWhatIsNeither) {
    for (const std::string host : {"", "300.1.1.1", "http://mux", "http://mux:5555/", "[::1", "a b", ":5555"}) {
        ExpectRefusal(host, "is neither an address nor a host name");
    }
    for (const std::string port : {"", "0", "65536", "x", "05555"}) {
        ExpectRefusal("mux:" + port, "--host: the port must be a decimal integer from 1 to 65535");
    }
}

}  // namespace
}  // namespace Muxctl
