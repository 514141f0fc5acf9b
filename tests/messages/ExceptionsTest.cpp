#include "messages/Exceptions.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace Brenk {
namespace {

// Throws a new exception by pointer, as the program does, and catches it as a handler for `Caught` would.
template <typename Thrown, typename Caught>
std::string TextOfThrown() {
    try {
        throw new Thrown();
    } catch (Caught* exception) {
        const std::unique_ptr<Caught> owner(exception);
        return owner->what();
    }
}

TEST(BrenkException, APointerToEachKindIsCaughtAsAPointerToEitherBase) {
    EXPECT_EQ((TextOfThrown<NullObjectException, BrenkException>()), "Null or empty object");
    EXPECT_EQ((TextOfThrown<NullObjectException, std::exception>()), "Null or empty object");
    EXPECT_EQ((TextOfThrown<InvalidArgumentException, BrenkException>()), "Invalid argument found");
    EXPECT_EQ((TextOfThrown<InvalidArgumentException, std::exception>()), "Invalid argument found");
    EXPECT_EQ((TextOfThrown<ArgumentNullException, BrenkException>()), "Argument null");
    EXPECT_EQ((TextOfThrown<ArgumentNullException, std::exception>()), "Argument null");
}

}  // namespace
}  // namespace Brenk
