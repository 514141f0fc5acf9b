#include "gateway/GatewayOwner.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <utility>

namespace Brenk::Messages::VG {
namespace {

TEST(VirtualGatewayResponseMessage, IsEmptyAndWithoutStatusWhenItIsNew) {
    const VirtualGatewayResponseMessage response;
    EXPECT_EQ(response.requestID, "");
    EXPECT_EQ(response.requestCode, 0);
    EXPECT_EQ(response.responseCode, 0U);
    EXPECT_EQ(response.statusPayload, nullptr);
}

TEST(VirtualGatewayResponseMessage, HasIDRequestCodeResponseCodeAndStatusInThisOrder) {
    constexpr auto kHighest = std::numeric_limits<std::uint32_t>::max();
    auto status = std::make_unique<BrenkGetStatusPayload>();
    const BrenkGetStatusPayload* const given = status.get();
    const VirtualGatewayResponseMessage response = {"a request", 0x8A, kHighest, std::move(status)};
    EXPECT_EQ(response.requestID, "a request");
    EXPECT_EQ(response.requestCode, 0x8A);
    EXPECT_EQ(response.responseCode, kHighest);
    EXPECT_EQ(response.statusPayload.get(), given);
}

// Tells when it is freed.
class ObservedStatus : public BrenkGetStatusPayload {
  public:
    explicit ObservedStatus(bool& freed) : freed_(freed) {}
    ~ObservedStatus() override { freed_ = true; }
    ObservedStatus(const ObservedStatus&) = delete;
    ObservedStatus& operator=(const ObservedStatus&) = delete;

  private:
    bool& freed_;
};

TEST(VirtualGatewayResponseMessage, OwnsItsStatus) {
    bool freed = false;
    {
        const VirtualGatewayResponseMessage response = {"a", 1, 0, std::make_unique<ObservedStatus>(freed)};
        EXPECT_FALSE(freed);
    }
    EXPECT_TRUE(freed);
}

TEST(VirtualGatewayResponseMessage, HandsItsStatusOverWhenItIsMoved) {
    bool freed = false;
    VirtualGatewayResponseMessage response = {"a", 1, 0, std::make_unique<ObservedStatus>(freed)};
    {
        const VirtualGatewayResponseMessage other = std::move(response);
        EXPECT_NE(other.statusPayload, nullptr);
        EXPECT_FALSE(freed);
    }
    EXPECT_TRUE(freed);
}

}  // namespace
}  // namespace Brenk::Messages::VG
