// Configuration files that make no gateways, some, or twins.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/Exchange.h"
#include "tests/system/support/LogLines.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/Sanitized.h"
#include "tests/system/support/SideBySide.h"

namespace SystemTest {
namespace {

struct FileRow {
    const char* name;
    const char* content;
    ExpectedLine logged;
};

const std::string kInvalid = "Cannot parse JSON configuration. Invalid data.";
const std::string kNotEnabled = "Mux is not enabled.";

const std::vector<FileRow> kWithoutGateways = {
    {"empty file", "", {"ERROR", kInvalid}},
    {"cut off", R"({"Enabled":true,"Gateways":[)", {"ERROR", kInvalid}},
    {"not enabled",
     R"({"Enabled":false,"Gateways":[{"ID":1,"IpAddress":"127.0.0.1","Port":1}]})",
     {"WARN", kNotEnabled}},
    {"a root that is an array", "[]", {"WARN", kNotEnabled}},
    {"no gateways", R"({"Enabled":true,"Gateways":[]})", {"INFO", "Start configure gateways."}},
    {"gateways that are no array", R"({"Enabled":true,"Gateways":{}})", {"INFO", "Start configure gateways."}},
    {"a gateway without address",
     R"({"Enabled":true,"Gateways":[{"ID":1,"Port":2101}]})",
     {"ERROR", "Cannot create gateway with ID 1. Null or empty object"}},
    {"a gateway without port",
     R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"127.0.0.1"}]})",
     {"ERROR", "Cannot create gateway with ID 1. Invalid argument found"}},
};

// Runs on, and refuses every request.
void ExpectNoGateways(const std::string& file, const ExpectedLine& logged) {
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port, {"--configFile", file}));
    TestClient client(port.Number());
    const std::time_t from = std::time(nullptr);
    client.Send(R"({"MessageID":"a","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})");
    ExpectMessage(client.Receive(), "a", Refusal(), from);
    EXPECT_TRUE(mux.WaitFor("Sending message answer with ID a"));
    ExpectInOrder(mux.Lines(), {{"INFO", "Reading configuration JSON data from file " + file}, logged});
    EXPECT_TRUE(mux.IsRunning());
}

TEST(ConfigurationFile, WithoutAUsableGatewayLeavesTheMuxRunning) {
    ForEachSideBySide(kWithoutGateways, [](const FileRow& row) {
        SCOPED_TRACE(row.name);
        const Testing::TemporaryFolder folder;
        ExpectNoGateways(folder.Write("mux.json", row.content), row.logged);
    });
}

TEST(ConfigurationFile, ThatCannotBeReadLeavesTheMuxRunning) {
    const Testing::TemporaryFolder folder;
    const std::string missing = (folder.Path() / "missing.json").string();
    ExpectNoGateways(missing, {"ERROR", "Cannot read configuration JSON data from file " + missing});
    ExpectNoGateways(folder.Path().string(),
                     {"ERROR", "Cannot read configuration JSON data from file " + folder.Path().string()});
}

// The most memory that a process had at any time, in kB.
unsigned long PeakOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    std::string word;
    while (file >> word && word != "VmHWM:") {
    }
    unsigned long peak = 0;
    file >> peak;
    return peak;
}

TEST(ConfigurationFile, OfMoreThan64MebibytesCannotBeRead) {
    const Testing::TemporaryFolder folder;
    const std::string large = folder.Write("mux.json", R"({"Enabled":false})");
    std::filesystem::resize_file(large, 64UL * 1024 * 1024 + 1);
    ExpectNoGateways(large, {"ERROR", "Cannot read configuration JSON data from file " + large});
}

TEST(ConfigurationFile, WithoutAnEndCannotBeReadAndTakesLittleMemory) {
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port, {"--configFile", "/dev/zero"}));
    ASSERT_TRUE(mux.WaitFor("Cannot read configuration JSON data from file /dev/zero"));
    ASSERT_TRUE(mux.WaitFor("Mux ended initialization process."));
    if (!kIsSanitized) {
        EXPECT_LT(PeakOf(mux.Id()), 150U * 1024);
    }
}

TEST(ConfigurationFile, ThatIsAPipeIsRead) {
    const Testing::TemporaryFolder folder;
    const std::string pipe = (folder.Path() / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port, {"--configFile", pipe}));
    std::ofstream(pipe) << R"({"Enabled":false})";
    EXPECT_TRUE(mux.WaitFor(kNotEnabled));
}

std::string Gateway(int id, std::uint16_t port) {
    return R"({"ID":)" + std::to_string(id) + R"(,"IpAddress":"127.0.0.1","Port":)" + std::to_string(port) + "}";
}

// Tells the Mux of two gateways, and asks it for gateway 3.
class TwoGateways : public testing::Test {
  protected:
    void Start(const std::string& firstEntry, const std::string& secondEntry) {
        mux_ = std::make_unique<MuxProcess>(std::vector<std::string>{
            "--port", "--port=" + std::to_string(port_.Number()), "--configFile",
            folder_.Write("mux.json", R"({"Enabled":true,"Gateways":[)" + firstEntry + "," + secondEntry + "]}")});
    }

    bool AreBothReady(std::size_t answers) const {
        return Testing::WaitUntil(
            [&] {
                return mux_->Count("Received new sequence number.") + mux_->Count("The message is lost") >= answers;
            },
            kDeadline);
    }

    void ExpectAnswer() {
        TestClient client(port_.Number());
        const std::time_t from = std::time(nullptr);
        client.Send(R"({"MessageID":"a","MessageCode":14,"Data":{"gatewayID":3,"lockID":5}})");
        ExpectMessage(client.Receive(), "a", Ack(), from);
    }

    static std::unique_ptr<Simulator::GatewaySimulator> NewGateway() {
        Simulator::SimulatorOptions options;
        options.locks = {5};
        auto gateway = std::make_unique<Simulator::GatewaySimulator>(options);
        gateway->Start();
        return gateway;
    }

    std::unique_ptr<Simulator::GatewaySimulator> first_ = NewGateway();
    std::unique_ptr<Simulator::GatewaySimulator> second_ = NewGateway();
    Testing::ReservedPort port_;
    Testing::TemporaryFolder folder_;
    std::unique_ptr<MuxProcess> mux_;
};

TEST_F(TwoGateways, OfOneIdAreBothConnectedAndTheFirstGetsTheRequests) {
    Start(Gateway(3, first_->Port()), Gateway(3, second_->Port()));
    ASSERT_TRUE(AreBothReady(4));
    ASSERT_TRUE(first_->WaitForFrames(2));
    ASSERT_TRUE(second_->WaitForFrames(2));
    ExpectAnswer();
    EXPECT_EQ(first_->ReceivedFrames().size(), 3U);
    EXPECT_EQ(second_->ReceivedFrames().size(), 2U);
}

TEST_F(TwoGateways, OfWhichOneIsUnusableLeaveTheOtherAtWork) {
    Start(Gateway(3, 0), Gateway(3, second_->Port()));
    ASSERT_TRUE(AreBothReady(2));
    EXPECT_EQ(mux_->Count("Cannot create gateway with ID 3. Invalid argument found"), 1U);
    ExpectAnswer();
    EXPECT_EQ(first_->ConnectionCount(), 0U);
}

}  // namespace
}  // namespace SystemTest
