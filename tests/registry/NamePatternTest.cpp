#include "hardware/NamePattern.h"

#include <gtest/gtest.h>

namespace tavu {
namespace {

TEST(NamePattern, AlternativesAreTriedCaseInsensitively) {
    EXPECT_TRUE(matchesFilter("ABC*|x?z", "abcdef"));
    EXPECT_TRUE(matchesFilter("ABC*|x?z", "XYZ"));
    EXPECT_FALSE(matchesFilter("ABC*|x?z", "xz"));
    EXPECT_TRUE(matchesFilter("AbC", "aBc"));
}

TEST(NamePattern, EmptyPatternsMatchOnlyTheEmptyName) {
    EXPECT_TRUE(matchesFilter("", ""));
    EXPECT_FALSE(matchesFilter("", "recorder"));
    EXPECT_FALSE(matchesFilter("||", "recorder"));
    EXPECT_TRUE(matchesFilter("||", ""));
    // An empty name matches only a pattern made of stars.
    EXPECT_TRUE(matchesFilter("**", ""));
    EXPECT_FALSE(matchesFilter("?", ""));
    EXPECT_FALSE(matchesFilter("a*", ""));
}

TEST(NamePattern, StarIsAnyRunAndQuestionMarkExactlyOneCharacter) {
    EXPECT_TRUE(NamePattern("*").matches("anything at all"));
    EXPECT_TRUE(NamePattern("a*b").matches("ab"));
    EXPECT_TRUE(NamePattern("a*b").matches("abab"));
    EXPECT_FALSE(NamePattern("a*b").matches("abba"));
    EXPECT_TRUE(NamePattern("*x*").matches("x"));
    EXPECT_TRUE(NamePattern("*x*").matches("axb"));
    EXPECT_TRUE(NamePattern("a?c").matches("abc"));
    EXPECT_FALSE(NamePattern("a?c").matches("ac"));
    EXPECT_FALSE(NamePattern("a?c").matches("abbc"));
    // The whole name must match, whatever the pattern's start matched.
    EXPECT_FALSE(NamePattern("abc").matches("abcd"));
}

TEST(NamePattern, TrailingStarAcceptsTheEndAndAnyRest) {
    EXPECT_TRUE(NamePattern("rec*").matches("rec"));
    EXPECT_TRUE(NamePattern("rec*").matches("recorder 2"));
    EXPECT_FALSE(NamePattern("rec*").matches("re"));
    EXPECT_TRUE(NamePattern("r?c**").matches("RXC"));
}

}  // namespace
}  // namespace tavu
