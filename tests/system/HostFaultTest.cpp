// What becomes of the Mux when the host fails it: each line that it then writes, and whether it goes on.
//
// Faults that no test can bring about for real come from a preloaded library (support/HostFaults.cpp).

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "tests/support/LoopbackSocket.h"
#include "tests/support/WaitUntil.h"
#include "tests/system/support/ExchangeRunner.h"
#include "tests/system/support/FakeDumpTool.h"
#include "tests/system/support/LogLines.h"
#include "tests/system/support/SideBySide.h"

namespace SystemTest {
namespace {

using Texts = std::vector<std::string>;

const std::string kMemory = "memory";
const std::string kReady = "to state READY";
constexpr const char* kGoesOn = "";

// The number-th call of this name in the process fails with an error number.
std::string Fault(const std::string& call, int number, int error) {
    return call + ":" + std::to_string(number) + ":" + std::to_string(error);
}
std::string Fault(const std::string& call, int number, const std::string& effect) {
    return call + ":" + std::to_string(number) + ":" + effect;
}
// The same of calls for one option of a socket.
std::string OptionFault(int option, int number, int error) {
    return Fault("setsockopt/" + std::to_string(option), number, error);
}
// The gateways' connections are the sockets that name their protocol.
const std::string kGatewaySocket = "socket/" + std::to_string(IPPROTO_TCP);

SystemSetup With(const std::string& faults, const SystemSetup& base = {}) {
    SystemSetup setup = WithArguments({"--verbose"}, base);
    setup.environment = {{"LD_PRELOAD", HOST_FAULTS_LIBRARY}, {"MUX_TEST_FAIL", faults}};
    setup.waitsUntilQuiet = false;
    return setup;
}

SystemSetup WithoutGateways(const std::string& faults) {
    return With(faults, WithGateways({}));
}

void ExpectLines(const MuxProcess& mux, const Texts& texts) {
    for (const std::string& text : texts) {
        EXPECT_TRUE(mux.WaitFor(text)) << text;
    }
}

// A gateway that has just become ready may still be asked for its counter, and then refuses a request.
void ExpectAcknowledged(TestClient& client) {
    const std::string request = Replace(Request(14), "@G", "1");
    std::string answer;
    EXPECT_TRUE(Testing::WaitUntil(
        [&] {
            client.Send(Replace(request, "@I", "again"));
            answer = client.Receive(std::chrono::seconds(3));
            return answer != "(nothing)";
        },
        kDeadline));
    EXPECT_NE(answer.find(R"("Data":{}})"), std::string::npos) << answer;
}

struct FaultRow {
    std::string faults;
    // The end of the process, or that it goes on.
    std::string ending;
    Texts lines;
};

FaultRow MutexRow(const std::string& call, int error, const std::string& text) {
    return {
        Fault(call, 1, error), kGoesOn, {text + " Mutex: muxMessageQueueMutex", "Cannot initialize mutex in .ctor"}};
}

const std::vector<FaultRow> kFaultsWithoutGateways = {
    {Fault("socket", 1, EMFILE),
     "status 0",
     {"Error init server socket. Too many open files", "Error detected on socket. Initialization. Shutdown Mux.",
      "Mux main thread is closing."}},
    {Fault("listen", 1, EADDRINUSE),
     "status 0",
     {"Error on listen server socket. Address already in use",
      "Error detected on socket. Initialization. Shutdown Mux."}},
    {Fault("pthread_create", 1, EAGAIN), "status 0", {"Cannot spawn main thread. Shutdown Mux."}},
    {Fault("pthread_create", 2, EAGAIN), "status 0", {"Cannot spawn virtual gateways thread. Shutdown Mux."}},
    {Fault("pthread_create", 3, EAGAIN), "status 0", {"Cannot spawn accept loop thread."}},
    {Fault("pthread_create", 4, EAGAIN), "status 0", {"Cannot spawn receive data loop thread."}},
    MutexRow("pthread_mutexattr_init", ENOMEM, "Cannot initialize mutex attributes. No memory."),
    MutexRow("pthread_mutexattr_init", EINVAL, "Cannot initialize mutex attributes. Invalid values."),
    MutexRow("pthread_mutexattr_settype", ENOMEM, "Cannot set mutex type to error check. No memory."),
    MutexRow("pthread_mutexattr_settype", EINVAL, "Cannot set mutex type to error check. Invalid values."),
    MutexRow("pthread_mutexattr_setrobust", ENOMEM, "Cannot initialize mutex with robust attribute. No memory."),
    MutexRow("pthread_mutexattr_setrobust", EINVAL, "Cannot initialize mutex with robust attribute. Invalid value."),
    MutexRow("pthread_mutex_init/1", EINVAL, "Cannot create mutex.. Invalid value."),
    MutexRow("pthread_mutex_init/1", ENOMEM, "Cannot create mutex. No memory."),
    MutexRow("pthread_mutex_init/1", EPERM, "Cannot create mutex. No permissions."),
    MutexRow("pthread_mutex_init/1", EBUSY, "Cannot create mutex. No permissions."),
    MutexRow("pthread_mutex_init/1", EAGAIN, "Cannot create mutex. No resources. Mutex already created?"),
    {OptionFault(SO_RCVTIMEO, 1, EBADF), kGoesOn, {"Error set RECV_TIMEOUT for socket "}},
};

void ExpectWithoutGateways(const FaultRow& row) {
    SCOPED_TRACE(row.faults);
    MuxSystem system(WithoutGateways(row.faults));
    if (row.ending == kGoesOn) {
        TestClient client = system.NewClient();
        ExpectServed(client);
    } else {
        EXPECT_EQ(system.Mux().WaitForEnd(), row.ending);
    }
    ExpectLines(system.Mux(), row.lines);
}

TEST(HostFault, WithoutGatewaysEndsTheStartOrIsOvercome) {
    ForEachSideBySide(kFaultsWithoutGateways, ExpectWithoutGateways);
}

FaultRow KeepAliveRow(int option, int error, const Texts& texts) {
    FaultRow row = {OptionFault(option, 1, error), "status 1", texts};
    row.lines.emplace_back("Cannot set keep alive for socket. Error:");
    row.lines.emplace_back("Exit for critical errors.");
    return row;
}

const std::vector<FaultRow> kOfAGateway = {
    {Fault(kGatewaySocket, 1, EMFILE),
     "status 1",
     {"Cannot create socket:Too many open files", "Exit for critical errors."}},
    KeepAliveRow(SO_KEEPALIVE, EBADF, {"Not a valid socket descriptor"}),
    KeepAliveRow(SO_KEEPALIVE, ENOTSOCK, {"Not a socket."}),
    KeepAliveRow(TCP_KEEPIDLE, EINVAL, {"Invalid keepalive value.", "Error in set TCP_KEEPIDLE"}),
    KeepAliveRow(TCP_KEEPCNT, EFAULT,
                 {"Cannot set keepalive socket. Invalid option address.", "Error in set TCP_KEEPCNT"}),
    KeepAliveRow(TCP_KEEPINTVL, ENOPROTOOPT, {"Unknown option.", "Error in set TCPKEEPINTVL"}),
    {OptionFault(SO_RCVTIMEO, 1, EINVAL) + "," + OptionFault(SO_SNDTIMEO, 1, EINVAL),
     kGoesOn,
     {"setsockopt failed for recv timeout.", "setsockopt failed for send timeout"}},
    {OptionFault(SO_RCVTIMEO, 2, EINVAL),
     "status 1",
     {"Cannot set socket option SO_RCVTIMEO", "Exit for critical errors."}},
    {Fault("poll", 1, ENOMEM),
     "status 1",
     {"Cannot wait for the socket. Error:Cannot allocate memory", "Exit for critical errors."}},
    {Fault("recv", 1, EBADF),
     "status 1",
     {"Bad file descriptor on connectionSocket.", "Gateway at 127.0.0.1:", "Socket faulted. Receive error.",
      "Try to reconnect VG", "Exit for critical errors."}},
    {Fault("recv", 1, ECONNREFUSED),
     "status 1",
     {"Connection refused on connectionSocket", "Try to reconnect VG", "Exit for critical errors."}},
    {Fault("recv", 1, ENOTSOCK),
     "status 1",
     {"Not a socket file descriptor on connectionSocket", "Try to reconnect VG", "Exit for critical errors."}},
    {Fault("send", 1, EPIPE),
     "status 1",
     {"Socket send failed. Error:Broken pipe",
      "Gateway at 127.0.0.1:", "Socket faulted. Send error. Error description: Broken pipe", "Try to reconnect VG",
      "Exit for critical errors."}},
};

void ExpectOfAGateway(const FaultRow& row) {
    SCOPED_TRACE(row.faults);
    MuxSystem system(With(row.faults));
    // Before there is a client, whose calls would count as well.
    ExpectLines(system.Mux(), row.lines);
    if (row.ending == kGoesOn) {
        TestClient client = system.NewClient();
        ExpectAcknowledged(client);
    } else {
        EXPECT_EQ(system.Mux().WaitForEnd(), row.ending);
    }
}

TEST(HostFault, OfAGatewaysConnectionEndsTheProcessWithStatus1) {
    ForEachSideBySide(kOfAGateway, ExpectOfAGateway);
}

// Its frames are neither sent nor received: requests are taken and never answered.
const std::vector<FaultRow> kThreadsOfAGateway = {
    {Fault("pthread_create", 1, EAGAIN), kGoesOn, {"Cannot spawn Send theread."}},
    {Fault("pthread_create", 2, EAGAIN), kGoesOn, {"Cannot spawn Read theread.", "Closing send thread."}},
};

void ExpectADeafGateway(const FaultRow& row) {
    SCOPED_TRACE(row.faults);
    MuxSystem system(With(row.faults));
    TestClient client = system.NewClient();
    client.Send(Replace(Request(14), "@G", "1"));
    EXPECT_TRUE(system.Mux().WaitFor("Message correctly enqueued by Virtual Gateway."));
    ExpectLines(system.Mux(), row.lines);
    ExpectServed(client);
    EXPECT_TRUE(system.Gateway().ReceivedFrames().empty());
}

TEST(HostFault, OfAGatewaysThreadsLeavesItDeaf) {
    ForEachSideBySide(kThreadsOfAGateway, ExpectADeafGateway);
}

TEST(HostFault, OfAnAcceptShutsTheDoorToNewClientsOnly) {
    MuxSystem system(WithoutGateways(Fault("accept4", 2, EMFILE)));
    TestClient client = system.NewClient();
    ExpectLines(system.Mux(), {"Accept loop received a broken socket on Accept() request. Error: Too many open files",
                               "Accept loop thread closing."});
    EXPECT_TRUE(Testing::WaitUntil([&] { return system.Mux().ListeningPorts().empty(); }, kDeadline));
    ExpectServed(client);
}

TEST(HostFault, OfABacktracesNamesLeavesTheAddresses) {
    const FakeDumpTool tool;
    SystemSetup setup = WithoutGateways(Fault("backtrace_symbols", 1, ENOMEM));
    setup.environment.push_back(tool.Environment().front());
    MuxSystem system(setup);
    ASSERT_TRUE(system.Mux().WaitFor("Mux ended initialization process."));
    system.Mux().Signal(SIGABRT);
    EXPECT_EQ(system.Mux().WaitForEnd(), "status 255");
    ExpectInOrder(system.Mux().Lines(), {{"ERROR", "Obtaining stack trace for current SIG."},
                                         {"ERROR", "Backtrace symbols are not available"},
                                         {"ERROR", "Backtrace (frames) starts here"}});
}

// Memory that runs out costs what was under way, and each loop goes on.
const std::vector<FaultRow> kMemoryOfTheClients = {
    {Fault("accept4", 1, kMemory), kGoesOn, {"Exception in the accept loop: std::bad_alloc"}},
    {Fault("recv", 1, kMemory), kGoesOn, {"There is no memory for what was received on socket ", ". It is closed."}},
    // The next answer is tried once more.
    {Fault("send", 1, kMemory), kGoesOn, {"Exception in the main loop: std::bad_alloc"}},
    // The time is that of the refusal.
    {Fault("time", 1, kMemory),
     kGoesOn,
     {"Exception thrown in enqueuing messages.", "Explicit release of mutex guards.",
      "The exception was: std::bad_alloc"}},
};

void ExpectTheNextClientServed(const FaultRow& row) {
    SCOPED_TRACE(row.faults);
    MuxSystem system(WithoutGateways(row.faults));
    const TestClient first = system.NewClient();
    first.Send(R"({"MessageID":"first","MessageCode":3})");
    TestClient next = system.NewClient();
    ExpectServed(next);
    ExpectLines(system.Mux(), row.lines);
}

TEST(HostFault, OfMemoryCostsAClientItsRequest) {
    ForEachSideBySide(kMemoryOfTheClients, ExpectTheNextClientServed);
}

// The pass that finds the second client has to make room for it.
TEST(HostFault, OfMemoryForTheListOfClientsCostsTheReceiveLoopASecond) {
    MuxSystem system(WithoutGateways(Fault("poll", 1, kMemory)));
    const TestClient silent = system.NewClient();
    ASSERT_TRUE(system.Mux().WaitFor("Read select exits for timeout."));
    TestClient next = system.NewClient();
    ExpectServed(next);
    ExpectLines(system.Mux(), {"Exception in the receive data loop: std::bad_alloc"});
}

const std::vector<FaultRow> kMemoryOfAGateway = {
    {Fault(kGatewaySocket, 1, kMemory), kGoesOn, {"Exception in the gateways loop: std::bad_alloc"}},
    {Fault("send", 1, kMemory), kGoesOn, {"Exception in the send loop of virtual gateway with ID 1: std::bad_alloc"}},
    {Fault("recv", 1, kMemory), kGoesOn, {"Exception in the read loop of virtual gateway with ID 1: std::bad_alloc"}},
};

TEST(HostFault, OfMemoryCostsAGatewayOneStep) {
    ForEachSideBySide(kMemoryOfAGateway, ExpectOfAGateway);
}

// Behind a frame the read thread asks for the time: once when it has it, and once more when it builds an answer.
TEST(HostFault, OfMemoryCostsAClientTheAnswerOfItsGateway) {
    SystemSetup setup = With(Fault("time/1", MuxSystem::kFramesAtStart + 2, kMemory));
    setup.waitsUntilQuiet = true;
    MuxSystem system(setup);
    TestClient client = system.NewClient();
    client.Send(Replace(Replace(Request(14), "@G", "1"), "@I", "lost"));
    ExpectLines(system.Mux(), {"Exception in Brenk Response message loop. Manually releasing mutexes.",
                               "The exception was: std::bad_alloc"});
    ExpectAcknowledged(client);
}

// Without its threads a gateway asks for the time when it queues its question for the counter, the second time when it
// has all that it needs. The next to need something on that thread is the request.
TEST(HostFault, OfMemoryCostsARequestOnItsWayToAGateway) {
    MuxSystem system(With(Fault("pthread_create", 1, EAGAIN) + "," + Fault("time", 2, kMemory)));
    ASSERT_TRUE(system.Mux().WaitFor("to state CONNECTED"));
    TestClient client = system.NewClient();
    client.Send(Replace(Request(14), "@G", "1"));
    ExpectLines(system.Mux(), {"Exception throw in pop next message flow.", "Explicit release of mutex guards.",
                               "The exception was: std::bad_alloc"});
    ExpectServed(client);
}

// What the end of a connection meets on the way to the next one.
const std::vector<FaultRow> kReconnects = {
    {Fault(kGatewaySocket, 2, kMemory),
     kGoesOn,
     {"Exception in the read loop of virtual gateway with ID 1: std::bad_alloc",
      "The selected Virtual Gateway is in UNKNOWN status. A connection request will not be send.",
      "Connected to gateway with ID 1 over IP 127.0.0.1."}},
    {Fault("getsockopt/" + std::to_string(SO_ERROR), 1, ENOBUFS),
     kGoesOn,
     {"[VirtualGateway::readThreadProc] Socket in error. Try a reconnect.", "DISCONNECTED to state CONNECTED",
      "CONNECTED to state READY"}},
};

void ExpectReconnect(const FaultRow& row) {
    SCOPED_TRACE(row.faults);
    MuxSystem system(With(row.faults));
    ASSERT_TRUE(system.Mux().WaitFor(kReady));
    system.Gateway().CloseConnection();
    ExpectLines(system.Mux(), row.lines);
    EXPECT_TRUE(Testing::WaitUntil([&] { return system.Gateway().IsConnected(); }, kDeadline));
    TestClient client = system.NewClient();
    ExpectAcknowledged(client);
}

TEST(HostFault, DuringAReconnectIsOvercome) {
    ForEachSideBySide(kReconnects, ExpectReconnect);
}

TEST(HostFault, ThatDelaysAReconnectCostsTheRequestsMeanwhile) {
    MuxSystem system(With(Fault("connect", 2, "pause=5000")));
    ASSERT_TRUE(system.Mux().WaitFor(kReady));
    TestClient client = system.NewClient();
    system.Gateway().CloseConnection();
    ASSERT_TRUE(system.Mux().WaitFor("READY to state DISCONNECTED"));
    client.Send(Replace(Replace(Request(14), "@G", "1"), "@I", "lost"));
    ExpectLines(system.Mux(), {"Message correctly enqueued by Virtual Gateway. MessageID: lost",
                               "Socket send failed. Error:Transport endpoint is not connected",
                               "Error sending enqueued message lost to current Virtual Gateway. Message removed from "
                               "queue"});
    ASSERT_TRUE(system.Mux().WaitFor("DISCONNECTED to state READY"));
    ExpectAcknowledged(client);
}

struct RefusedRow {
    int code;
    std::string members;
    std::string line;
};

const std::vector<RefusedRow> kRefusedWhileFaulted = {
    {14, R"("lockID":5)", "Virtual gateway status is FAULTED. Cannot enqueue ACCESS DENIED message"},
    {21, R"("lockID":5,"cardData":"01")",
     "Virtual gateway is in Faulted or NotPresent state. Cannot add whitelist entry"},
    {11, R"("lockID":5)", "vgs not present : "},
};

TEST(HostFault, ThatHoldsUpTheEndOfAConnectionRefusesTheRequestsMeanwhile) {
    MuxSystem system(With(Fault("shutdown", 1, "pause=5000")));
    ASSERT_TRUE(system.Mux().WaitFor(kReady));
    TestClient client = system.NewClient();
    system.Gateway().ResetConnection();
    ASSERT_TRUE(system.Mux().WaitFor("Try to reconnect VG"));
    for (const RefusedRow& row : kRefusedWhileFaulted) {
        const std::time_t from = std::time(nullptr);
        client.Send(Replace(Replace(Request(row.code, row.members), "@G", "1"), "@I", "refused"));
        ExpectMessage(client.Receive(), "refused", Refusal(), from);
        EXPECT_TRUE(system.Mux().WaitFor(row.line)) << row.line;
    }
    EXPECT_EQ(system.Mux().WaitForEnd(), "status 1");
}

}  // namespace
}  // namespace SystemTest
