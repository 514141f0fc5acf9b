#include "net/ClientList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

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

class ClientListTest : public testing::Test {
  protected:
    std::vector<std::uint64_t> Serials() const {
        std::vector<std::uint64_t> serials;
        for (const ClientIdentity& client : list_.Identities()) {
            serials.push_back(client.serial);
        }
        return serials;
    }

    const ClientPointer client_ = NewClient(kNumber, 1);
    const ClientPointer other_ = NewClient(kOtherNumber, 2);
    ClientList list_;
};

TEST_F(ClientListTest, KeepsTheOrderInWhichTheClientsCame) {
    list_.Add(other_);
    list_.Add(client_);
    EXPECT_THAT(Serials(), ElementsAre(2, 1));
    std::vector<ClientPointer> copy = {client_};
    list_.CopyTo(copy);
    EXPECT_THAT(copy, ElementsAre(other_, client_));
}

TEST_F(ClientListTest, HasAnotherVersionWheneverAClientHasComeOrGone) {
    std::set<std::uint64_t> versions = {0, list_.Version()};
    list_.Add(client_);
    EXPECT_TRUE(versions.insert(list_.Version()).second);
    list_.Add(other_);
    EXPECT_TRUE(versions.insert(list_.Version()).second);
    list_.Remove(client_);
    EXPECT_TRUE(versions.insert(list_.Version()).second);
    list_.Remove(client_);
    EXPECT_FALSE(versions.insert(list_.Version()).second);
}

TEST_F(ClientListTest, FindsAClientByItsDescriptorNumber) {
    list_.Add(client_);
    list_.Add(other_);
    EXPECT_EQ(list_.Find(kNumber), client_);
    EXPECT_EQ(list_.Find(kOtherNumber), other_);
    EXPECT_EQ(list_.Find(kOtherNumber + 1), nullptr);
    EXPECT_EQ(list_.Identities().at(1).descriptor, kOtherNumber);
}

TEST_F(ClientListTest, ARemovedClientIsNotFoundAnyMoreAndTheOthersStay) {
    list_.Add(client_);
    list_.Add(other_);
    EXPECT_TRUE(list_.Remove(client_));
    EXPECT_EQ(list_.Find(kNumber), nullptr);
    EXPECT_THAT(Serials(), ElementsAre(2));
    EXPECT_FALSE(list_.Remove(client_)) << "it has gone";
    EXPECT_TRUE(list_.Remove(other_));
    EXPECT_THAT(Serials(), IsEmpty());
}

TEST_F(ClientListTest, RemovesNobodyElseInPlaceOfAClientThatIsNotThere) {
    list_.Add(client_);
    EXPECT_FALSE(list_.Remove(nullptr));
    EXPECT_FALSE(list_.Remove(NewClient(kNumber, 3)));
    EXPECT_THAT(Serials(), ElementsAre(1));
    EXPECT_EQ(list_.Find(kNumber), client_);
}

}  // namespace
}  // namespace Brenk::Net
