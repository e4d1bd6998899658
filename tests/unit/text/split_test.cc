#include "text/split.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qarn {
namespace rpc {
namespace {

using ::testing::ElementsAre;

TEST(SplitTest, KeepsEveryPieceAlsoEmptyOnes) {
  EXPECT_THAT(Split("a,b,c", ','), ElementsAre("a", "b", "c"));
  EXPECT_THAT(Split("a,,b", ','), ElementsAre("a", "", "b"));
  EXPECT_THAT(Split("a,", ','), ElementsAre("a", ""));
  EXPECT_THAT(Split(",a", ','), ElementsAre("", "a"));
  EXPECT_THAT(Split(",", ','), ElementsAre("", ""));
  EXPECT_THAT(Split(",,,", ','), ElementsAre("", "", "", ""));
}

TEST(SplitTest, GivesTheWholeTextWhereThereIsNoSeparator) {
  EXPECT_THAT(Split("abc", ','), ElementsAre("abc"));
  EXPECT_THAT(Split("", ','), ElementsAre(""));
}

TEST(SplitTest, TakesOnlyTheGivenSeparator) {
  EXPECT_THAT(Split("a.b,c=d", '.'), ElementsAre("a", "b,c=d"));
  EXPECT_THAT(Split("a.b,c=d", '='), ElementsAre("a.b,c", "d"));
}

TEST(SplitTest, KeepsBlanksAndNonAsciiBytes) {
  EXPECT_THAT(Split(" a , b ", ','), ElementsAre(" a ", " b "));
  EXPECT_THAT(Split("\xC3\xA4,\xFF", ','), ElementsAre("\xC3\xA4", "\xFF"));
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
