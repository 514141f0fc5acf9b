#include "messages/BrenkMessage.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/messages/WireBytes.h"

// Expected bytes written by hand from the payload layout.

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::FromHex;
using Testing::Serialized;

TEST(BrenkMessagePayload, HasDataTypeZeroAndNoBytes) {
    BrenkMessagePayload payload;
    EXPECT_EQ(payload.DataType(), 0);
    EXPECT_EQ(Serialized(payload), Bytes());
}

// Sends what an overriding payload says, marked as it says.
class PayloadOfTwoBytes : public BrenkMessagePayload {
  public:
    PayloadOfTwoBytes() : BrenkMessagePayload(0xFF) {}
    std::vector<unsigned char>* Serialize() override { return new std::vector<unsigned char>{0xAB, 0xCD}; }
};

TEST(BrenkMessagePayload, ADerivedClassGivesItsOwnDataTypeAndBytesThroughTheBase) {
    PayloadOfTwoBytes derived;
    BrenkMessagePayload& payload = derived;
    EXPECT_EQ(payload.DataType(), 0xFF);
    EXPECT_EQ(Serialized(payload), FromHex("AB CD"));
}

TEST(BrenkMessagePayload, GivesANewVectorAtEveryCall) {
    BrenkMessagePayload payload;
    const std::unique_ptr<Bytes> first(payload.Serialize());
    const std::unique_ptr<Bytes> second(payload.Serialize());
    EXPECT_NE(first.get(), second.get());
}

}  // namespace
}  // namespace Brenk::Messages
