#include "diagnostics/CaughtException.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Diagnostics {
namespace {

class CountedException : public std::exception {
  public:
    CountedException() { ++alive; }
    CountedException(const CountedException&) = delete;
    CountedException& operator=(const CountedException&) = delete;
    ~CountedException() override { --alive; }
    const char* what() const noexcept override { return "counted"; }

    static inline int alive = 0;
};

template <typename Exception>
std::string TextOfThrown(Exception&& exception) {
    try {
        throw std::forward<Exception>(exception);
    } catch (...) {
        return CaughtException().Text();
    }
}

TEST(CaughtException, AnExceptionThrownAsAPointerGivesItsTextAndIsFreed) {
    EXPECT_EQ(TextOfThrown(new CountedException), "counted");
    EXPECT_EQ(CountedException::alive, 0);
}

TEST(CaughtException, AnExceptionThrownByValueGivesItsText) {
    EXPECT_EQ(TextOfThrown(std::out_of_range("too far")), "too far");
}

TEST(CaughtException, ALongTextIsCut) {
    EXPECT_EQ(TextOfThrown(std::out_of_range(std::string(255, 'x'))), std::string(255, 'x'));
    EXPECT_EQ(TextOfThrown(std::out_of_range(std::string(1000, 'x'))), std::string(255, 'x'));
}

TEST(CaughtException, AnythingElseIsAnUnknownException) {
    EXPECT_EQ(TextOfThrown(42), "unknown exception");
}

}  // namespace
}  // namespace Diagnostics
