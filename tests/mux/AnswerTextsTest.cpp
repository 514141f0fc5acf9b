#include "mux/AnswerBuilder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace Mux {
namespace {

struct Texts {
    std::uint32_t responseCode;
    const char* longText;  // for lock 17 on gateway 3
    const char* shortText;
};

constexpr Texts kTexts[] = {
    {1, "The gateway answered with an unhandled error code 1 for the device with address 17 on gateway 3",
     "Unhandled error code or unknown error."},
    {2, "Already in whitelist for device address 17 on gateway 3", "Already in whitelist."},
    {3, "Whitelist full for device address 17 on gateway 3", "Whitelist full."},
    {4, "Not in whitelist for device address 17 on gateway 3", "Not in whitelist."},
    {5, "", ""},
    {6, "Request not supported for device address 17 on gateway 3", "Request not supported."},
    {7, "The gateway answered with an unhandled error code 7 for the device with address 17 on gateway 3",
     "Unhandled error code or unknown error."},
    {8, "No route for device address 17 on gateway 3", "No route for the requested device. "},
    {9, "Datalength mismatch the actual lock configuration.", "Datalength mismatch for the request message."},
    {10, "Request message unexpected for device address 17 on gateway 3", "Request message unexpected."},
    {11, "Setup number mismatch", "Setup number mismatch."},
    {12,
     "System inconsistancy for device address 17 on gateway 3. Check for LN, PHI or other key indexes that doesn't "
     "match the current configuration.",
     "System inconsistancy for the request message."},
    {13, "The gateway answered with an unhandled error code 13 for the device with address 17 on gateway 3",
     "Unhandled error code or unknown error."},
    {200, "The gateway answered with an unhandled error code 200 for the device with address 17 on gateway 3",
     "Unhandled error code or unknown error."},
};

TEST(AnswerTexts, AreTheLongOnesOfLockOperations) {
    for (const Texts& expected : kTexts) {
        EXPECT_EQ(LongErrorText(expected.responseCode, 17, 3), expected.longText) << expected.responseCode;
    }
}

TEST(AnswerTexts, AreTheShortOnesOfAllOtherRequests) {
    for (const Texts& expected : kTexts) {
        EXPECT_EQ(ShortErrorText(expected.responseCode), expected.shortText) << expected.responseCode;
    }
}

TEST(AnswerTexts, SetupNumberMismatchEndsInAFullStopOnlyInTheShortForm) {
    EXPECT_EQ(LongErrorText(11, 1, 1), "Setup number mismatch");
    EXPECT_EQ(ShortErrorText(11), "Setup number mismatch.");
}

TEST(AnswerTexts, NameTheLockByTheSignedNumberThatTheClientSent) {
    EXPECT_EQ(LongErrorText(8, -1, -7), "No route for device address -1 on gateway -7");
    EXPECT_EQ(LongErrorText(2, std::numeric_limits<std::int32_t>::min(), 0),
              "Already in whitelist for device address -2147483648 on gateway 0");
}

}  // namespace
}  // namespace Mux
