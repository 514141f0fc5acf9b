#include "net/ClientTable.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/support/CapturedLog.h"

namespace Brenk::Net {
namespace {

class ClientTableTest : public testing::Test {
  protected:
    // One that is listed.
    ClientPointer Add() {
        ClientPointer client = table_.NewClient(open("/dev/null", O_RDONLY | O_CLOEXEC));
        table_.Add(client);
        return client;
    }

    Testing::CapturedLog log_;
    ClientTable table_;
};

TEST_F(ClientTableTest, GivesEachClientASerialNumberOfItsOwnFrom1On) {
    EXPECT_EQ(Add()->Identity().serial, 1U);
    EXPECT_EQ(Add()->Identity().serial, 2U);
}

TEST_F(ClientTableTest, FindsNobodyUnderAnotherSerialNumber) {
    const ClientPointer client = Add();
    EXPECT_EQ(table_.Find(client->Identity()), client);
    EXPECT_EQ(table_.Find(ClientIdentity{client->Descriptor(), 2}), nullptr);
    EXPECT_EQ(table_.Find(client->Descriptor()), client);
}

TEST_F(ClientTableTest, FindsNobodyWhoWasRemoved) {
    const ClientPointer client = Add();
    EXPECT_TRUE(table_.Remove(client));
    EXPECT_FALSE(table_.Remove(client));
    EXPECT_EQ(table_.Find(client->Identity()), nullptr);
    EXPECT_TRUE(table_.Identities().empty());
}

TEST_F(ClientTableTest, IsCopiedOnlyWhenSomebodyHasComeOrGone) {
    const ClientPointer client = Add();
    std::vector<ClientPointer> copy;
    const std::uint64_t version = table_.CopyNewer(0, copy);
    EXPECT_EQ(copy, std::vector<ClientPointer>{client});
    copy.clear();
    EXPECT_EQ(table_.CopyNewer(version, copy), version);
    EXPECT_TRUE(copy.empty());
    table_.Remove(client);
    copy.push_back(client);
    EXPECT_NE(table_.CopyNewer(version, copy), version);
    EXPECT_TRUE(copy.empty());
}

}  // namespace
}  // namespace Brenk::Net
