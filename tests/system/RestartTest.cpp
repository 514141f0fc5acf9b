// A Mux that was killed comes back at once: its clients try to connect again within a second.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/system/support/Exchange.h"
#include "tests/system/support/MuxProcess.h"
#include "tests/system/support/TestClient.h"

namespace SystemTest {
namespace {

// Nothing else may hold the port meanwhile: a socket that shares it would let the Mux share it too.
std::uint16_t FreePort() {
    return Testing::ReservedPort().Number();
}

TEST(Restart, AfterAKillListensAtOnceThoughOldConnectionsAreNotYetGone) {
    const std::uint16_t port = FreePort();
    const std::vector<std::string> arguments = {"--port", "--port=" + std::to_string(port)};
    MuxProcess killed(arguments);
    TestClient old(port);
    ExpectServed(old);
    killed.Signal(SIGKILL);
    ASSERT_EQ(killed.WaitForEnd(), "signal 9");
    // Its end of this connection stays with the kernel as long as the client does not close.
    MuxProcess restarted(arguments);
    ASSERT_TRUE(restarted.WaitFor("Accept loop thread spawned."));
    TestClient client(port);
    ExpectServed(client);
    EXPECT_EQ(old.Receive(), "(closed)");
}

}  // namespace
}  // namespace SystemTest
