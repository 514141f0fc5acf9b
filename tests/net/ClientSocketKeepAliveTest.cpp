#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <ostream>

#include "tests/mux/LogHook.h"
#include "tests/net/GatewayConnection.h"
#include "tests/net/SocketCalls.h"

namespace Brenk::Net {
namespace {

using testing::ElementsAre;
using Testing::FailingCalls;
using testing::IsEmpty;
using Testing::LogHook;
using Testing::LoopbackSocket;
using Testing::SocketCall;

class ClientSocketKeepAliveTest : public Testing::GatewayConnection {
  protected:
    static int Option(int descriptor, int level, int option) {
        int value = -1;
        socklen_t size = sizeof value;
        EXPECT_EQ(getsockopt(descriptor, level, option, &value, &size), 0);
        return value;
    }

    static void ExpectKeepAlive(int descriptor) {
        EXPECT_EQ(Option(descriptor, SOL_SOCKET, SO_KEEPALIVE), 1);
        EXPECT_EQ(Option(descriptor, IPPROTO_TCP, TCP_KEEPIDLE), 5);
        EXPECT_EQ(Option(descriptor, IPPROTO_TCP, TCP_KEEPCNT), 10);
        EXPECT_EQ(Option(descriptor, IPPROTO_TCP, TCP_KEEPINTVL), 5);
    }
};

TEST_F(ClientSocketKeepAliveTest, TheOptionsAreReallySetOnASocket) {
    const LoopbackSocket plain;
    EXPECT_TRUE(socket_->SetKeepAliveOption(plain.Descriptor()));
    ExpectKeepAlive(plain.Descriptor());
    EXPECT_EQ(log_.Count(plog::debug, "Keepalive set."), 1);
    EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(ClientSocketKeepAliveTest, TheOptionsAreReallySetOnAConnection) {
    Connect();
    ExpectKeepAlive(DescriptorConnectedTo(listener_.Port()));
}

TEST_F(ClientSocketKeepAliveTest, MinusOneIsNotAValidDescriptor) {
    EXPECT_FALSE(socket_->SetKeepAliveOption(-1));
    EXPECT_THAT(Failures(), ElementsAre("Not a valid socket descriptor"));
}

TEST_F(ClientSocketKeepAliveTest, AFileIsNotASocket) {
    const LoopbackSocket file(open("/dev/null", O_RDONLY | O_CLOEXEC));
    EXPECT_FALSE(socket_->SetKeepAliveOption(file.Descriptor()));
    EXPECT_THAT(Failures(), ElementsAre("Not a socket."));
}

TEST_F(ClientSocketKeepAliveTest, ADatagramSocketDoesNotKnowTheOptionsOfTcp) {
    const LoopbackSocket datagram(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    EXPECT_FALSE(socket_->SetKeepAliveOption(datagram.Descriptor()));
    EXPECT_THAT(Failures(), ElementsAre("Unknown option.", "Error in set TCP_KEEPIDLE"));
}

TEST_F(ClientSocketKeepAliveTest, AnErrorWithoutATextOfItsOwnStillNamesTheStep) {
    const LoopbackSocket local(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_FALSE(socket_->SetKeepAliveOption(local.Descriptor()));
    EXPECT_THAT(Failures(), ElementsAre("Error in set TCP_KEEPIDLE"));
}

// One failing step: which option, which error, and the lines that follow.
struct Step {
    int option;
    int error;
    std::vector<std::string> lines;
};

void PrintTo(const Step& step, std::ostream* stream) {
    *stream << "option " << step.option << " gives " << strerrorname_np(step.error);
}

class KeepAliveStepTest : public ClientSocketKeepAliveTest, public testing::WithParamInterface<Step> {};

TEST_P(KeepAliveStepTest, LogsTheErrorAndThenTheStepAtErrorAndStops) {
    const LoopbackSocket plain;
    {
        FailingCalls failing(SocketCall::kSetSockOpt, GetParam().error);
        failing.ForOption(GetParam().option);
        EXPECT_FALSE(socket_->SetKeepAliveOption(plain.Descriptor()));
    }
    EXPECT_EQ(Failures(), GetParam().lines);
    for (const std::string& line : GetParam().lines) {
        EXPECT_EQ(log_.Count(plog::error, line), 1) << line;
    }
    EXPECT_FALSE(log_.Holds(plog::debug, "Keepalive set."));
    EXPECT_NE(Option(plain.Descriptor(), IPPROTO_TCP, TCP_KEEPINTVL), 5) << "the last step came all the same";
    EXPECT_EQ(SocketReports(), 0) << "only a failed connection reports it";
}

// Writing a line may fail too, and the caller logs the error of the step behind it.
TEST_P(KeepAliveStepTest, LeavesTheErrorNumberOfTheStepWhateverBecomesOfItsLines) {
    const LoopbackSocket plain;
    const LogHook hook(GetParam().lines.back(), [] { errno = ENOSPC; });
    FailingCalls failing(SocketCall::kSetSockOpt, GetParam().error);
    failing.ForOption(GetParam().option);
    EXPECT_FALSE(socket_->SetKeepAliveOption(plain.Descriptor()));
    EXPECT_EQ(errno, GetParam().error);
    EXPECT_EQ(hook.Runs(), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, KeepAliveStepTest,
    testing::Values(Step{SO_KEEPALIVE, EBADF, {"Not a valid socket descriptor"}},
                    Step{SO_KEEPALIVE, EINVAL, {"Invalid keepalive value."}},
                    Step{SO_KEEPALIVE, EFAULT, {"Cannot set keepalive socket. Invalid option address."}},
                    Step{SO_KEEPALIVE, ENOTSOCK, {"Not a socket."}},
                    Step{SO_KEEPALIVE, ENOPROTOOPT, {"Unknown option."}},
                    Step{TCP_KEEPIDLE, EINVAL, {"Invalid keepalive value.", "Error in set TCP_KEEPIDLE"}},
                    Step{TCP_KEEPCNT, ENOPROTOOPT, {"Unknown option.", "Error in set TCP_KEEPCNT"}},
                    Step{TCP_KEEPINTVL, EINVAL, {"Invalid keepalive value.", "Error in set TCPKEEPINTVL"}}));

}  // namespace
}  // namespace Brenk::Net
