#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <thread>

#include "diagnostics/ErrorGuard.h"
#include "tests/mux/LogHook.h"
#include "tests/net/GatewayConnection.h"
#include "tests/net/SocketCalls.h"
#include "tests/support/LoggedLine.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/SignalStorm.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::LoopbackSocket;

class ClientSocketConnectTest : public Testing::GatewayConnection {
  protected:
    using Texts = std::vector<std::string>;

    // What a failed Connect to `host` and `port` writes and reports.
    Texts FailuresOfConnectTo(const std::string& host, int port) {
        const std::size_t before = Failures().size();
        ClientSocket socket(host, port, seconds(15));
        EXPECT_FALSE(socket.Connect());
        const Texts all = Failures();
        return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
    }
};

TEST_F(ClientSocketConnectTest, ResolvesHostAndPortAndSetsItsOptionsAndLogsItsSteps) {
    const SeenCalls seen;
    ASSERT_TRUE(socket_->Connect());
    EXPECT_THAT(seen.All(), ElementsAre("getaddrinfo 127.0.0.1 " + std::to_string(listener_.Port()) + ", stream",
                                        "setsockopt SO_RCVTIMEO 2000000", "setsockopt SO_SNDTIMEO 15000000",
                                        "setsockopt SO_KEEPALIVE 1", "setsockopt TCP_KEEPIDLE 5",
                                        "setsockopt TCP_KEEPCNT 10", "setsockopt TCP_KEEPINTVL 5"));
    const auto step = [](const char* text) { return Testing::Logged(plog::debug, text); };
    EXPECT_THAT(log_.Lines(), ElementsAre(step("Getaddr ok. Address found."), step("Socket created."),
                                          step("Keepalive set."), step("Socket connected.")));
    EXPECT_EQ(SocketReports() + ConnectionReports(), 0);
    EXPECT_EQ(fcntl(DescriptorConnectedTo(listener_.Port()), F_GETFD), FD_CLOEXEC) << "other programs would have it";
}

TEST_F(ClientSocketConnectTest, APortIsResolvedFrom0To65535AndNoOther) {
    for (const int port : {0, 1, 2101, 65535}) {
        const FailingCalls unconnected(SocketCall::kSocket, EMFILE);
        EXPECT_THAT(FailuresOfConnectTo("127.0.0.1", port),
                    ElementsAre("Cannot create socket:Too many open files", "report 0"));
    }
    EXPECT_EQ(log_.Count(plog::debug, "Getaddr ok. Address found."), 4);
    for (const int port : {-1, -2101, 65536, 65536 + listener_.Port(), 2147483647}) {
        EXPECT_THAT(FailuresOfConnectTo("127.0.0.1", port),
                    ElementsAre("GetAddrInfo error:Servname not supported for ai_socktype",
                                GatewayLine("Servname not supported for ai_socktype", port), "report 0"));
    }
    EXPECT_EQ(SocketReports(), 9);
    EXPECT_EQ(ConnectionReports(), 0);
    EXPECT_FALSE(log_.Holds(plog::debug, "Socket created."));
}

TEST_F(ClientSocketConnectTest, AFailedResolveIsLoggedWithTheResolversTextAndTheAddressWithColonsInBrackets) {
    const FailingCalls failing(SocketCall::kGetAddrInfo, EAI_NONAME);
    EXPECT_THAT(FailuresOfConnectTo("::1", 2101),
                ElementsAre("GetAddrInfo error:Name or service not known",
                            "Gateway at [::1]:2101: Name or service not known", "report 0"));
    EXPECT_EQ(log_.Count(plog::error, "Gateway at [::1]:2101: Name or service not known"), 1);
}

int descriptorsAtReport = 0;

TEST_F(ClientSocketConnectTest, ARefusedConnectionIsLoggedThenClosedThenReportedAsKind1) {
    const Testing::ReservedPort nobody;
    EXPECT_THAT(FailuresOfConnectTo("127.0.0.1", nobody.Number()),
                ElementsAre("Cannot connect to socket:Connection refused",
                            GatewayLine("Connection refused", nobody.Number()), "report 1"));
    EXPECT_EQ(log_.Count(plog::error, "Cannot connect to socket:Connection refused"), 1);
    EXPECT_EQ(ConnectionReports(), 1);
    EXPECT_EQ(SocketReports(), 0);

    const int before = OpenDescriptors();
    Diagnostics::ErrorGuard::Configuration configuration;
    configuration.observer = [](std::uint32_t, int) { descriptorsAtReport = OpenDescriptors(); };
    Diagnostics::ErrorGuard::Instance().Configure(configuration);
    FailuresOfConnectTo("127.0.0.1", nobody.Number());
    EXPECT_EQ(descriptorsAtReport, before);
    EXPECT_THAT(Callbacks(), IsEmpty());
}

TEST_F(ClientSocketConnectTest, ASecondConnectReplacesTheConnection) {
    Connect();
    LoopbackSocket first = std::move(gateway_);
    Connect();
    EXPECT_TRUE(first.WaitForEnd());
    Bytes frame = {0x01};
    EXPECT_TRUE(socket_->Send(frame));
    EXPECT_EQ(gateway_.Receive(1), frame);
    EXPECT_THAT(Callbacks(), IsEmpty());
}

TEST_F(ClientSocketConnectTest, CloseEndsTheConnectionAndLogsOnce) {
    Connect();
    socket_->Close();
    EXPECT_TRUE(gateway_.WaitForEnd());
    EXPECT_EQ(DescriptorConnectedTo(listener_.Port()), -1);
    socket_->Close();
    EXPECT_EQ(log_.Count(plog::debug, "Called close on current connectionSocket."), 1);
    EXPECT_THAT(Callbacks(), IsEmpty());
}

TEST_F(ClientSocketConnectTest, ThereIsNoPendingErrorUntilThePeerResets) {
    EXPECT_FALSE(socket_->HasPendingError()) << "not connected";
    Connect();
    EXPECT_FALSE(socket_->HasPendingError());
    gateway_.Reset();
    EXPECT_TRUE(Testing::WaitUntil([this] { return socket_->HasPendingError(); }));
    socket_->Close();
    EXPECT_FALSE(socket_->HasPendingError());
}

// A listener whose queue is full leaves connections unanswered: they hang until somebody is accepted.
class BusyGatewayTest : public ClientSocketConnectTest {
  protected:
    BusyGatewayTest() : busy_(LoopbackSocket::Listening(0)) {
        waiting_.push_back(LoopbackSocket::ConnectedTo(busy_.Port()));
    }

    LoopbackSocket busy_;
    std::vector<LoopbackSocket> waiting_;
};

TEST_F(BusyGatewayTest, ConnectingIsBoundedByTheConnectionTimeout) {
    ClientSocket socket("127.0.0.1", busy_.Port(), milliseconds(300));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(socket.Connect());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(250));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(10));
    EXPECT_THAT(Failures(), ElementsAre("Cannot connect to socket:Operation now in progress",
                                        GatewayLine("Connection timed out", busy_.Port()), "report 1"));
}

TEST_F(BusyGatewayTest, SignalsDuringConnectingAreNoFailure) {
    ClientSocket socket("127.0.0.1", busy_.Port(), seconds(30));
    std::thread connecting([&] { EXPECT_TRUE(socket.Connect()); });
    {
        const Testing::SignalStorm storm;
        EXPECT_TRUE(log_.WaitFor(plog::debug, "Keepalive set."));
        EXPECT_TRUE(Testing::WaitUntil([&] { return storm.Handled() > 50; }));
        EXPECT_FALSE(log_.Holds(plog::debug, "Socket connected."));
        busy_.Accept();
        connecting.join();
    }
    EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(BusyGatewayTest, AnInterruptedConnectIsBoundedToo) {
    ClientSocket socket("127.0.0.1", busy_.Port(), milliseconds(500));
    const Testing::SignalStorm storm;
    EXPECT_FALSE(socket.Connect());
    EXPECT_THAT(Failures(), ElementsAre("Cannot connect to socket:Connection timed out",
                                        GatewayLine("Connection timed out", busy_.Port()), "report 1"));
}

TEST_F(ClientSocketConnectTest, AnInterruptedConnectThatIsRefusedSaysSo) {
    const Testing::SignalStorm storm;
    for (int attempt = 0; attempt < 50; ++attempt) {
        const Testing::ReservedPort nobody;
        EXPECT_EQ(FailuresOfConnectTo("127.0.0.1", nobody.Number()).front(),
                  "Cannot connect to socket:Connection refused");
    }
}

// One option that cannot be set: with which error, and the lines that follow.
struct OptionCase {
    int option;
    int error;
    std::vector<std::string> lines;
};

const std::vector<OptionCase> kTimeoutCases = {
    {SO_RCVTIMEO, EINVAL, {"setsockopt failed for recv timeout."}},
    {SO_SNDTIMEO, EINVAL, {"setsockopt failed for send timeout"}},
    {SO_KEEPALIVE,
     ENOPROTOOPT,
     {"Unknown option.", "Cannot set keep alive for socket. Error:Protocol not available", "report 0"}},
};

const std::vector<OptionCase> kKeepAliveCases = {
    {SO_KEEPALIVE, EBADF, {"Not a valid socket descriptor"}},
    {SO_KEEPALIVE, EINVAL, {"Invalid keepalive value."}},
    {SO_KEEPALIVE, EFAULT, {"Cannot set keepalive socket. Invalid option address."}},
    {SO_KEEPALIVE, ENOTSOCK, {"Not a socket."}},
    {SO_KEEPALIVE, ENOPROTOOPT, {"Unknown option."}},
    {TCP_KEEPIDLE, EINVAL, {"Invalid keepalive value.", "Error in set TCP_KEEPIDLE"}},
    {TCP_KEEPIDLE, EOPNOTSUPP, {"Error in set TCP_KEEPIDLE"}},
    {TCP_KEEPCNT, ENOPROTOOPT, {"Unknown option.", "Error in set TCP_KEEPCNT"}},
    {TCP_KEEPINTVL, EINVAL, {"Invalid keepalive value.", "Error in set TCPKEEPINTVL"}},
};

class OptionTest : public ClientSocketConnectTest, public testing::WithParamInterface<OptionCase> {
  protected:
    OptionTest() : failing_(SocketCall::kSetSockOpt, GetParam().error) { failing_.ForOption(GetParam().option); }

    FailingCalls failing_;
};

using ConnectOptionTest = OptionTest;

TEST_P(ConnectOptionTest, ThatCannotBeSetIsLoggedAndDoesNotStopTheConnection) {
    Connect();
    EXPECT_EQ(Failures(), GetParam().lines);
    EXPECT_EQ(log_.Count(plog::error, GetParam().lines.front()), 1);
    EXPECT_EQ(log_.Count(plog::debug, "Socket connected."), 1);
}

INSTANTIATE_TEST_SUITE_P(Options, ConnectOptionTest, testing::ValuesIn(kTimeoutCases));

class KeepAliveOptionTest : public OptionTest {};

// Writing a line may fail too, and the caller logs the error of the step behind it.
TEST_P(KeepAliveOptionTest, ThatCannotBeSetIsLoggedAndEndsTheStepsAndLeavesItsErrorNumber) {
    const LoopbackSocket plain;
    const Testing::LogHook hook(GetParam().lines.back(), [] { errno = ENOSPC; });
    EXPECT_FALSE(socket_->SetKeepAliveOption(plain.Descriptor()));
    EXPECT_EQ(errno, GetParam().error);
    EXPECT_EQ(hook.Runs(), 1);
    EXPECT_EQ(Failures(), GetParam().lines);
    EXPECT_EQ(log_.Count(plog::error, GetParam().lines.back()), 1);
    EXPECT_FALSE(log_.Holds(plog::debug, "Keepalive set."));
    int interval = 0;
    socklen_t size = sizeof interval;
    EXPECT_EQ(getsockopt(plain.Descriptor(), IPPROTO_TCP, TCP_KEEPINTVL, &interval, &size), 0);
    EXPECT_NE(interval, 5) << "the last step came all the same";
}

INSTANTIATE_TEST_SUITE_P(Options, KeepAliveOptionTest, testing::ValuesIn(kKeepAliveCases));

}  // namespace
}  // namespace Brenk::Net
