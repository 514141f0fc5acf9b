#include "messages/RequestPayloads.h"

#include <gtest/gtest.h>

#include "tests/messages/WireBytes.h"

// Expected bytes written by hand from the payload layout.

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::Serialized;

TEST(BrenkDeviceOnlyPayload, HasTheGivenDataTypeAndNoBytes) {
    for (const std::uint8_t dataType : Bytes{6, 7, 8}) {
        BrenkDeviceOnlyPayload payload(dataType);
        EXPECT_EQ(payload.DataType(), dataType);
        EXPECT_EQ(Serialized(payload), Bytes());
    }
}

}  // namespace
}  // namespace Brenk::Messages
