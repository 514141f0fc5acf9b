#include "proxy/configuration/MuxLocks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "proxy/configuration/ConfigurationReader.h"
#include "tests/support/TemporaryFolder.h"

namespace MuxProxy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct MuxLocksTest : testing::Test {
    // Gateway, lock and names of each.
    std::vector<std::string> Read(const std::string& text) {
        const std::string file = (folder.Path() / "mux.json").string();
        std::ofstream(file) << text;
        locks = ReadMuxLocks(file);
        std::vector<std::string> texts;
        for (const MuxLock& lock : locks) {
            texts.push_back(std::to_string(lock.address.gateway) + "/" + std::to_string(lock.address.lock) + " " +
                            lock.gatewayName + ", " + lock.name);
        }
        return texts;
    }

    Testing::TemporaryFolder folder;
    MuxLocks locks;
};

TEST_F(MuxLocksTest, HaveNumbersAndNamesInTheOrderOfTheFile) {
    EXPECT_THAT(Read(R"({"Gateways":[{"ID":2,"Description":"Hall","Devices":[{"ID":70000,"Name":"Front"},{"ID":-5}]},)"
                     R"({"ID":1,"Devices":[{"ID":5,"Name":7}]}]})"),
                ElementsAre("2/70000 Hall, Front", "2/-5 Hall, ", "1/5 , "));
}

TEST_F(MuxLocksTest, OfTwoWithTheSameNumbersTheFirstCounts) {
    EXPECT_THAT(Read(R"({"Gateways":[{"ID":1,"Devices":[{"ID":5,"Name":"a"},{"ID":5,"Name":"b"}]},)"
                     R"({"ID":1,"Devices":[{"ID":5,"Name":"c"}]},{"ID":2,"Devices":[{"ID":5,"Name":"d"}]}]})"),
                ElementsAre("1/5 , a", "2/5 , d"));
}

TEST_F(MuxLocksTest, WhatHasNoNumberIsLeftOut) {
    EXPECT_THAT(Read(R"({"Gateways":[{"Devices":[{"ID":5}]},{"ID":"1","Devices":[{"ID":5}]},7,{"ID":3},)"
                     R"({"ID":2,"Devices":[{"ID":4294967296},{"ID":1.5},{},"x"]},{"ID":4,"Devices":{"ID":5}}]})"),
                IsEmpty());
    EXPECT_THAT(Read("[]"), IsEmpty());
}

TEST_F(MuxLocksTest, AFileThatCannotBeReadIsAnError) {
    EXPECT_THROW(Read("{"), ConfigurationError);
    EXPECT_THROW(ReadMuxLocks((folder.Path() / "missing.json").string()), ConfigurationError);
}

TEST_F(MuxLocksTest, AreFoundByLowBitsIfThereIsExactlyOne) {
    Read(R"({"Gateways":[{"ID":1,"Devices":[{"ID":70000},{"ID":5},{"ID":65541},{"ID":-1}]},)"
         R"({"ID":2,"Devices":[{"ID":4464}]}]})");
    EXPECT_EQ(LockByLowBits(locks, 1, 4464), 70000);
    EXPECT_EQ(LockByLowBits(locks, 2, 4464), 4464);
    EXPECT_EQ(LockByLowBits(locks, 1, 65535), -1);
    EXPECT_EQ(LockByLowBits(locks, 1, 5), std::nullopt);
    EXPECT_EQ(LockByLowBits(locks, 1, 6), std::nullopt);
}

}  // namespace
}  // namespace MuxProxy
