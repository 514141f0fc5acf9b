#include "mux/messages/MuxMessagePayloadBase.h"

#include <gtest/gtest.h>

#include "tests/mux/messages/VirtualSlot.h"

using Testing::VirtualSlot;

namespace Mux {
namespace {

TEST(MuxMessagePayloadBase, HasNoTextAndNoObject) {
    MuxMessagePayloadBase payload;
    rapidjson::Document document;
    EXPECT_EQ(payload.ToJSON(), "");
    EXPECT_EQ(payload.ToJSONObject(&document), nullptr);
    EXPECT_EQ(payload.ToJSONObject(nullptr), nullptr);
}

// Behind the two destructors.
TEST(MuxMessagePayloadBase, HasItsTextInTheThirdSlotOfItsVirtualTableAndItsObjectInTheFourth) {
    EXPECT_EQ(VirtualSlot(&MuxMessagePayloadBase::ToJSON), 3U);
    EXPECT_EQ(VirtualSlot(&MuxMessagePayloadBase::ToJSONObject), 4U);
}

// Writes a value that a derived class makes.
class PayloadOfANumber : public MuxMessagePayloadBase {
  public:
    rapidjson::Value* ToJSONObject(rapidjson::Document* /*document*/) override { return new rapidjson::Value(7); }
};

TEST(MuxMessagePayloadBase, WritesTheObjectOfADerivedClassAsItsText) {
    PayloadOfANumber derived;
    MuxMessagePayloadBase& payload = derived;
    EXPECT_EQ(payload.ToJSON(), "7");
}

}  // namespace
}  // namespace Mux
