#include "mux/Clients.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/mux/MuxClient.h"
#include "tests/mux/RefusedBind.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/WaitUntil.h"

using Brenk::Net::ServerSocket;
using Testing::CapturedLog;
using Testing::MuxClient;
using Testing::RefusedBind;
using Testing::ReservedPort;
using Testing::WaitUntil;

namespace Mux {
namespace {

std::vector<unsigned char> JsonBytes() {
    const std::string text = "{\"MessageCode\":0}";
    return {text.begin(), text.end()};
}

TEST(Clients, HasNoneWithoutAServerSocket) {
    const Clients clients;
    EXPECT_FALSE(clients.IsOpened());
    EXPECT_TRUE(clients.Connected().empty());
    EXPECT_EQ(clients.IdentityOf(7).descriptor, 7);
    EXPECT_EQ(clients.IdentityOf(7).serial, 0U);
    EXPECT_FALSE(clients.Send({7, 0}, JsonBytes()));
}

TEST(Clients, ReachesWhoIsConnectedAndNobodyAfterItIsClosed) {
    const ReservedPort port;
    Clients clients;
    ASSERT_TRUE(clients.Open(std::make_unique<ServerSocket>(port.Number())));
    MuxClient client(port.Number());
    ASSERT_TRUE(WaitUntil([&] { return clients.Connected().size() == 1; }));
    const Brenk::Net::ClientIdentity identity = clients.Connected().front();
    EXPECT_EQ(clients.IdentityOf(identity.descriptor).serial, identity.serial);
    EXPECT_TRUE(clients.Send(identity, JsonBytes()));
    EXPECT_EQ(client.Receive(), "{\"MessageCode\":0}");
    EXPECT_FALSE(clients.Send({identity.descriptor, identity.serial + 1}, JsonBytes()));
    clients.Close();
    EXPECT_FALSE(clients.IsOpened());
    EXPECT_TRUE(clients.Connected().empty());
    EXPECT_FALSE(clients.Send(identity, JsonBytes()));
}

TEST(Clients, IsOpenedOnceThoughThePortIsTaken) {
    const CapturedLog log;
    const RefusedBind refused;
    Clients clients;
    EXPECT_FALSE(clients.Open(std::make_unique<ServerSocket>(5555)));
    EXPECT_TRUE(clients.IsOpened());
    EXPECT_EQ(refused.Port(), 5555);
    EXPECT_EQ(log.Count(plog::error, "Error detected on socket. Initialization. Shutdown Mux."), 1);
}

}  // namespace
}  // namespace Mux
