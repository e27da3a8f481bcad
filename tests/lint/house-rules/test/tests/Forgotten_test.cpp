TEST(Sample, ThatIsNotBuilt_IsRefused) {
  EXPECT_EQ(1, 1);
}
