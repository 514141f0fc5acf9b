#include "net/ClientTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "net/ClientList.h"
#include "tests/support/CapturedLog.h"

namespace Brenk::Net {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Numbers that no open descriptor has: the list only compares them.
constexpr int kNumber = 1000001;
constexpr int kOtherNumber = 1000002;

ClientPointer NewClient(int descriptor, std::uint64_t serial) {
    static OutputBudget budget;
    return std::make_shared<ClientConnection>(descriptor, serial, budget);
}

std::vector<std::uint64_t> SerialsIn(const ClientList& list) {
    std::vector<std::uint64_t> serials;
    for (const ClientIdentity& client : list.Identities()) {
        serials.push_back(client.serial);
    }
    return serials;
}

TEST(ClientList, FindsClientsByTheirNumberAndKeepsTheOrderInWhichTheyCame) {
    const ClientPointer first = NewClient(kOtherNumber, 2);
    const ClientPointer second = NewClient(kNumber, 1);
    ClientList list;
    list.Add(first);
    list.Add(second);
    EXPECT_THAT(SerialsIn(list), ElementsAre(2, 1));
    std::vector<ClientPointer> copy = {second};
    list.CopyTo(copy);
    EXPECT_THAT(copy, ElementsAre(first, second));
    EXPECT_EQ(list.Find(kNumber), second);
    EXPECT_EQ(list.Find(kOtherNumber), first);
    EXPECT_EQ(list.Find(kOtherNumber + 1), nullptr);
}

TEST(ClientList, RemovesExactlyTheClientThatIsGiven) {
    const ClientPointer client = NewClient(kNumber, 1);
    const ClientPointer other = NewClient(kOtherNumber, 2);
    ClientList list;
    list.Add(client);
    list.Add(other);
    EXPECT_FALSE(list.Remove(nullptr));
    EXPECT_FALSE(list.Remove(NewClient(kNumber, 3)));
    EXPECT_EQ(list.Find(kNumber), client);
    EXPECT_TRUE(list.Remove(client));
    EXPECT_EQ(list.Find(kNumber), nullptr);
    EXPECT_THAT(SerialsIn(list), ElementsAre(2));
    EXPECT_FALSE(list.Remove(client)) << "it has gone";
    EXPECT_TRUE(list.Remove(other));
    EXPECT_THAT(SerialsIn(list), IsEmpty());
}

TEST(ClientTable, FindsAClientOnlyUnderItsOwnSerialNumberWhileItIsListed) {
    const Testing::CapturedLog log;
    ClientTable table;
    const ClientPointer client = table.NewClient(kNumber);
    table.Add(client);
    EXPECT_EQ(client->Identity().serial, 1U);
    EXPECT_EQ(table.NewClient(kOtherNumber)->Identity().serial, 2U);
    EXPECT_EQ(table.Find(client->Identity()), client);
    EXPECT_EQ(table.Find(ClientIdentity{kNumber, 2}), nullptr);
    EXPECT_EQ(table.Find(kNumber), client);
    EXPECT_TRUE(table.Remove(client));
    EXPECT_FALSE(table.Remove(client));
    EXPECT_EQ(table.Find(client->Identity()), nullptr);
}

TEST(ClientTable, IsCopiedOnlyWhenSomebodyHasComeOrGone) {
    const Testing::CapturedLog log;
    ClientTable table;
    const ClientPointer client = table.NewClient(kNumber);
    table.Add(client);
    std::vector<ClientPointer> copy;
    const std::uint64_t version = table.CopyNewer(0, copy);
    EXPECT_THAT(copy, ElementsAre(client));
    copy.clear();
    EXPECT_EQ(table.CopyNewer(version, copy), version);
    EXPECT_THAT(copy, IsEmpty());
    table.Remove(client);
    copy.push_back(client);
    const std::uint64_t without = table.CopyNewer(version, copy);
    EXPECT_NE(without, version);
    EXPECT_THAT(copy, IsEmpty());
    table.Remove(client);
    EXPECT_EQ(table.CopyNewer(without, copy), without) << "it had gone before";
}

}  // namespace
}  // namespace Brenk::Net
