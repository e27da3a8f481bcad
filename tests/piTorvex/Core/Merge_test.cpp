#include "Core/Merge.h"

#include "CoreObjects.h"

#include <algorithm>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using coretest::IdsOf;
using coretest::Lists;
using coretest::MakeAdapter;
using coretest::MakeDrive;
using coretest::SerialsOf;
using NAMESPACE_piTorvex::CMergeResult;
using NAMESPACE_piTorvex::CTorvexAdapter;
using NAMESPACE_piTorvex::CTorvexPhysicalDrive;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned long PLUGIN_ID = 1000;

CMergeResult Merge(const Lists& published, const Lists& newer) {
  return NAMESPACE_piTorvex::Merge(published.adapters, published.drives, newer.adapters,
                                   newer.drives, PLUGIN_ID);
}

// Two published pairs, A and B, and a scan that finds the same.
class MergeTest : public testing::Test {
 protected:
  MergeTest() {
    published.Add("A", 1);
    published.Add("B", 2);
    newer = published;
  }

  [[nodiscard]] CMergeResult Merged() const { return Merge(published, newer); }

  Lists published;
  Lists newer;
};

TEST_F(MergeTest, OfEqualLists_FindsNothing) {
  const CMergeResult result = Merged();
  EXPECT_FALSE(result.m_IsChanged);
  EXPECT_THAT(result.m_Adapters, IsEmpty());
  EXPECT_THAT(result.m_Drives, IsEmpty());
  EXPECT_THAT(result.m_Removed, IsEmpty());
  EXPECT_THAT(result.m_Events, IsEmpty());
  EXPECT_EQ(result.m_TopologyChanges, 0UL);
  EXPECT_THAT(result.m_Children, ElementsAre(2001UL, 2002UL));
}

TEST_F(MergeTest, OfEqualLists_HandsOverTheToolIndexesByPublishedAdapter) {
  newer.adapters[0].ToolIndex = 7;
  newer.adapters[1].ToolIndex = 8;
  std::swap(newer.adapters[0], newer.adapters[1]);
  std::swap(newer.drives[0], newer.drives[1]);
  const CMergeResult result = Merged();
  EXPECT_FALSE(result.m_IsChanged);
  EXPECT_THAT(result.m_ToolIndexes, ElementsAre(7, 8));
  EXPECT_THAT(result.m_Children, ElementsAre(2002UL, 2001UL));  // as the scan found them
}

TEST_F(MergeTest, OfDifferentLists_HandsOverTheToolIndexesInTheAdapters) {
  newer.adapters[0].ToolIndex = 7;
  newer.adapters[1].ToolIndex = 8;
  newer.adapters[1].Firmware = "NEW";
  const CMergeResult result = Merged();
  EXPECT_THAT(result.m_ToolIndexes, IsEmpty());
  ASSERT_EQ(result.m_Adapters.size(), 2U);
  EXPECT_EQ(result.m_Adapters[0].ToolIndex, 7);
  EXPECT_EQ(result.m_Adapters[1].ToolIndex, 8);
}

TEST_F(MergeTest, LeavesItsListsAsTheyAre) {
  published.adapters[0].m_ReadCounter = 5;
  newer.Add("C", 3);
  newer.drives[2].ParentAdapterNumber = 0;
  newer.adapters[0].StatusBits = PI::WARNING_SPARE_LOW;
  newer.drives[1].SectorSize = 4096;
  const Lists publishedBefore = published;
  const Lists newerBefore = newer;
  ASSERT_TRUE(Merged().m_IsChanged);
  const auto expectSame = [](const auto& now, const auto& before) {
    ASSERT_EQ(now.size(), before.size());
    for (std::size_t i = 0; i < now.size(); ++i) {
      EXPECT_TRUE(now[i].SameAs(before[i]));
      EXPECT_EQ(now[i].m_ReadCounter, before[i].m_ReadCounter);
      EXPECT_EQ(now[i].RowIsStale, before[i].RowIsStale);
      EXPECT_EQ(now[i].RowIsMissing, before[i].RowIsMissing);
      EXPECT_EQ(now[i].m_ParentIDs, before[i].m_ParentIDs);
    }
  };
  expectSame(published.adapters, publishedBefore.adapters);
  expectSame(published.drives, publishedBefore.drives);
  expectSame(newer.adapters, newerBefore.adapters);
  expectSame(newer.drives, newerBefore.drives);
}

TEST_F(MergeTest, ANewAdapter_ComesBehindThePublishedOnes) {
  newer.adapters.insert(newer.adapters.begin(), MakeAdapter("C", 3));
  newer.drives.insert(newer.drives.begin(), MakeDrive("C", 3));
  const CMergeResult result = Merged();
  EXPECT_TRUE(result.m_IsChanged);
  EXPECT_THAT(SerialsOf(result.m_Adapters), ElementsAre("A", "B", "C"));
  EXPECT_THAT(SerialsOf(result.m_Drives), ElementsAre("C", "A", "B"));  // as the scan found them
  EXPECT_THAT(result.m_Children, ElementsAre(2003UL, 2001UL, 2002UL));
  EXPECT_EQ(result.m_TopologyChanges, 1UL);
  EXPECT_THAT(IdsOf(result.m_Events), ElementsAre(PI::EVENT_ADAPTER_ADDED));
  EXPECT_EQ(result.m_Events[0].m_ObjectID, PI::EVENT_OBJECT_ADAPTERS);
  EXPECT_THAT(result.m_Removed, IsEmpty());
}

TEST_F(MergeTest, ANewAdapter_AndItsDriveHaveNoRowsYet) {
  newer.Add("C", 3);
  const CMergeResult result = Merged();
  ASSERT_EQ(result.m_Adapters.size(), 3U);
  ASSERT_EQ(result.m_Drives.size(), 3U);
  EXPECT_TRUE(result.m_Adapters[2].RowIsMissing);
  EXPECT_TRUE(result.m_Drives[2].RowIsMissing);
  EXPECT_FALSE(result.m_Adapters[0].RowIsMissing || result.m_Adapters[0].RowIsStale);
  EXPECT_FALSE(result.m_Drives[0].RowIsMissing || result.m_Drives[0].RowIsStale);
}

TEST_F(MergeTest, TheDriveOfANewAdapter_GetsTheAdaptersNumber) {
  newer.Add("C", 3);
  newer.drives[2].ParentAdapterNumber = 0;
  newer.drives[1].ParentAdapterNumber = 99;  // of an adapter that is no new one: as the scan said
  const CMergeResult result = Merged();
  ASSERT_EQ(result.m_Drives.size(), 3U);
  EXPECT_EQ(result.m_Drives[2].ParentAdapterNumber, 53U);
  EXPECT_EQ(result.m_Drives[1].ParentAdapterNumber, 99U);
}

TEST_F(MergeTest, AnAdapterThatIsGone_IsToldAsItWasPublished) {
  published.adapters[0].RowIsStale = true;
  newer.adapters.erase(newer.adapters.begin());
  newer.drives.erase(newer.drives.begin());
  const CMergeResult result = Merged();
  EXPECT_TRUE(result.m_IsChanged);
  EXPECT_THAT(SerialsOf(result.m_Adapters), ElementsAre("B"));
  EXPECT_THAT(SerialsOf(result.m_Drives), ElementsAre("B"));
  ASSERT_THAT(SerialsOf(result.m_Removed), ElementsAre("A"));
  EXPECT_TRUE(result.m_Removed[0].RowIsStale);
  EXPECT_TRUE(result.m_Removed[0].SameAs(published.adapters[0]));
  EXPECT_THAT(IdsOf(result.m_Events), ElementsAre(PI::EVENT_ADAPTER_REMOVED));
  EXPECT_EQ(result.m_Events[0].m_Name, "Adapter A");
  EXPECT_EQ(result.m_TopologyChanges, 1UL);
  EXPECT_THAT(result.m_Children, ElementsAre(2002UL));
}

TEST_F(MergeTest, WithAllGone_LeavesEmptyLists) {
  const CMergeResult result = Merge(published, {});
  EXPECT_TRUE(result.m_IsChanged);
  EXPECT_THAT(result.m_Adapters, IsEmpty());
  EXPECT_THAT(result.m_Children, IsEmpty());
  EXPECT_THAT(SerialsOf(result.m_Removed), ElementsAre("A", "B"));
  EXPECT_EQ(result.m_TopologyChanges, 2UL);
}

TEST_F(MergeTest, AChangedValue_MarksItsRowAlone) {
  newer.adapters[0].Firmware = "NEW";
  newer.drives[1].UsableSizeMiB = 7;
  const CMergeResult result = Merged();
  ASSERT_EQ(result.m_Adapters.size(), 2U);
  ASSERT_EQ(result.m_Drives.size(), 2U);
  EXPECT_EQ(result.m_Adapters[0].Firmware, "NEW");
  EXPECT_EQ(result.m_Drives[1].UsableSizeMiB, 7UL);
  EXPECT_TRUE(result.m_Adapters[0].RowIsStale);
  EXPECT_FALSE(result.m_Adapters[1].RowIsStale);
  EXPECT_FALSE(result.m_Drives[0].RowIsStale);
  EXPECT_TRUE(result.m_Drives[1].RowIsStale);
  EXPECT_THAT(result.m_Events, IsEmpty());
  EXPECT_EQ(result.m_TopologyChanges, 0UL);
}

TEST_F(MergeTest, RowsThatAreOwed_StayOwed) {
  published.adapters[0].RowIsMissing = true;
  published.adapters[1].RowIsStale = true;
  published.drives[0].RowIsStale = true;
  published.drives[1].RowIsMissing = true;
  newer.Add("C", 3);
  const CMergeResult result = Merged();
  EXPECT_TRUE(result.m_Adapters[0].RowIsMissing);
  EXPECT_FALSE(result.m_Adapters[0].RowIsStale);
  EXPECT_TRUE(result.m_Adapters[1].RowIsStale);
  EXPECT_TRUE(result.m_Drives[0].RowIsStale);
  EXPECT_TRUE(result.m_Drives[1].RowIsMissing);
}

// A scan makes no marks; what one of its objects may hold is not what is owed.
TEST_F(MergeTest, MarksOfTheScan_AreNotTakenOver) {
  for (CTorvexAdapter& adapter : newer.adapters) adapter.RowIsStale = adapter.RowIsMissing = true;
  for (CTorvexPhysicalDrive& drive : newer.drives) drive.RowIsStale = drive.RowIsMissing = true;
  newer.Add("C", 3);
  const CMergeResult result = Merged();
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_FALSE(result.m_Adapters[i].RowIsStale || result.m_Adapters[i].RowIsMissing);
    EXPECT_FALSE(result.m_Drives[i].RowIsStale || result.m_Drives[i].RowIsMissing);
  }
}

TEST_F(MergeTest, IdsLinksAndLocks_GoOn) {
  published.adapters[0].m_ChildIDs = {71};
  published.adapters[0].m_LockFlag = true;
  published.drives[0].m_ParentIDs = {72};
  published.drives[0].m_ChildIDs = {73};
  published.drives[0].m_LockFlag = true;
  newer.adapters[0].m_ID = 9001;
  newer.drives[0].m_ID = 9002;
  const CMergeResult result = Merged();
  ASSERT_TRUE(result.m_IsChanged);
  EXPECT_EQ(result.m_Adapters[0].m_ID, 2001UL);
  EXPECT_THAT(result.m_Adapters[0].m_ChildIDs, ElementsAre(71UL));
  EXPECT_TRUE(result.m_Adapters[0].m_LockFlag);
  EXPECT_EQ(result.m_Drives[0].m_ID, 3001UL);
  EXPECT_THAT(result.m_Drives[0].m_ParentIDs, ElementsAre(72UL));
  EXPECT_THAT(result.m_Drives[0].m_ChildIDs, ElementsAre(73UL));
  EXPECT_TRUE(result.m_Drives[0].m_LockFlag);
  EXPECT_THAT(result.m_Children, ElementsAre(2001UL, 2002UL));
}

TEST_F(MergeTest, EveryAdapter_HasThePluginAsItsParent) {
  published.adapters[0].m_ParentIDs = {5, 6};
  newer.Add("C", 3);
  newer.adapters[2].m_ParentIDs = {7};
  const CMergeResult result = Merged();
  ASSERT_EQ(result.m_Adapters.size(), 3U);
  for (const CTorvexAdapter& adapter : result.m_Adapters) {
    EXPECT_THAT(adapter.m_ParentIDs, ElementsAre(PLUGIN_ID)) << adapter.SerialNumber;
  }
}

TEST_F(MergeTest, ReadCounters_GrowWhereSomethingChanged) {
  published.adapters[0].m_ReadCounter = 40;
  published.adapters[1].m_ReadCounter = 50;
  published.drives[0].m_ReadCounter = 60;
  published.drives[1].m_ReadCounter = 70;
  newer.adapters[0].Firmware = "NEW";
  newer.drives[0].SectorSize = 4096;
  const CMergeResult result = Merged();
  EXPECT_EQ(result.m_Adapters[0].m_ReadCounter, 41UL);
  EXPECT_EQ(result.m_Adapters[1].m_ReadCounter, 50UL);
  EXPECT_EQ(result.m_Drives[0].m_ReadCounter, 61UL);
  EXPECT_EQ(result.m_Drives[1].m_ReadCounter, 70UL);
}

TEST_F(MergeTest, ReadCounters_NeverGoBack) {
  published.adapters[0].m_ReadCounter = 3;
  newer.adapters[0].m_ReadCounter = 9;
  newer.adapters[0].Firmware = "NEW";
  EXPECT_EQ(Merged().m_Adapters[0].m_ReadCounter, 9UL);
}

TEST_F(MergeTest, Events_ComeByAdaptersThenThoseGoneThenDrives) {
  published.Add("GONE", 3);
  newer.adapters[0].StatusBits = PI::WARNING_RELIABILITY;
  newer.Add("NEW", 4);
  newer.drives[0].SectorSize = 4096;
  newer.drives[1].HealthState = PI::CHOICE_HEALTH_CRITICAL;
  const CMergeResult result = Merged();
  EXPECT_THAT(
      IdsOf(result.m_Events),
      ElementsAre(PI::EVENT_RELIABILITY_DEGRADED, PI::EVENT_ADAPTER_ADDED,
                  PI::EVENT_ADAPTER_REMOVED, PI::EVENT_DRIVE_CHANGED, PI::EVENT_DRIVE_CHANGED));
  EXPECT_EQ(result.m_Events[0].m_ObjectID, 2001UL);
  EXPECT_EQ(result.m_Events[3].m_ObjectID, 3001UL);
  EXPECT_EQ(result.m_Events[4].m_ObjectID, 3002UL);
  EXPECT_EQ(result.m_TopologyChanges, 2UL);
}

TEST_F(MergeTest, ADriveWithoutAnAdapter_ChangesWithoutAnEvent) {
  newer.adapters.erase(newer.adapters.begin());
  newer.drives[0].SectorSize = 4096;
  const CMergeResult result = Merged();
  EXPECT_THAT(IdsOf(result.m_Events), ElementsAre(PI::EVENT_ADAPTER_REMOVED));
  ASSERT_EQ(result.m_Drives.size(), 2U);
  EXPECT_EQ(result.m_Drives[0].SectorSize, 4096U);
  EXPECT_EQ(result.m_Drives[0].m_ReadCounter, 0UL);
}

// --- Any pair of lists

class RandomLists {
 public:
  // Some of eight drives, in any order, some with values of their own.
  Lists Next() {
    std::vector<unsigned int> numbers = {1, 2, 3, 4, 5, 6, 7, 8};
    std::shuffle(numbers.begin(), numbers.end(), random_);
    numbers.resize(Below(numbers.size() + 1));
    Lists lists;
    for (const unsigned int number : numbers) {
      lists.Add("SERIAL-" + std::to_string(number), number);
      Vary(lists.adapters.back(), lists.drives.back());
    }
    return lists;
  }

 private:
  std::size_t Below(std::size_t bound) { return random_() % bound; }

  void Vary(CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive) {
    adapter.ToolIndex = static_cast<int>(Below(8));
    if (Below(4) == 0) adapter.StatusBits = static_cast<unsigned int>(Below(0x400));
    if (Below(4) == 0) adapter.Firmware = std::to_string(Below(2));
    if (Below(4) == 0) adapter.HealthReasons = {PI::CHOICE_REASON_SPARE};
    if (Below(4) == 0) drive.SectorSize = 4096;
    if (Below(4) == 0) drive.Temperature = static_cast<float>(Below(3));
  }

  std::mt19937 random_{20261122};  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same pairs each time
};

// What the plug-in does with a result.
Lists Applied(const Lists& published, const CMergeResult& result) {
  if (result.m_IsChanged) return {result.m_Adapters, result.m_Drives};
  Lists lists = published;
  for (std::size_t i = 0; i < lists.adapters.size(); ++i) {
    lists.adapters[i].ToolIndex = result.m_ToolIndexes.at(i);
  }
  return lists;
}

// In the order of serial numbers, for comparing regardless of the order.
Lists Sorted(Lists lists) {
  std::ranges::sort(lists.adapters, {}, &CTorvexAdapter::SerialNumber);
  std::ranges::sort(lists.drives, {}, &CTorvexPhysicalDrive::SerialNumber);
  return lists;
}

void ExpectValuesOf(const Lists& applied, const Lists& newer) {
  const Lists left = Sorted(applied);
  const Lists right = Sorted(newer);
  ASSERT_EQ(SerialsOf(left.adapters), SerialsOf(right.adapters));
  ASSERT_EQ(SerialsOf(left.drives), SerialsOf(right.drives));
  for (std::size_t i = 0; i < left.adapters.size(); ++i) {
    EXPECT_TRUE(left.adapters[i].SameAs(right.adapters[i]));
    EXPECT_EQ(left.adapters[i].ToolIndex, right.adapters[i].ToolIndex);
    EXPECT_TRUE(left.drives[i].SameAs(right.drives[i]));
  }
}

TEST(MergeOfAnyPair, GivesTheNewValues_AndASecondTimeNothing) {
  RandomLists random;
  int changed = 0;
  for (int round = 0; round < 500; ++round) {
    SCOPED_TRACE(round);
    const Lists published = random.Next();
    const Lists newer = random.Next();
    const CMergeResult result = Merge(published, newer);
    if (result.m_IsChanged) ++changed;
    const Lists applied = Applied(published, result);
    ExpectValuesOf(applied, newer);
    const CMergeResult again = Merge(applied, newer);
    EXPECT_FALSE(again.m_IsChanged);
    EXPECT_THAT(again.m_Events, IsEmpty());
    EXPECT_THAT(again.m_Removed, IsEmpty());
    EXPECT_EQ(again.m_Children, result.m_Children);
  }
  EXPECT_GT(changed, 400);
}

TEST(MergeOfAnyPair, OwesARowForEachDifference) {
  RandomLists random;
  for (int round = 0; round < 500; ++round) {
    SCOPED_TRACE(round);
    const Lists published = random.Next();
    const Lists newer = random.Next();
    const CMergeResult result = Merge(published, newer);
    std::size_t added = 0;
    for (const CTorvexAdapter& adapter : result.m_Adapters) {
      const auto before = std::ranges::find(published.adapters, adapter.SerialNumber,
                                            &CTorvexAdapter::SerialNumber);
      const bool isNew = before == published.adapters.end();
      added += isNew ? 1U : 0U;
      EXPECT_EQ(adapter.RowIsMissing, isNew);
      EXPECT_EQ(adapter.RowIsStale, !isNew && !before->SameAs(adapter));
    }
    EXPECT_EQ(result.m_TopologyChanges, added + result.m_Removed.size());
    if (result.m_IsChanged) {
      EXPECT_EQ(published.adapters.size() + added,
                result.m_Adapters.size() + result.m_Removed.size());
    }
  }
}

}  // namespace
