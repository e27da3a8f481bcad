#include "Core/Scan.h"

#include "CoreObjects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using coretest::Lists;
using coretest::SerialsOf;
using NAMESPACE_piTorvex::CAdapterNumbers;
using NAMESPACE_piTorvex::DropDuplicates;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(AdapterNumbers, AreTakenAsWantedWhileTheyAreFree) {
  CAdapterNumbers numbers;
  EXPECT_EQ(numbers.Take(3), 3U);
  EXPECT_EQ(numbers.Take(1), 1U);
  EXPECT_EQ(numbers.Take(4294967295U), 4294967295U);
}

TEST(AdapterNumbers, ThatAreTaken_GiveTheLowestFreeOne) {
  CAdapterNumbers numbers;
  numbers.Use(1);
  numbers.Use(3);
  EXPECT_EQ(numbers.Take(1), 2U);
  EXPECT_EQ(numbers.Take(1), 4U);
  EXPECT_EQ(numbers.Take(4), 5U);
}

TEST(AdapterNumbers, Of0_GiveTheLowestFreeOneFrom1) {
  CAdapterNumbers numbers;
  EXPECT_EQ(numbers.Take(0), 1U);
  EXPECT_EQ(numbers.Take(3), 3U);
  EXPECT_EQ(numbers.Take(0), 2U);
  EXPECT_EQ(numbers.Take(0), 4U);
}

TEST(Duplicates, OfASerialNumber_LeaveTheFirst) {
  Lists lists;
  lists.Add("SAME", 1);
  lists.Add("OTHER", 2);
  lists.Add("SAME", 3);
  lists.Add("SAME", 4);
  EXPECT_EQ(DropDuplicates(lists.adapters, lists.drives), 2U);
  EXPECT_THAT(SerialsOf(lists.adapters), ElementsAre("SAME", "OTHER"));
  EXPECT_THAT(SerialsOf(lists.drives), ElementsAre("SAME", "OTHER"));
  EXPECT_EQ(lists.adapters[0].AdapterNumber, 1U);
  EXPECT_EQ(lists.drives[0].DriveNumber, 0U);
}

TEST(Duplicates, ThatThereAreNone_LeaveTheListsAlone) {
  Lists lists;
  EXPECT_EQ(DropDuplicates(lists.adapters, lists.drives), 0U);
  EXPECT_THAT(lists.adapters, IsEmpty());
  lists.Add("A", 1);
  lists.Add("a", 2);  // compared byte for byte
  lists.Add("A ", 3);
  EXPECT_EQ(DropDuplicates(lists.adapters, lists.drives), 0U);
  EXPECT_THAT(SerialsOf(lists.adapters), ElementsAre("A", "a", "A "));
}

TEST(Duplicates, OfTheEmptySerialNumber_AreDuplicatesToo) {
  Lists lists;
  lists.Add("", 1);
  lists.Add("", 2);
  EXPECT_EQ(DropDuplicates(lists.adapters, lists.drives), 1U);
  EXPECT_THAT(SerialsOf(lists.adapters), ElementsAre(""));
}

}  // namespace
