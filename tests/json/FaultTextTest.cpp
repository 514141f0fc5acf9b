#include "json/FaultText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Json {
namespace {

using testing::StartsWith;

TEST(FaultText, IsAPositionCountedFromOneAndTheLibrarysWords) {
    EXPECT_EQ(FaultText("{\n  \"a\"1\n}"),
              "is not JSON: line 2, column 6: Missing a colon after a name of object member.");
    EXPECT_THAT(FaultText(""), StartsWith("is not JSON: line 1, column 1: "));
    EXPECT_EQ(FaultText(std::string("{}\n \0{}", 7)), "is not JSON: line 2, column 2: A NUL character.");
    // Behind a number that the library cannot convert.
    EXPECT_THAT(FaultText(R"({"a":1e-99999999999)"), StartsWith("is not JSON: line 1, column 20: "));
}

}  // namespace
}  // namespace Json
