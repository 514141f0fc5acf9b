// JSON that is not what it must be ends the process like any other crash.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/system/support/CrashLog.h"
#include "tests/system/support/FakeDumpTool.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/SideBySide.h"

namespace SystemTest {
namespace {

struct JsonRow {
    const char* name;
    const char* json;
};

const std::vector<JsonRow> kFatalMessages = {
    {"root is an array", "[]"},
    {"root is a text", R"("MessageCode")"},
    {"root is a number", "5"},
    {"root is null", "null"},
    {"time stamp with a fraction", R"({"Timestamp":1.5,"MessageCode":3})"},
    {"time stamp beyond 64 bits", R"({"Timestamp":9223372036854775808,"MessageCode":3})"},
    {"code with a fraction", R"({"MessageCode":10.5})"},
    {"code beyond 32 bits", R"({"MessageCode":2147483648})"},
    {"open without gateway ID", R"({"MessageCode":10,"Data":{"lockID":5}})"},
    {"open without lock ID", R"({"MessageCode":10,"Data":{"gatewayID":1}})"},
    {"open with nothing", R"({"MessageCode":10,"Data":{}})"},
    {"close without gateway ID", R"({"MessageCode":11,"Data":{"lockID":5}})"},
    {"status without lock ID", R"({"MessageCode":12,"Data":{"gatewayID":1}})"},
    {"open and close without duration", R"({"MessageCode":13,"Data":{"gatewayID":1,"lockID":5}})"},
    {"duration with a fraction", R"({"MessageCode":13,"Data":{"gatewayID":1,"lockID":5,"duration":1.5}})"},
    {"duration below 0", R"({"MessageCode":113,"Data":{"gatewayID":1,"lockID":5,"duration":-1}})"},
    {"access denied without gateway ID", R"({"MessageCode":14,"Data":{"lockID":5}})"},
    {"clear without lock ID", R"({"MessageCode":22,"Data":{"gatewayID":1}})"},
    {"enable without gateway ID", R"({"MessageCode":23,"Data":{"lockID":5}})"},
    {"disable without gateway ID", R"({"MessageCode":24,"Data":{"lockID":5}})"},
    {"response without lock ID", R"({"MessageCode":110,"Data":{"gatewayID":1}})"},
    {"keys in another case", R"({"MessageCode":114,"Data":{"GatewayID":1,"LockID":5}})"},
    {"gateway ID with a fraction", R"({"MessageCode":10,"Data":{"gatewayID":1.0,"lockID":5}})"},
    {"gateway ID beyond 32 bits", R"({"MessageCode":10,"Data":{"gatewayID":2147483648,"lockID":5}})"},
    {"lock ID beyond 32 bits", R"({"MessageCode":10,"Data":{"gatewayID":1,"lockID":4294967295}})"},
    {"lock ID of a card beyond 32 bits", R"({"MessageCode":21,"Data":{"gatewayID":1,"lockID":1e10,"cardData":"1"}})"},
    {"gateway ID of a card with a fraction",
     R"({"MessageCode":25,"Data":{"gatewayID":1.5,"lockID":5,"cardData":"1"}})"},
};

void ExpectMessageIsFatal(const JsonRow& row) {
    SCOPED_TRACE(row.name);
    const FakeDumpTool tool;
    SystemSetup setup = WithGateways({});
    setup.environment = tool.Environment();
    MuxSystem system(setup);
    const TestClient client = system.NewClient();
    client.Send(row.json);
    EXPECT_EQ(system.Mux().WaitForEnd(), "status 255");
    ExpectCrashLog(system.Mux(), tool);
}

TEST(Assertions, InAClientsMessageEndTheProcess) {
    ForEachSideBySide(kFatalMessages, ExpectMessageIsFatal);
}

const std::vector<JsonRow> kFatalConfigurations = {
    {"gateway ID with a fraction", R"({"Enabled":true,"Gateways":[{"ID":1.5}]})"},
    {"gateway ID beyond 32 bits", R"({"Enabled":true,"Gateways":[{"ID":3000000000}]})"},
    {"port with a fraction", R"({"Enabled":true,"Gateways":[{"ID":1,"Port":2101.5}]})"},
    {"port beyond 32 bits", R"({"Enabled":true,"Gateways":[{"ID":1,"Port":-2147483649}]})"},
    {"device ID with a fraction", R"({"Enabled":true,"Gateways":[{"ID":1,"Devices":[{"ID":0.5}]}]})"},
    {"gateway that is no object", R"({"Enabled":true,"Gateways":[5]})"},
    {"gateway that is an array", R"({"Enabled":false,"Gateways":[[]]})"},
    {"device that is no object", R"({"Enabled":true,"Gateways":[{"ID":1,"Devices":["Door"]}]})"},
};

void ExpectConfigurationIsFatal(const JsonRow& row) {
    SCOPED_TRACE(row.name);
    const FakeDumpTool tool;
    const Testing::TemporaryFolder folder;
    MuxProcess mux({"--configFile", folder.Write("mux.json", row.json)}, tool.Environment());
    EXPECT_EQ(mux.WaitForEnd(), "status 255");
    ExpectCrashLog(mux, tool);
    EXPECT_EQ(mux.Count("Main thread spawned."), 0U);
}

TEST(Assertions, InTheConfigurationFileEndTheProcessBeforeItStarts) {
    ForEachSideBySide(kFatalConfigurations, ExpectConfigurationIsFatal);
}

}  // namespace
}  // namespace SystemTest
