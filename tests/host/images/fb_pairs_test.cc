// Tests of host/images/fb_pairs.cc: the "F:B" texts of the updates.
#include "host/images/fb_pairs.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using deflash_host::fb_pair;
using deflash_host::parse_fb_pair;
using deflash_host::parse_fb_pairs;

TEST(FbPairs, ReadsFocalLengthAndBaseline) {
  fb_pair pair;
  ASSERT_TRUE(parse_fb_pair("645.07:-49.5", pair));
  EXPECT_EQ(pair.focal_length, 645.07f);
  EXPECT_EQ(pair.baseline, -49.5f);
}

TEST(FbPairs, RefusesWhatIsNoPairOfFiniteNumbers) {
  for (const char* text :
       {"645", "645:", ":50", "645:50mm", "nan:50", "645:inf", "1e39:50", "a:b", "645 50"}) {
    fb_pair pair{1.0f, 2.0f};
    EXPECT_FALSE(parse_fb_pair(text, pair)) << text;
    EXPECT_EQ(pair.focal_length, 1.0f) << text;
  }
}

TEST(FbPairs, KeepsTheOrderOfTheTexts) {
  std::vector<fb_pair> pairs;
  ASSERT_TRUE(parse_fb_pairs({"600:50", "700:60"}, pairs).ok());
  ASSERT_EQ(pairs.size(), 2u);
  EXPECT_EQ(pairs[0].focal_length, 600.0f);
  EXPECT_EQ(pairs[1].baseline, 60.0f);
}

TEST(FbPairs, NamesTheFirstTextThatIsNoPair) {
  std::vector<fb_pair> pairs;
  const deflash_host::outcome parsed = parse_fb_pairs({"600:50", "645", "x:y"}, pairs);
  EXPECT_EQ(parsed.state, deflash_host::status::unusable);
  EXPECT_EQ(parsed.failure, "--fb 645: expected FOCAL:BASELINE, two finite numbers");
}

}  // namespace
