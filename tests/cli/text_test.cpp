// Text helpers of the tool.
#include "tools/tarn/text.h"

#include <gtest/gtest.h>

using namespace tarn;

namespace {

TEST(Clipped, CountsCharactersNotBytes) {
    EXPECT_EQ(clipped("drive \xC3\xA4\xC3\xB6 1", 7), "drive \xC3\xA4");
    EXPECT_EQ(clipped("\xE2\x82\xAC\xE2\x82\xAC", 1), "\xE2\x82\xAC");
    EXPECT_EQ(clipped("abc", 0), "");
}

TEST(Clipped, ShortTextStays) {
    EXPECT_EQ(clipped("abc", 3), "abc");
    EXPECT_EQ(clipped("\xC3\xA4", 80), "\xC3\xA4");
    EXPECT_EQ(clipped("", 0), "");
}

TEST(Joined, PutsTheSeparatorBetween) {
    EXPECT_EQ(joined({"a", "b", "c"}, "; "), "a; b; c");
    EXPECT_EQ(joined({"a"}, "; "), "a");
    EXPECT_EQ(joined({}, "; "), "");
}

} // namespace
