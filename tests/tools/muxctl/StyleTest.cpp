#include "tools/muxctl/Style.h"

#include <gtest/gtest.h>

namespace Muxctl {
namespace {

TEST(StyleTest, PaintsOnlyWhenItMay) {
    EXPECT_EQ(Style(false).Paint(Colour::kRed, "NACK"), "NACK");
    EXPECT_EQ(Style(true).Paint(Colour::kRed, "NACK"), "\033[1;31mNACK\033[0m");
    EXPECT_EQ(Style(true).Paint(Colour::kGreen, "a"), "\033[1;32ma\033[0m");
    EXPECT_EQ(Style(true).Paint(Colour::kYellow, "a"), "\033[1;33ma\033[0m");
    EXPECT_EQ(Style(true).Paint(Colour::kCyan, "a"), "\033[1;36ma\033[0m");
}

TEST(PrintableTest, ReplacesControlCharactersOnly) {
    EXPECT_EQ(Printable("\033[2J\na\x7F\tb"), "?[2J?a??b");
    EXPECT_EQ(Printable("Gr\xC3\xB6\xC3\x9F"
                        "e ~ \"5\""),
              "Gr\xC3\xB6\xC3\x9F"
              "e ~ \"5\"");
}

}  // namespace
}  // namespace Muxctl
