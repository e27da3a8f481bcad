TEST(Sample, OfHouseRules_IsClean) {
  EXPECT_EQ(1, 1);
}
