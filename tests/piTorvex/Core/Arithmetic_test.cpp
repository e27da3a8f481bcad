#include "Core/Arithmetic.h"

#include <gtest/gtest.h>

namespace {

using NAMESPACE_piTorvex::HIGHEST_COUNT;
using NAMESPACE_piTorvex::MultiplySaturating;
using NAMESPACE_piTorvex::PercentOf;
using NAMESPACE_piTorvex::ProductInMiB;

constexpr unsigned long HALF = 1UL << 63U;

TEST(MultiplySaturating, GivesTheProductWhereItFits) {
  EXPECT_EQ(MultiplySaturating(0, HIGHEST_COUNT), 0UL);
  EXPECT_EQ(MultiplySaturating(1, HIGHEST_COUNT), HIGHEST_COUNT);
  EXPECT_EQ(MultiplySaturating(500, 512000), 256'000'000UL);
  EXPECT_EQ(MultiplySaturating(1UL << 32U, (1UL << 32U) - 1), 0xFFFFFFFF00000000UL);
}

TEST(MultiplySaturating, StaysAtTheHighestNumberWhereItDoesNot) {
  EXPECT_EQ(MultiplySaturating(1UL << 32U, 1UL << 32U), HIGHEST_COUNT);
  EXPECT_EQ(MultiplySaturating(HALF, 2), HIGHEST_COUNT);
  EXPECT_EQ(MultiplySaturating(HIGHEST_COUNT, HIGHEST_COUNT), HIGHEST_COUNT);
}

TEST(PercentOf, IsCutAndNotRounded) {
  EXPECT_EQ(PercentOf(0, 3), 0UL);
  EXPECT_EQ(PercentOf(2, 3), 66UL);
  EXPECT_EQ(PercentOf(3, 3), 100UL);
  EXPECT_EQ(PercentOf(7, 2), 350UL);
}

TEST(PercentOf, DoesNotWrapAround) {
  EXPECT_EQ(PercentOf(HIGHEST_COUNT, HIGHEST_COUNT), 100UL);
  EXPECT_EQ(PercentOf(HALF, HIGHEST_COUNT), 50UL);
  EXPECT_EQ(PercentOf(HIGHEST_COUNT, 100), HIGHEST_COUNT);
  EXPECT_EQ(PercentOf(HIGHEST_COUNT, 99), HIGHEST_COUNT);
}

TEST(ProductInMiB, ShiftsTheWholeProduct) {
  EXPECT_EQ(ProductInMiB(512, 2047), 0UL);
  EXPECT_EQ(ProductInMiB(512, 2048), 1UL);
  EXPECT_EQ(ProductInMiB(4096, 3'907'029'168UL), 15'261'832UL);
  EXPECT_EQ(ProductInMiB(512, HIGHEST_COUNT), (1UL << 53U) - 1);  // more than 64 bits before it
}

TEST(ProductInMiB, IsCutTo64Bits) {
  EXPECT_EQ(ProductInMiB(1UL << 42U, 1UL << 42U), 0UL);
  EXPECT_EQ(ProductInMiB(1UL << 42U, (1UL << 42U) + (1UL << 4U)), 1UL << 26U);
}

}  // namespace
