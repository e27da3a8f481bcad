#include "Core/Mirror.h"

#include "CoreObjects.h"

#include <functional>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <DB/Database.h>

namespace {

using coretest::CTorvexAdapter;
using coretest::CTorvexPhysicalDrive;
using coretest::Lists;
using coretest::MakeAdapter;
using NAMESPACE_piTorvex::CMirror;
using NAMESPACE_piTorvex::ERowWork;
using NAMESPACE_piTorvex::IRowWriter;
using testing::ElementsAre;
using testing::IsEmpty;

// Keeps what it is asked to do, as "insert adapter A". What is listed to fail does.
class RecordingWriter : public IRowWriter {
 public:
  bool WritePlugin(ERowWork work) override { return Do(work, "plugin"); }
  bool Write(ERowWork work, CTorvexAdapter& adapter) override {
    return Do(work, "adapter " + adapter.SerialNumber);
  }
  bool Write(ERowWork work, CTorvexPhysicalDrive& drive) override {
    return Do(work, "drive " + drive.SerialNumber);
  }

  // What was asked since the last time.
  std::vector<std::string> Taken() { return std::exchange(m_Done, {}); }

  std::set<std::string> m_Fails;

 private:
  bool Do(ERowWork work, const std::string& row) {
    const char* const word = work == ERowWork::Insert   ? "insert "
                             : work == ERowWork::Update ? "update "
                                                        : "delete ";
    m_Done.push_back(word + row);
    return !m_Fails.contains(m_Done.back());
  }

  std::vector<std::string> m_Done;
};

// Two pairs, A and B, whose rows are written.
class MirrorTest : public testing::Test {
 protected:
  MirrorTest() {
    lists.Add("A", 1);
    lists.Add("B", 2);
  }

  std::vector<std::string> Written(bool changed = false) {
    mirror.Write(lists.adapters, lists.drives, changed, writer);
    return writer.Taken();
  }

  Lists lists;
  RecordingWriter writer;
  CMirror mirror;
};

// --- Start-up

TEST_F(MirrorTest, AtStartUp_AllDrivesFollowEachAdapter) {
  mirror.InsertPlugin(writer);
  mirror.InsertAll(lists.adapters, lists.drives, writer);
  EXPECT_THAT(writer.Taken(),
              ElementsAre("insert plugin", "insert adapter A", "insert drive A", "insert drive B",
                          "insert adapter B", "insert drive A", "insert drive B"));
  EXPECT_THAT(Written(), IsEmpty());
}

TEST_F(MirrorTest, AtStartUp_RowsThatCouldNotBeInsertedAreInsertedByTheNextWrite) {
  writer.m_Fails = {"insert plugin", "insert adapter B", "insert drive A"};
  mirror.InsertPlugin(writer);
  mirror.InsertAll(lists.adapters, lists.drives, writer);
  (void)writer.Taken();
  const std::vector<std::string> owed = {"insert drive A", "insert adapter B", "insert plugin"};
  EXPECT_EQ(Written(), owed);
  writer.m_Fails.clear();
  EXPECT_EQ(Written(), owed);
  EXPECT_THAT(Written(), IsEmpty());
}

TEST_F(MirrorTest, AtStartUp_OneSuccessIsEnoughForADrive) {
  class OnlyOnce : public RecordingWriter {
   public:
    bool Write(ERowWork work, CTorvexAdapter& adapter) override {
      return RecordingWriter::Write(work, adapter);
    }
    bool Write(ERowWork work, CTorvexPhysicalDrive& drive) override {
      (void)RecordingWriter::Write(work, drive);
      return m_Seen.insert(drive.SerialNumber).second;
    }
    std::set<std::string> m_Seen;
  } once;
  mirror.InsertAll(lists.adapters, lists.drives, once);
  EXPECT_FALSE(lists.drives[0].RowIsMissing);
  EXPECT_FALSE(lists.drives[1].RowIsMissing);
}

TEST_F(MirrorTest, AStartUpThatFails_TakesItsRowsBackButNotTheDrives) {
  writer.m_Fails = {"insert plugin"};
  mirror.InsertPlugin(writer);
  (void)writer.Taken();
  mirror.Withdraw(lists.adapters, writer);
  EXPECT_THAT(writer.Taken(), ElementsAre("delete plugin", "delete adapter A", "delete adapter B"));
  Lists none;
  mirror.Write(none.adapters, none.drives, false, writer);
  EXPECT_THAT(writer.Taken(), IsEmpty());  // the plug-in's row is not owed either
}

TEST_F(MirrorTest, AStartUp_ForgetsTheDeletesOfTheLastOne) {
  mirror.OweDeletes({MakeAdapter("OLD", 1)});
  mirror.Begin();
  EXPECT_THAT(Written(), IsEmpty());
}

// --- Scans

TEST_F(MirrorTest, WithNothingOwed_WritesNothing) {
  EXPECT_THAT(Written(), IsEmpty());
}

TEST_F(MirrorTest, AChange_WritesThePluginsRowAlone) {
  EXPECT_THAT(Written(true), ElementsAre("update plugin"));
}

TEST_F(MirrorTest, DeletesComeBeforeUpdatesBeforeInsertsBeforeThePlugin) {
  lists.Add("NEW", 3);
  lists.adapters[2].RowIsMissing = lists.drives[2].RowIsMissing = true;
  lists.adapters[1].RowIsStale = lists.drives[0].RowIsStale = true;
  mirror.OweDeletes({MakeAdapter("GONE", 4), MakeAdapter("GONE TOO", 5)});
  EXPECT_THAT(Written(true), ElementsAre("delete adapter GONE", "delete adapter GONE TOO",
                                         "update adapter B", "update drive A", "insert adapter NEW",
                                         "insert drive NEW", "update plugin"));
  EXPECT_THAT(Written(), IsEmpty());
}

TEST_F(MirrorTest, ARowThatIsMissing_IsInsertedAndNotUpdated) {
  for (auto* marks : {&lists.adapters[0].RowIsMissing, &lists.adapters[0].RowIsStale,
                      &lists.drives[0].RowIsMissing, &lists.drives[0].RowIsStale}) {
    *marks = true;
  }
  EXPECT_THAT(Written(), ElementsAre("insert adapter A", "insert drive A"));
  EXPECT_THAT(Written(), IsEmpty());
}

TEST_F(MirrorTest, TheDriveOfAnAdapter_IsFoundWhereverItStands) {
  std::swap(lists.drives[0], lists.drives[1]);
  lists.adapters[0].RowIsMissing = lists.adapters[1].RowIsMissing = true;
  lists.drives[0].RowIsMissing = lists.drives[1].RowIsMissing = true;
  EXPECT_THAT(Written(), ElementsAre("insert adapter A", "insert drive A", "insert adapter B",
                                     "insert drive B"));
}

TEST_F(MirrorTest, WhatFails_StaysOwedUntilItSucceeds) {
  lists.adapters[0].RowIsStale = lists.drives[0].RowIsStale = true;
  lists.adapters[1].RowIsMissing = lists.drives[1].RowIsMissing = true;
  mirror.OweDeletes({MakeAdapter("GONE", 3)});
  writer.m_Fails = {"delete adapter GONE", "update adapter A", "update drive A",
                    "insert adapter B",    "insert drive B",   "update plugin"};
  const std::vector<std::string> owed = {"delete adapter GONE", "update adapter A",
                                         "update drive A",      "insert adapter B",
                                         "insert drive B",      "update plugin"};
  EXPECT_EQ(Written(true), owed);
  EXPECT_EQ(Written(), owed);
  writer.m_Fails.clear();
  EXPECT_EQ(Written(), owed);
  EXPECT_THAT(Written(), IsEmpty());
}

TEST_F(MirrorTest, NothingIsWrittenUnderANumberWhoseDeleteIsOwed) {
  lists.adapters[0].RowIsMissing = true;  // number 1
  lists.adapters[1].RowIsStale = true;    // number 2
  mirror.OweDeletes({MakeAdapter("OLD 1", 1), MakeAdapter("OLD 2", 2)});
  writer.m_Fails = {"delete adapter OLD 1", "delete adapter OLD 2"};
  EXPECT_THAT(Written(), ElementsAre("delete adapter OLD 1", "delete adapter OLD 2"));
  writer.m_Fails = {"delete adapter OLD 2"};
  EXPECT_THAT(Written(),
              ElementsAre("delete adapter OLD 1", "delete adapter OLD 2", "insert adapter A"));
  writer.m_Fails.clear();
  EXPECT_THAT(Written(), ElementsAre("delete adapter OLD 2", "update adapter B"));
  EXPECT_THAT(Written(), IsEmpty());
}

TEST_F(MirrorTest, AnUpdateAtOnce_IsWrittenOrOwed) {
  mirror.Update(lists.adapters[0], writer);
  EXPECT_THAT(writer.Taken(), ElementsAre("update adapter A"));
  EXPECT_FALSE(lists.adapters[0].RowIsStale);
  writer.m_Fails = {"update adapter A"};
  mirror.Update(lists.adapters[0], writer);
  EXPECT_TRUE(lists.adapters[0].RowIsStale);
}

TEST_F(MirrorTest, AnUpdateAtOnceUnderANumberWhoseDeleteIsOwed_Waits) {
  mirror.OweDeletes({MakeAdapter("OLD", 1)});
  mirror.Update(lists.adapters[0], writer);
  EXPECT_THAT(writer.Taken(), IsEmpty());
  EXPECT_THAT(Written(), ElementsAre("delete adapter OLD", "update adapter A"));
}

TEST_F(MirrorTest, ThePluginsRow_IsUpdatedAgainUntilItSucceeds) {
  writer.m_Fails = {"update plugin"};
  mirror.UpdatePlugin(writer);
  EXPECT_THAT(writer.Taken(), ElementsAre("update plugin"));
  EXPECT_THAT(Written(), ElementsAre("update plugin"));
  writer.m_Fails.clear();
  EXPECT_THAT(Written(), ElementsAre("update plugin"));
  EXPECT_THAT(Written(), IsEmpty());
}

TEST_F(MirrorTest, ThePluginsRowThatIsMissing_IsInsertedAndNotUpdated) {
  writer.m_Fails = {"insert plugin"};
  mirror.InsertPlugin(writer);
  (void)writer.Taken();
  EXPECT_THAT(Written(true), ElementsAre("insert plugin"));
  writer.m_Fails.clear();
  EXPECT_THAT(Written(true), ElementsAre("insert plugin"));
  EXPECT_THAT(Written(true), ElementsAre("update plugin"));
}

// No key finds such a row again: only start-up, whose rows the host clears, inserts it.
TEST_F(MirrorTest, ADriveWhoseSerialNumberReadsLikeTheNull_IsInsertedAtStartUpAlone) {
  lists.adapters[0].SerialNumber = lists.drives[0].SerialNumber = DatabaseWrapper::NULL_DB_STRING;
  const std::string drive = std::string("insert drive ") + DatabaseWrapper::NULL_DB_STRING;
  mirror.InsertAll(lists.adapters, lists.drives, writer);
  EXPECT_THAT(writer.Taken(), testing::Contains(drive));
  lists.adapters[0].RowIsMissing = lists.drives[0].RowIsMissing = true;
  EXPECT_THAT(Written(), testing::Not(testing::Contains(drive)));
  EXPECT_FALSE(lists.drives[0].RowIsMissing);
  EXPECT_THAT(Written(), IsEmpty());
}

}  // namespace
