#include "messages/RequestPayloads.h"

#include <gtest/gtest.h>

#include "tests/messages/WireBytes.h"

// Expected bytes written by hand from the payload layout.

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::Serialized;

TEST(BrenkAccessDenied, HasDataType0DAndNoBytes) {
    BrenkAccessDenied payload;
    EXPECT_EQ(payload.DataType(), 0x0D);
    EXPECT_EQ(Serialized(payload), Bytes());
}

}  // namespace
}  // namespace Brenk::Messages
