#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <thread>

#include "diagnostics/ErrorGuard.h"
#include "tests/net/GatewayConnection.h"
#include "tests/net/SocketCalls.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/SignalStorm.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using Testing::FailingCalls;
using testing::IsEmpty;
using Testing::LoopbackSocket;
using Testing::SeenCalls;
using Testing::SocketCall;

class ClientSocketConnectTest : public Testing::GatewayConnection {
  protected:
    using GatewayConnection::GatewayConnection;

    static timeval TimeoutOf(int descriptor, int option) {
        timeval timeout = {};
        socklen_t size = sizeof timeout;
        EXPECT_EQ(getsockopt(descriptor, SOL_SOCKET, option, &timeout, &size), 0);
        return timeout;
    }
};

TEST_F(ClientSocketConnectTest, ConnectsAndLogsItsSteps) {
    Connect();
    const auto step = [](const std::string& text) {
        return testing::Pair(plog::debug, testing::EndsWith(") " + text));
    };
    EXPECT_THAT(log_.Lines(), ElementsAre(step("Getaddr ok. Address found."), step("Socket created."),
                                          step("Keepalive set."), step("Socket connected.")));
    EXPECT_EQ(SocketReports() + ConnectionReports(), 0);
}

TEST_F(ClientSocketConnectTest, SetsTheReceiveTimeoutTo2AndTheSendTimeoutTo15Seconds) {
    Connect();
    const int descriptor = DescriptorConnectedTo(listener_.Port());
    EXPECT_EQ(TimeoutOf(descriptor, SO_RCVTIMEO).tv_sec, 2);
    EXPECT_EQ(TimeoutOf(descriptor, SO_RCVTIMEO).tv_usec, 0);
    EXPECT_EQ(TimeoutOf(descriptor, SO_SNDTIMEO).tv_sec, 15);
    EXPECT_EQ(TimeoutOf(descriptor, SO_SNDTIMEO).tv_usec, 0);
}

// The numbers below are for clients, which can have no others.
TEST_F(ClientSocketConnectTest, TakesADescriptorOf1024OrMoreWhereThatIsAllowed) {
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit many = before;
    many.rlim_cur = 1200;
    if (setrlimit(RLIMIT_NOFILE, &many) != 0) {
        GTEST_SKIP() << "this machine allows fewer than 1200 descriptors";
    }
    Connect();
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_GE(DescriptorConnectedTo(listener_.Port()), 1024);
}

TEST_F(ClientSocketConnectTest, ResolvesHostAndPortAndSetsItsOptionsInTheirOrder) {
    const SeenCalls seen;
    ASSERT_TRUE(socket_->Connect());
    EXPECT_THAT(seen.All(), ElementsAre("getaddrinfo 127.0.0.1 " + std::to_string(listener_.Port()) + ", stream",
                                        "setsockopt SO_RCVTIMEO 2000000", "setsockopt SO_SNDTIMEO 15000000",
                                        "setsockopt SO_KEEPALIVE 1", "setsockopt TCP_KEEPIDLE 5",
                                        "setsockopt TCP_KEEPCNT 10", "setsockopt TCP_KEEPINTVL 5"));
}

TEST_F(ClientSocketConnectTest, TheConnectionIsNotHandedDownToOtherPrograms) {
    Connect();
    EXPECT_EQ(fcntl(DescriptorConnectedTo(listener_.Port()), F_GETFD), FD_CLOEXEC);
}

TEST_F(ClientSocketConnectTest, AFailedResolveIsLoggedWithTheResolversTextAndReportedAsKind0) {
    const FailingCalls failing(SocketCall::kGetAddrInfo, EAI_NONAME);
    const int before = OpenDescriptors();
    EXPECT_FALSE(socket_->Connect());
    EXPECT_EQ(log_.Count(plog::error, "GetAddrInfo error:Name or service not known"), 1);
    EXPECT_THAT(Failures(), ElementsAre("GetAddrInfo error:Name or service not known",
                                        GatewayLine("Name or service not known"), "report 0"));
    EXPECT_EQ(SocketReports(), 1);
    EXPECT_EQ(ConnectionReports(), 0);
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_THAT(Callbacks(), IsEmpty());
}

class PortOutOfRangeTest : public ClientSocketConnectTest, public testing::WithParamInterface<int> {};

TEST_P(PortOutOfRangeTest, IsAFailedResolve) {
    ClientSocket socket("127.0.0.1", GetParam(), seconds(15));
    EXPECT_FALSE(socket.Connect());
    EXPECT_THAT(Failures(), ElementsAre("GetAddrInfo error:Servname not supported for ai_socktype",
                                        GatewayLine("Servname not supported for ai_socktype", GetParam()), "report 0"));
}

INSTANTIATE_TEST_SUITE_P(Ports, PortOutOfRangeTest, testing::Values(-1, -2101, 65536, 70000, 2147483647));

class PortInRangeTest : public ClientSocketConnectTest, public testing::WithParamInterface<int> {};

TEST_P(PortInRangeTest, IsResolved) {
    ClientSocket socket("127.0.0.1", GetParam(), seconds(15));
    const FailingCalls unconnected(SocketCall::kSocket, EMFILE);
    EXPECT_FALSE(socket.Connect());
    EXPECT_EQ(log_.Count(plog::debug, "Getaddr ok. Address found."), 1) << log_.Text();
    EXPECT_EQ(unconnected.Left(), 0);
}

INSTANTIATE_TEST_SUITE_P(Ports, PortInRangeTest, testing::Values(0, 1, 2101, 65535));

TEST_F(ClientSocketConnectTest, APortBeyondTheRangeIsNotTakenModulo65536) {
    ClientSocket socket("127.0.0.1", listener_.Port() + 65536, seconds(15));
    EXPECT_FALSE(socket.Connect());
}

TEST_F(ClientSocketConnectTest, ASocketThatCannotBeCreatedIsLoggedAndReportedAsKind0) {
    const FailingCalls failing(SocketCall::kSocket, EMFILE);
    EXPECT_FALSE(socket_->Connect());
    EXPECT_THAT(Failures(), ElementsAre("Cannot create socket:Too many open files", "report 0"));
    EXPECT_FALSE(log_.Holds(plog::debug, "Socket created."));
}

TEST_F(ClientSocketConnectTest, TimeoutsThatCannotBeSetAreLoggedAndDoNotStopTheConnection) {
    {
        FailingCalls failing(SocketCall::kSetSockOpt, EINVAL);
        failing.ForOption(SO_RCVTIMEO);
        Connect();
    }
    {
        FailingCalls failing(SocketCall::kSetSockOpt, EINVAL);
        failing.ForOption(SO_SNDTIMEO);
        Connect();
    }
    EXPECT_THAT(Failures(), ElementsAre("setsockopt failed for recv timeout.", "setsockopt failed for send timeout"));
}

TEST_F(ClientSocketConnectTest, KeepAliveThatCannotBeSetIsLoggedAndReportedAsKind0AndDoesNotStopTheConnection) {
    FailingCalls keepAlive(SocketCall::kSetSockOpt, ENOPROTOOPT);
    keepAlive.ForOption(SO_KEEPALIVE);
    Connect();
    EXPECT_THAT(Failures(), ElementsAre("Unknown option.",
                                        "Cannot set keep alive for socket. Error:Protocol not available", "report 0"));
    EXPECT_EQ(SocketReports(), 1);
    EXPECT_EQ(log_.Count(plog::debug, "Socket connected."), 1);
}

int descriptorsAtReport = 0;

TEST_F(ClientSocketConnectTest, ARefusedConnectionIsLoggedThenClosedThenReportedAsKind1) {
    const Testing::ReservedPort nobody;
    ClientSocket socket("127.0.0.1", nobody.Number(), seconds(15));
    const int before = OpenDescriptors();
    Diagnostics::ErrorGuard::Configuration configuration;
    configuration.observer = [](std::uint32_t, int) { descriptorsAtReport = OpenDescriptors(); };
    Diagnostics::ErrorGuard::Instance().Configure(configuration);

    EXPECT_FALSE(socket.Connect());
    EXPECT_EQ(log_.Count(plog::error, "Cannot connect to socket:Connection refused"), 1);
    EXPECT_EQ(descriptorsAtReport, before);
    EXPECT_EQ(ConnectionReports(), 1);
    EXPECT_EQ(SocketReports(), 0);
    EXPECT_THAT(Callbacks(), IsEmpty());
    EXPECT_FALSE(log_.Holds(plog::debug, "Socket connected."));
}

TEST_F(ClientSocketConnectTest, AFailedConnectReportsAfterItsLines) {
    const Testing::ReservedPort nobody;
    ClientSocket socket("127.0.0.1", nobody.Number(), seconds(15));
    EXPECT_FALSE(socket.Connect());
    EXPECT_THAT(Failures(), ElementsAre("Cannot connect to socket:Connection refused",
                                        GatewayLine("Connection refused", nobody.Number()), "report 1"));
}

TEST_F(ClientSocketConnectTest, AnAddressWithColonsStandsInBracketsInFrontOfItsPort) {
    const FailingCalls failing(SocketCall::kGetAddrInfo, EAI_NONAME);
    ClientSocket socket("::1", 2101, seconds(15));
    EXPECT_FALSE(socket.Connect());
    EXPECT_EQ(log_.Count(plog::error, "Gateway at [::1]:2101: Name or service not known"), 1) << log_.Text();
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

TEST_F(ClientSocketConnectTest, DestroyingTheSocketClosesTheConnection) {
    Connect();
    socket_.reset();
    EXPECT_TRUE(gateway_.WaitForEnd());
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
        ClientSocket socket("127.0.0.1", nobody.Number(), seconds(15));
        EXPECT_FALSE(socket.Connect());
    }
    EXPECT_EQ(log_.Count(plog::error, "Cannot connect to socket:Connection refused"), 50);
}

}  // namespace
}  // namespace Brenk::Net
