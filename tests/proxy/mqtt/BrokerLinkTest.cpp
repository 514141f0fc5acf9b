#include "proxy/mqtt/BrokerLink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <iomanip>
#include <iterator>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "tests/proxy/mqtt/FakeBroker.h"
#include "tests/proxy/mqtt/RunningBroker.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/Threads.h"
#include "tests/support/WaitUntil.h"

namespace MuxProxy {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Testing::WaitUntil;

// What the link reports, one line for each.
class Reports : public BrokerEvents {
  public:
    void BrokerOpened(BrokerConnection number) override {
        Add("opened", [&] { connection_ = number; });
    }
    void BrokerReceived(BrokerMessage message) override {
        Add(message.topic + (message.isRetained ? " retained " : " ") + message.payload + " " + message.responseTopic +
            " " + message.correlationData);
    }
    void BrokerPublished(PublishNumber number, PublishResult result) override {
        Add("published " + std::to_string(number) + " " + std::to_string(static_cast<int>(result)));
    }
    void BrokerLost(const std::string& reason) override { Add("lost: " + reason); }
    void BrokerFailed(const std::string& reason) override { Add("failed: " + reason); }
    void BrokerComplained(const std::string& complaint) override { Add(complaint); }

    std::vector<std::string> Lines() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }
    BrokerConnection Connection() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return connection_;
    }
    // The first line that begins so, once there is one.
    std::string WaitFor(const std::string& start, std::size_t count = 1) const {
        std::string found;
        const bool isThere = WaitUntil(
            [&] {
                std::size_t seen = 0;
                for (const std::string& line : Lines()) {
                    seen += line.rfind(start, 0) == 0 ? 1 : 0;
                    found = seen == count && found.empty() ? line : found;
                }
                return seen >= count;
            },
            seconds(30));
        return isThere ? found : "";
    }

  private:
    void Add(
        const std::string& line, const std::function<void()>& also = [] {}) {
        const std::lock_guard<std::mutex> lock(mutex_);
        also();
        lines_.push_back(line);
    }

    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
    BrokerConnection connection_ = 0;
};

// Whether the kernel knows an unanswered attempt to connect to this port (proc_pid_net(5), state SYN_SENT).
bool IsConnectingTo(int port) {
    std::ostringstream wanted;
    wanted << "0100007F:" << std::uppercase << std::hex << std::setw(4) << std::setfill('0') << port << " 02 ";
    std::ifstream file("/proc/self/net/tcp");
    const std::string table((std::istreambuf_iterator<char>(file)), {});
    return table.find(wanted.str()) != std::string::npos;
}

constexpr const char* kAnyone = "allow_anonymous true\n";
const DelaySettings kQuick{milliseconds(20), milliseconds(100), seconds(60)};

struct BrokerLinkTest : testing::Test {
    BrokerSettings Settings(const Testing::RunningBroker& broker) const {
        BrokerSettings settings;
        settings.host = "127.0.0.1";
        settings.port = static_cast<std::uint16_t>(broker.Port());
        settings.clientId = "hall";
        settings.statusTopic = "p/hall/status";
        settings.subscriptions = {"p/hall/command/+"};
        return settings;
    }

    static std::vector<std::string> Tool(const std::string& name, const Testing::RunningBroker& broker,
                                         const std::vector<std::string>& options) {
        std::vector<std::string> command = {name, "-V", "5", "-p", std::to_string(broker.Port())};
        command.insert(command.end(), options.begin(), options.end());
        return command;
    }

    static int Send(const Testing::RunningBroker& broker, const std::vector<std::string>& options) {
        return Testing::RunToEnd(Tool("mosquitto_pub", broker, options)).status;
    }

    // Prints all that the broker sends to it.
    static std::unique_ptr<Testing::Process> Subscriber(const Testing::RunningBroker& broker, const std::string& name) {
        auto process = std::make_unique<Testing::Process>(
            Tool("mosquitto_sub", broker, {"-i", name, "-q", "1", "-t", "p/#", "-F", "got %t %r %p %D"}));
        EXPECT_TRUE(broker.WaitForLog("Sending SUBACK to " + name));
        return process;
    }

    Testing::TemporaryFolder folder;
    Reports reports;
};

TEST_F(BrokerLinkTest, SaysThatTheSiteIsOnlineAndOfflineAtTheEnd) {
    const Testing::RunningBroker broker(folder, kAnyone);
    const auto subscriber = Subscriber(broker, "watcher");
    {
        const BrokerLink link(Settings(broker), reports);
        EXPECT_TRUE(subscriber->WaitForOutput("got p/hall/status 0 online"));
    }
    EXPECT_TRUE(subscriber->WaitForOutput("got p/hall/status 0 offline"));
    EXPECT_TRUE(Subscriber(broker, "late")->WaitForOutput("got p/hall/status 1 offline"));
}

TEST_F(BrokerLinkTest, ReportsWhatTheBrokerHas) {
    const Testing::RunningBroker broker(folder, kAnyone);
    const auto subscriber = Subscriber(broker, "watcher");
    BrokerLink link(Settings(broker), reports);
    ASSERT_EQ(reports.WaitFor("opened"), "opened");
    const auto number = link.Publish(reports.Connection(), {"p/hall/reply/desk", "done", 1, false, "", "c1"});
    EXPECT_EQ(reports.WaitFor("published"), "published " + std::to_string(number) + " 0");
    EXPECT_TRUE(subscriber->WaitForOutput("got p/hall/reply/desk 0 done c1")) << subscriber->Output();
}

TEST_F(BrokerLinkTest, ReportsCommandsAndWhetherTheyWereRetained) {
    const Testing::RunningBroker broker(folder, kAnyone);
    ASSERT_EQ(Send(broker, {"-t", "p/hall/command/old", "-m", "before", "-r"}), 0);
    const BrokerLink link(Settings(broker), reports);
    EXPECT_EQ(reports.WaitFor("p/hall/command/old"), "p/hall/command/old retained before  ");
    ASSERT_EQ(Send(broker, {"-t", "p/hall/command/new", "-m", "now", "-r"}), 0);
    EXPECT_EQ(reports.WaitFor("p/hall/command/new"), "p/hall/command/new retained now  ");
    ASSERT_EQ(Send(broker, {"-t", "p/hall/command/desk", "-m", "open", "-q", "1", "-D", "publish", "response-topic",
                            "p/hall/reply/desk", "-D", "publish", "correlation-data", "c1"}),
              0);
    EXPECT_EQ(reports.WaitFor("p/hall/command/desk"), "p/hall/command/desk open p/hall/reply/desk c1");
}

TEST_F(BrokerLinkTest, ComesBackAfterTheBrokerWasKilled) {
    Testing::RunningBroker broker(folder, kAnyone);
    BrokerLink link(Settings(broker), reports, kQuick);
    ASSERT_EQ(reports.WaitFor("opened"), "opened");
    const BrokerConnection first = reports.Connection();
    broker.Kill();
    EXPECT_THAT(reports.WaitFor("failed"), HasSubstr("refused"));
    broker.StartAgain();
    ASSERT_EQ(reports.WaitFor("opened", 2), "opened");
    EXPECT_THAT(reports.Lines(), ElementsAre("opened", StartsWith("lost: "), StartsWith("failed: "), "opened"));

    link.Publish(first, {"p/hall/reply/desk", "of the connection before"});
    const auto number = link.Publish(reports.Connection(), {"p/hall/reply/desk", "of this one"});
    EXPECT_EQ(reports.WaitFor("published"), "published " + std::to_string(number) + " 0");
}

TEST_F(BrokerLinkTest, EndsInTimeWhileTheBrokerHangs) {
    const Testing::RunningBroker broker(folder, kAnyone);
    auto link = std::make_unique<BrokerLink>(Settings(broker), reports);
    ASSERT_EQ(reports.WaitFor("opened"), "opened");
    broker.Signal(SIGSTOP);
    link->Publish(reports.Connection(), {"p/hall/reply/desk", "nobody takes it"});
    const auto before = std::chrono::steady_clock::now();
    link.reset();
    EXPECT_LE(std::chrono::steady_clock::now() - before, BrokerLink::kLongestEnd + seconds(1));
    broker.Signal(SIGCONT);
}

TEST_F(BrokerLinkTest, EndsInTimeWhileItsAddressDoesNotAnswer) {
    // Its backlog is full: the kernel drops what else arrives.
    const auto listening = Testing::LoopbackSocket::Listening(0);
    const auto waiting = Testing::LoopbackSocket::ConnectedTo(listening.Port());
    BrokerSettings settings;
    settings.host = "127.0.0.1";
    settings.port = static_cast<std::uint16_t>(listening.Port());
    settings.statusTopic = "p/hall/status";
    auto link = std::make_unique<BrokerLink>(settings, reports);
    ASSERT_TRUE(WaitUntil([&] { return IsConnectingTo(listening.Port()); }));
    const auto before = std::chrono::steady_clock::now();
    link.reset();
    EXPECT_LE(std::chrono::steady_clock::now() - before, BrokerLink::kLongestEnd + seconds(1));
    EXPECT_THAT(reports.Lines(), IsEmpty());
}

TEST_F(BrokerLinkTest, ReadsNoMoreThanItsOwnerTakes) {
    const Testing::RunningBroker broker(folder, kAnyone);
    BrokerLink link(Settings(broker), reports);
    ASSERT_EQ(reports.WaitFor("opened"), "opened");
    std::string lines;
    for (int i = 0; i < 1000; ++i) {
        lines += "flood " + std::to_string(i) + "\n";
    }
    Testing::ProcessSetup setup;
    setup.input = lines;
    ASSERT_EQ(
        Testing::RunToEnd(Tool("mosquitto_pub", broker, {"-q", "1", "-t", "p/hall/command/x", "-l"}), setup).status, 0);
    ASSERT_NE(reports.WaitFor("p/hall/command/x", BrokerLink::kMostUntaken), "");
    // One reading may bring several.
    EXPECT_LT(reports.Lines().size(), BrokerLink::kMostUntaken + 200);
    for (std::size_t taken = 0; taken < 1000; ++taken) {
        ASSERT_TRUE(WaitUntil([&] { return reports.Lines().size() > taken + 1; })) << taken;
        link.MessageTaken();
    }
    EXPECT_EQ(reports.Lines().back(), "p/hall/command/x flood 999  ");
}

TEST_F(BrokerLinkTest, AWrongPasswordIsSaidOnce) {
    const std::string passwords = folder.Write("passwords", "hall:right\n");
    Testing::RunToEnd({"mosquitto_passwd", "-U", passwords});
    const Testing::RunningBroker broker(folder, "allow_anonymous false\npassword_file " + passwords + "\n");
    BrokerSettings settings = Settings(broker);
    settings.user = "hall";
    settings.passwordFile = folder.Write("password", "wrong\n");
    {
        const BrokerLink link(settings, reports, kQuick);
        EXPECT_THAT(reports.WaitFor("failed"), HasSubstr("refuses the connection: "));
        const std::string trial = "New connection from ";
        EXPECT_TRUE(WaitUntil([&] {
            const std::string log = broker.Log();
            return log.find(trial, log.find(trial) + 1) < log.rfind(trial);
        })) << "no third trial: "
            << broker.Log();
        EXPECT_TRUE(WaitUntil([&] {
            folder.Write("password", "right\nno part of it\n");
            return !reports.Lines().empty() && reports.Lines().back() == "opened";
        }));
    }
    EXPECT_THAT(reports.Lines(), ElementsAre(StartsWith("failed: "), "opened"));
}

TEST_F(BrokerLinkTest, AMessageThatTheAccessListForbidsIsRefused) {
    const std::string list = folder.Write("acl", "topic write p/hall/status\ntopic read p/hall/command/#\n");
    const Testing::RunningBroker broker(folder, kAnyone + ("acl_file " + list + "\n"));
    BrokerLink link(Settings(broker), reports);
    ASSERT_EQ(reports.WaitFor("opened"), "opened");
    link.Publish(reports.Connection(), {"p/other/reply", "x"});
    EXPECT_EQ(reports.WaitFor("published"), "published 1 1");
    EXPECT_THAT(reports.Lines(), Contains(HasSubstr("refuses a message to \"p/other/reply\"")));
}

// An authority that has signed the broker's certificate for one name and that of this site.
struct EncryptedBrokerTest : BrokerLinkTest {
    EncryptedBrokerTest() {
        EXPECT_EQ(Testing::RunToEnd({CERTIFICATES_SCRIPT, File(""), "server", "localhost"}).status, 0);
        EXPECT_EQ(Testing::RunToEnd({CERTIFICATES_SCRIPT, File(""), "client", "hall"}).status, 0);
        broker.emplace(
            folder, "require_certificate true\nuse_identity_as_username true\nallow_anonymous false\ncafile " +
                        File("authority.crt") + "\ncertfile " + File("server.crt") + "\nkeyfile " + File("server.key") +
                        "\nacl_file " + folder.Write("acl", "pattern readwrite p/%u/#\n") + "\n");
    }

    std::string File(const std::string& name) const { return (folder.Path() / name).string(); }

    BrokerSettings TlsSettings() const {
        BrokerSettings settings = Settings(*broker);
        settings.host = "localhost";
        settings.authority = File("authority.crt");
        settings.certificate = File("clients/hall.crt");
        settings.key = File("clients/hall.key");
        return settings;
    }

    std::optional<Testing::RunningBroker> broker;
};

TEST_F(EncryptedBrokerTest, AClientCertificateLetsTheSiteIn) {
    BrokerLink link(TlsSettings(), reports);
    ASSERT_EQ(reports.WaitFor("opened"), "opened");
    link.Publish(reports.Connection(), {"p/hall/reply/desk", std::string(40000, 'x')});
    EXPECT_EQ(reports.WaitFor("published"), "published 1 0");
    EXPECT_EQ(Send(*broker,
                   {"-h", "localhost", "--cafile", File("authority.crt"), "--cert", File("clients/hall.crt"), "--key",
                    File("clients/hall.key"), "-t", "p/hall/command/desk", "-m", std::string(40000, 'y'), "-q", "1"}),
              0);
    EXPECT_THAT(reports.WaitFor("p/hall/command/desk"), HasSubstr(std::string(40000, 'y')));
}

TEST_F(EncryptedBrokerTest, AnotherHostsCertificateIsRefused) {
    BrokerSettings settings = TlsSettings();
    settings.host = "127.0.0.1";
    const BrokerLink link(settings, reports);
    EXPECT_THAT(reports.WaitFor("failed"), HasSubstr("certificate verify failed"));
}

TEST_F(EncryptedBrokerTest, ASilentBrokerKeepsNoCoreBusy) {
    Testing::LoopbackSocket silent = Testing::LoopbackSocket::Listening();
    BrokerSettings settings = TlsSettings();
    settings.port = static_cast<std::uint16_t>(silent.Port());
    const std::set<pid_t> others = Testing::ThreadsOf(getpid());
    const BrokerLink link(settings, reports);
    Testing::LoopbackSocket accepted = silent.Accept();
    ASSERT_EQ(accepted.Receive(1).size(), 1U) << "the handshake has begun";
    std::set<pid_t> linksOwn = Testing::ThreadsOf(getpid());
    for (const pid_t other : others) {
        linksOwn.erase(other);
    }
    ASSERT_THAT(linksOwn, testing::SizeIs(1));
    EXPECT_TRUE(WaitUntil([&] { return Testing::Sleeps(getpid(), *linksOwn.begin()); }));
}

TEST_F(EncryptedBrokerTest, AnotherAuthoritysBrokerIsRefused) {
    BrokerSettings settings = TlsSettings();
    EXPECT_EQ(Testing::RunToEnd({CERTIFICATES_SCRIPT, File("other"), "server", "localhost"}).status, 0);
    settings.authority = File("other/authority.crt");
    const BrokerLink link(settings, reports);
    EXPECT_THAT(reports.WaitFor("failed"), HasSubstr("certificate verify failed"));
}

TEST_F(EncryptedBrokerTest, WithoutACertificateThereIsNoConnection) {
    BrokerSettings settings = TlsSettings();
    settings.certificate.clear();
    settings.key.clear();
    const BrokerLink link(settings, reports);
    EXPECT_NE(reports.WaitFor("failed"), "");
}

TEST_F(EncryptedBrokerTest, AnUnreadableFileIsSaid) {
    BrokerSettings settings = TlsSettings();
    settings.key = File("no.key");
    const BrokerLink link(settings, reports);
    EXPECT_THAT(reports.WaitFor("failed"), HasSubstr("cannot be read"));
}

// A broker that nobody should have.
struct HostileBrokerTest : testing::Test {
    static BrokerSettings SettingsFor(const Testing::FakeBroker& broker) {
        BrokerSettings settings;
        settings.host = "127.0.0.1";
        settings.port = static_cast<std::uint16_t>(broker.Port());
        settings.statusTopic = "p/hall/status";
        settings.subscriptions = {"p/hall/command/+"};
        return settings;
    }

    Reports reports;
};

TEST_F(HostileBrokerTest, ALongMessageEndsTheConnectionAndIsHandedToNobody) {
    Testing::FakeBroker broker;
    broker.SendOnce(Testing::FakeBroker::Message("p/hall/command/x", std::string(65537, 'x')));
    const BrokerLink link(SettingsFor(broker), reports, kQuick);
    EXPECT_EQ(reports.WaitFor("lost"), "lost: it sent a message of 65537 bytes; the longest it may send has 65536");
    EXPECT_EQ(reports.WaitFor("opened", 2), "opened");
    EXPECT_EQ(reports.Lines().size(), 3U);
}

TEST_F(HostileBrokerTest, ALongMessageIsNotReadToItsEnd) {
    Testing::FakeBroker broker;
    broker.SendOnce(Testing::FakeBroker::BeginOfLongMessage());
    const BrokerLink link(SettingsFor(broker), reports, kQuick);
    EXPECT_EQ(reports.WaitFor("lost"), "lost: it sends a packet that is longer than the 65536 bytes that it may have");
    EXPECT_EQ(reports.WaitFor("opened", 2), "opened");
}

TEST_F(HostileBrokerTest, ManyShortPacketsAreNoLongOne) {
    Testing::FakeBroker broker;
    std::string flood;
    for (int i = 0; i < 200000; ++i) {
        // PINGRESP: none of these is reported.
        flood += std::string("\xD0\0", 2);
    }
    broker.SendOnce(flood + Testing::FakeBroker::Message("p/hall/command/x", "last"));
    const BrokerLink link(SettingsFor(broker), reports, kQuick);
    EXPECT_EQ(reports.WaitFor("p/hall/command/x"), "p/hall/command/x last  ");
    EXPECT_EQ(reports.Lines().size(), 2U);
}

TEST_F(HostileBrokerTest, MessagesThatWaitAreBoundedByTheirBytes) {
    Testing::FakeBroker broker;
    std::string flood;
    for (int i = 0; i < 200; ++i) {
        flood += Testing::FakeBroker::Message("p/hall/command/x", std::string(60000, 'x'));
    }
    broker.SendOnce(flood);
    BrokerLink link(SettingsFor(broker), reports, kQuick);
    constexpr std::size_t kFitting = BrokerLink::kMostUntakenBytes / 60000;
    ASSERT_NE(reports.WaitFor("p/hall/command/x", kFitting), "");
    link.MessageTaken();
    ASSERT_NE(reports.WaitFor("p/hall/command/x", kFitting + 1), "");
    EXPECT_FALSE(WaitUntil([&] { return reports.Lines().size() > kFitting + 20; }, milliseconds(500)));
}

// Has no memory for the first message.
struct PoorReports : Reports {
    void BrokerReceived(BrokerMessage message) override {
        if (!std::exchange(hasFailed, true)) {
            throw std::bad_alloc();
        }
        Reports::BrokerReceived(std::move(message));
    }
    bool hasFailed = false;
};

TEST_F(HostileBrokerTest, WithoutMemoryTheConnectionIsLostAndComesBack) {
    Testing::FakeBroker broker;
    broker.SendOnce(Testing::FakeBroker::Message("p/hall/command/x", "1"));
    PoorReports poor;
    const BrokerLink link(SettingsFor(broker), poor, kQuick);
    EXPECT_EQ(poor.WaitFor("lost"), "lost: there is not enough memory for it");
    EXPECT_EQ(poor.WaitFor("opened", 2), "opened");
}

TEST_F(HostileBrokerTest, WhatItDoesNotSupportIsRefusedAndSaid) {
    // Maximum QoS 0 (MQTT 5, 3.2.2.3.4).
    const Testing::FakeBroker broker(std::string("\x24\0", 2));
    BrokerLink link(SettingsFor(broker), reports, kQuick);
    ASSERT_EQ(reports.WaitFor("opened"), "opened");
    link.Publish(reports.Connection(), {"p/hall/reply/desk", "kept"});
    EXPECT_EQ(reports.WaitFor("published"), "published 1 1");
    EXPECT_THAT(reports.Lines(), Contains(HasSubstr("A message to \"p/hall/reply/desk\" cannot be sent: ")));
}

TEST_F(HostileBrokerTest, MessagesWithoutAnAcknowledgementDelayNoGoodbye) {
    // A broker on a busy machine may take longer than the second that a goodbye has.
    bool hasTakenLeave = false;
    for (int tries = 0; tries < 5 && !hasTakenLeave; ++tries) {
        const Testing::FakeBroker broker;
        Reports ofThisLink;
        {
            BrokerLink link(SettingsFor(broker), ofThisLink, kQuick);
            ASSERT_EQ(ofThisLink.WaitFor("opened"), "opened");
            link.Publish(ofThisLink.Connection(), {"p/hall/reply/desk", "too many commands", 0});
            ASSERT_EQ(ofThisLink.WaitFor("published"), "published 1 0");
        }
        constexpr unsigned kDisconnect = 14;
        hasTakenLeave = WaitUntil([&] { return broker.Count(kDisconnect) == 1; }, seconds(2));
    }
    EXPECT_TRUE(hasTakenLeave);
}

TEST_F(HostileBrokerTest, ASubscriptionThatCannotBeSentIsAFailure) {
    const Testing::FakeBroker broker;
    BrokerSettings settings = SettingsFor(broker);
    settings.subscriptions = {"p/#/not a filter"};
    const BrokerLink link(settings, reports, kQuick);
    EXPECT_NE(reports.WaitFor("failed"), "");
}

TEST(ReconnectDelaysTest, GrowUpToTheLongestAndAreScattered) {
    double random = 0.5;
    ReconnectDelays delays({seconds(1), seconds(5), seconds(60)}, [&random] { return random; });
    std::vector<milliseconds> times;
    for (int i = 0; i < 4; ++i) {
        times.push_back(delays.Next());
    }
    EXPECT_THAT(times, ElementsAre(seconds(1), seconds(2), seconds(4), seconds(5)));
    random = 0;
    EXPECT_EQ(delays.Next(), milliseconds(2500));
    random = 0.998;
    EXPECT_EQ(delays.Next(), milliseconds(7490));
}

TEST(ReconnectDelaysTest, OnlyAStableConnectionBeginsAnew) {
    ReconnectDelays delays({seconds(1), seconds(60), seconds(60)}, [] { return 0.5; });
    delays.Next();
    delays.Lasted(seconds(59));
    EXPECT_EQ(delays.Next(), seconds(2));
    delays.Lasted(seconds(60));
    EXPECT_EQ(delays.Next(), seconds(1));
}

}  // namespace
}  // namespace MuxProxy
