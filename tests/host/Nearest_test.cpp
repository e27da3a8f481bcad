#include "Nearest.h"

#include <gtest/gtest.h>

namespace {

using vxhost::Nearest;

TEST(Nearest, OneSlip_IsForgivenInAWordOfAnyLength) {
  EXPECT_EQ(Nearest("tre", {"show", "tree"}), "tree");
  EXPECT_EQ(Nearest("trees", {"show", "tree"}), "tree");
  EXPECT_EQ(Nearest("tere", {"show", "tree"}), "tree");
  EXPECT_EQ(Nearest("tdee", {"show", "tree"}), "tree");
  EXPECT_EQ(Nearest("d", {"run", "db"}), "db");
}

TEST(Nearest, TheLeastSlipsWin) {
  EXPECT_EQ(Nearest("--trace-fil", {"--trace", "--trace-file"}), "--trace-file");
  EXPECT_EQ(Nearest("--tracee", {"--trace-file", "--trace"}), "--trace");
}

TEST(Nearest, WhatIsFarAway_IsNotGuessed) {
  EXPECT_EQ(Nearest("frobnicate", {"tree", "simulate"}), "");
  EXPECT_EQ(Nearest("x", {"y", "db"}), "");
  EXPECT_EQ(Nearest("tree", {}), "");
}

}  // namespace
