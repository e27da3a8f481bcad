bool Holds(int value) {
  return value == 1;  // EXPECT_TRUE(in a comment)
}

void Expect(int value) {
  EXPECT_EQ(value, 1);
}

TEST(Sample, ThatAssertsThroughAHelper_IsFine) {
  Expect(1);
}

TEST(Sample, ThatAssertsNothing_IsRefused) {
  Holds(1);
}
