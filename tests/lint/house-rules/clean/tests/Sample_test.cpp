TEST(Sample, OfHouseRules_IsClean) {
  EXPECT_EQ(1, 1);
}

TEST(Sample, ThatAssertsThroughAMacroOfItsOwn_IsClean) {
#define ROW(number) \
  { EXPECT_GT(number, 0); }
  ROW(1)
}
