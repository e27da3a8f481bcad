#include "DatabaseORM/RawSqlite.h"
#include "platform/DB/Support.h"
#include "support/FileSizeLimit.h"
#include "support/Files.h"
#include "support/Unprivileged.h"

#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <DB/Sqlite.h>

namespace {

namespace fs = std::filesystem;
using DatabaseWrapper::CSqliteDatabase;
using DatabaseWrapper::CSqliteOptions;
using DatabaseWrapper::CTransaction;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using vxtest::Attempt;
using vxtest::FailureOf;
using vxtest::RawSqlite;

// A file that a program outside has locked, and an engine on it whose clock stands still.
class SqliteLocked : public testing::Test {
 protected:
  SqliteLocked() {
    engine_.query("CREATE TABLE t(a)");
    engine_.query("INSERT INTO t VALUES(0)");
  }

  CSqliteOptions Options() {
    CSqliteOptions options;
    options.BusyTimeout = std::chrono::milliseconds(20);
    options.Clock = [this] { return now_; };
    return options;
  }

  std::string Insert() {
    return FailureOf([&] { engine_.query("INSERT INTO t VALUES(1)"); });
  }

  vxtest::TempDir dir_;
  std::string path_ = (dir_ / "vx.db").string();
  std::chrono::steady_clock::time_point now_;
  CSqliteDatabase engine_{path_, Options()};
  RawSqlite outside_{path_};
  std::string text_ =
      "The database \"" + path_ +
      "\" is locked by another program (database is locked); try again when it is free.";
};

TEST_F(SqliteLocked, Options_WaitOneSecondAndPauseForTen) {
  EXPECT_EQ(CSqliteOptions().BusyTimeout, std::chrono::seconds(1));
  EXPECT_EQ(CSqliteOptions().PauseAfterBusy, std::chrono::seconds(10));
  CSqliteDatabase plain((dir_ / "plain.db").string());
  EXPECT_THAT(plain.query("PRAGMA busy_timeout"), ElementsAre("1000"));
}

TEST_F(SqliteLocked, Write_FailsAndReadsGoOn) {
  outside_.Run("BEGIN IMMEDIATE");
  EXPECT_THAT(engine_.query("SELECT a FROM t"), ElementsAre("0"));
  EXPECT_EQ(Insert(), text_);
}

// After one wait without a lock the engine answers without trying, even when the lock is gone;
// that it did not try is what makes sixty-four rows cost one wait.
TEST_F(SqliteLocked, AfterAWaitInVain_EverythingFailsAlikeUntilThePauseIsOver) {
  outside_.Run("BEGIN IMMEDIATE");
  EXPECT_EQ(Insert(), text_);
  outside_.Run("ROLLBACK");
  EXPECT_EQ(Insert(), text_);
  EXPECT_EQ(FailureOf([&] { engine_.query("SELECT a FROM t"); }), text_);
  EXPECT_EQ(FailureOf([&] { CTransaction transaction(engine_); }), text_);
  now_ += std::chrono::milliseconds(9999);
  EXPECT_EQ(Insert(), text_);
  now_ += std::chrono::milliseconds(1);
  EXPECT_EQ(Insert(), "(no failure)");
  EXPECT_EQ(outside_.One("SELECT COUNT(*) FROM t"), "2");
}

TEST_F(SqliteLocked, PauseWithoutAClockOfItsOwn_EndsInRealTime) {
  CSqliteOptions options;
  options.BusyTimeout = std::chrono::milliseconds(1);
  options.PauseAfterBusy = std::chrono::milliseconds(50);
  const std::string path = (dir_ / "real.db").string();
  CSqliteDatabase engine(path, options);
  engine.query("CREATE TABLE t(a)");
  const RawSqlite outside(path);
  outside.Run("BEGIN IMMEDIATE");
  EXPECT_NE(FailureOf([&] { engine.query("INSERT INTO t VALUES(1)"); }), "(no failure)");
  outside.Run("ROLLBACK");
  std::this_thread::sleep_for(options.PauseAfterBusy);
  EXPECT_EQ(FailureOf([&] { engine.query("INSERT INTO t VALUES(1)"); }), "(no failure)");
}

TEST_F(SqliteLocked, StillLockedAfterThePause_BeginsANewPause) {
  outside_.Run("BEGIN IMMEDIATE");
  EXPECT_EQ(Insert(), text_);
  now_ += std::chrono::seconds(10);
  EXPECT_EQ(Insert(), text_);
  outside_.Run("ROLLBACK");
  now_ += std::chrono::milliseconds(9999);
  EXPECT_EQ(Insert(), text_);
  now_ += std::chrono::milliseconds(1);
  EXPECT_EQ(Insert(), "(no failure)");
}

TEST_F(SqliteLocked, Transaction_OnALockedFile_DoesNotBegin) {
  outside_.Run("BEGIN IMMEDIATE");
  EXPECT_EQ(FailureOf([&] { CTransaction transaction(engine_); }), text_);
}

TEST_F(SqliteLocked, Open_OfALockedFile_SaysSo) {
  const std::string path = (dir_ / "other.db").string();
  const RawSqlite outside(path);
  outside.Run("CREATE TABLE t(a); BEGIN EXCLUSIVE");
  EXPECT_THAT(FailureOf([&] { CSqliteDatabase engine(path, Options()); }),
              HasSubstr("is locked by another program"));
  outside.Run("ROLLBACK");
  EXPECT_EQ(Attempt(path, false, "SELECT 1"), "1");
}

// A locked file is being changed. It must not be opened as one that never changes, without its
// lock: that would read half of a change.
TEST_F(SqliteLocked, OpenToRead_OfALockedFile_SaysSoAndDoesNotReadPastTheLock) {
  const std::string path = (dir_ / "other.db").string();
  const RawSqlite outside(path);
  outside.Run("CREATE TABLE t(a); BEGIN EXCLUSIVE");
  CSqliteOptions options = Options();
  options.ReadOnly = true;
  EXPECT_THAT(FailureOf([&] { CSqliteDatabase engine(path, options); }),
              HasSubstr("is locked by another program"));
}

// --- the path no longer leads to the file

class SqliteMoved : public testing::Test {
 protected:
  SqliteMoved() {
    engine_.query("CREATE TABLE t(a)");
    engine_.query("INSERT INTO t VALUES('before')");
  }

  // What another program finds at the path.
  std::string Rows() {
    const RawSqlite raw(path_);
    EXPECT_EQ(raw.One("PRAGMA integrity_check"), "ok");
    return raw.One("SELECT group_concat(a) FROM t");
  }

  void RemoveAll() {
    for (const char* suffix : {"", "-wal", "-shm", ".lock"}) fs::remove(path_ + suffix);
  }

  vxtest::TempDir dir_;
  std::string path_ = (dir_ / "d" / "vx.db").string();
  bool made_ = fs::create_directory(dir_ / "d");
  CSqliteDatabase engine_{path_};
};

TEST_F(SqliteMoved, DeletedFile_IsWrittenBackWithTheNextStatement) {
  fs::remove(path_);
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,after");
  engine_.query("INSERT INTO t VALUES('later')");
  EXPECT_EQ(Rows(), "before,after,later");
  EXPECT_FALSE(engine_.Restore());
}

TEST_F(SqliteMoved, DeletedWithEverythingBesideIt_IsWrittenBackAndLockedAgain) {
  RemoveAll();
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,after");
  EXPECT_THAT(FailureOf([&] { CSqliteDatabase second(path_); }), HasSubstr("is written by"));
}

TEST_F(SqliteMoved, Restore_WritesBackWithoutAStatement) {
  RemoveAll();
  EXPECT_TRUE(engine_.Restore());
  EXPECT_EQ(Rows(), "before");
  EXPECT_FALSE(engine_.Restore());
}

TEST_F(SqliteMoved, RenamedFile_StaysAndANewOneIsWritten) {
  fs::rename(path_, dir_ / "kept.db");
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,after");
}

TEST_F(SqliteMoved, FileReplacedByAnother_IsWrittenBackInItsPlace) {
  fs::remove(path_);
  vxtest::WriteFile(path_, "something else altogether");
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,after");
}

// The log of the foreign file must not be replayed into ours.
TEST_F(SqliteMoved, FileReplacedByADatabaseWithLog_IsWrittenBackWithoutThatLog) {
  const RawSqlite other(dir_ / "other.db");
  other.Run("PRAGMA journal_mode = WAL; CREATE TABLE t(a); INSERT INTO t VALUES('theirs')");
  RemoveAll();
  fs::copy(dir_ / "other.db", path_);
  fs::copy(dir_ / "other.db-wal", path_ + "-wal");
  ASSERT_GT(fs::file_size(path_ + "-wal"), 0U);
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,after");
}

// At opening such a file is refused; what takes the path later is treated alike.
TEST_F(SqliteMoved, DatabaseOfAnotherProgramAtThePath_IsLeftAlone) {
  CSqliteOptions options;
  options.ApplicationId = 77;
  const std::string path = (dir_ / "ours.db").string();
  CSqliteDatabase ours(path, options);
  ours.query("PRAGMA application_id = 77");
  ours.query("CREATE TABLE t(a)");
  const auto other = dir_ / "other.db";
  RawSqlite(other).Run("CREATE TABLE precious(a); PRAGMA application_id = 78");
  const std::string content = vxtest::ReadFile(other);
  fs::rename(other, path);
  EXPECT_EQ(FailureOf([&] { ours.query("INSERT INTO t VALUES('after')"); }),
            "The database is gone from its path and was not written back: \"" + path +
                "\" is a database of another program now, which is left alone; move it away.");
  EXPECT_EQ(vxtest::ReadFile(path), content);
  fs::remove(path);
  ours.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(RawSqlite(path).One("SELECT group_concat(a) FROM t"), "after");
  // One of ours is overwritten: the open one is what its host keeps true.
  RawSqlite(other).Run("PRAGMA application_id = 77; CREATE TABLE t(a)");
  fs::rename(other, path);
  EXPECT_TRUE(ours.Restore());
  EXPECT_EQ(RawSqlite(path).One("SELECT group_concat(a) FROM t"), "after");
}

// At opening such a file is refused; what takes the path later is treated alike.
TEST_F(SqliteMoved, DatabaseOfANewerProgramAtThePath_IsLeftAlone) {
  CSqliteOptions options;
  options.ApplicationId = 77;
  const std::string path = (dir_ / "ours.db").string();
  CSqliteDatabase ours(path, options);
  ours.query("PRAGMA application_id = 77");
  ours.query("PRAGMA user_version = 3");
  ours.query("CREATE TABLE t(a)");
  const auto other = dir_ / "other.db";
  RawSqlite(other).Run(
      "CREATE TABLE newer(a); PRAGMA application_id = 77; PRAGMA user_version = 4");
  const std::string content = vxtest::ReadFile(other);
  fs::rename(other, path);
  EXPECT_EQ(FailureOf([&] { ours.query("INSERT INTO t VALUES('after')"); }),
            "The database is gone from its path and was not written back: \"" + path +
                "\" is a database of a newer program now, which is left alone; move it away.");
  EXPECT_EQ(vxtest::ReadFile(path), content);
  fs::rename(path, other);
  RawSqlite(other).Run("PRAGMA user_version = 3");
  fs::rename(other, path);
  EXPECT_TRUE(ours.Restore());
  EXPECT_EQ(RawSqlite(path).One("SELECT COUNT(*) FROM t"), "0");
}

// Whoever opens and closes a file gives up all locks that its process has on it.
TEST_F(SqliteMoved, LostLogThatCannotBeWrittenBack_LeavesTheLocksOfTheFile) {
  const std::string path = (dir_ / "ours.db").string();
  CSqliteOptions options;
  options.ApplicationId = 77;
  CSqliteDatabase ours(path, options);
  ours.query("PRAGMA application_id = 77");
  ours.query("CREATE TABLE t(a)");
  ours.query("PRAGMA wal_checkpoint");
  const auto locked = [&] {
    return vxtest::InChild([&] {
      const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
      struct flock lock {};
      lock.l_type = F_WRLCK;
      lock.l_whence = SEEK_SET;
      lock.l_start = 0x40000002;  // where SQLite keeps the locks of those who have the file open
      lock.l_len = 510;
      fcntl(file, F_GETLK, &lock);
      return std::string(lock.l_type == F_UNLCK ? "no" : "yes");
    });
  };
  ASSERT_EQ(locked(), "yes");
  fs::create_directories(path + ".restore/in the way");
  fs::remove(path + "-wal");
  EXPECT_THAT(FailureOf([&] { ours.query("INSERT INTO t VALUES('lost')"); }),
              HasSubstr("was not written back"));
  EXPECT_EQ(locked(), "yes");
}

// Moving a damaged file away is the way out; it must not come back.
TEST_F(SqliteMoved, DamagedPages_AreNotWrittenBack) {
  engine_.query("PRAGMA cache_size = 1");  // nothing of it is kept in memory
  engine_.query("INSERT INTO t VALUES(zeroblob(400000))");
  engine_.query("PRAGMA wal_checkpoint(TRUNCATE)");
  {
    std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096);
    file << std::string(40 * 4096, '\xA5');
  }
  fs::rename(path_, dir_ / "damaged.db");
  EXPECT_THAT(FailureOf([&] { engine_.query("INSERT INTO t VALUES('after')"); }),
              HasSubstr("is damaged (database disk image is malformed)"));
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_FALSE(fs::exists(path_ + ".restore"));
}

// What the engine writes into a log that is gone from its path would be seen by nobody else, and
// lost with the process.
TEST_F(SqliteMoved, DeletedLog_IsWrittenBackWithTheNextStatement) {
  fs::remove(path_ + "-wal");
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,after");
  EXPECT_FALSE(engine_.Restore());
  fs::remove(path_ + "-wal");
  fs::remove(path_ + "-shm");
  EXPECT_TRUE(engine_.Restore());
  EXPECT_EQ(Rows(), "before,after");
}

// Another process would make an index of its own, which the engine does not keep up. (In this one
// all connections share what they have mapped.)
TEST_F(SqliteMoved, DeletedIndexOfTheLog_IsWrittenBack) {
  fs::remove(path_ + "-shm");
  EXPECT_TRUE(engine_.Restore());
  EXPECT_TRUE(fs::exists(path_ + "-shm"));
  EXPECT_EQ(Rows(), "before");
  EXPECT_FALSE(engine_.Restore());
}

TEST_F(SqliteMoved, LogReplacedByAnother_IsNotReplayed) {
  fs::rename(path_ + "-wal", path_ + "-old");
  fs::copy(path_ + "-old", path_ + "-wal");
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,after");
}

TEST_F(SqliteMoved, DirectoryGone_FailsUntilItIsBack) {
  fs::remove_all(dir_ / "d");
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_THAT(FailureOf([&] { engine_.query("INSERT INTO t VALUES('lost')"); }),
                HasSubstr("The database is gone from its path and was not written back: "));
  }
  fs::create_directory(dir_ / "d");
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,after");
}

TEST_F(SqliteMoved, DirectoryAtThePath_FailsAndLeavesNoCopyUntilItIsGone) {
  fs::remove(path_);
  fs::create_directory(path_);
  EXPECT_THAT(FailureOf([&] { engine_.query("INSERT INTO t VALUES('lost')"); }),
              HasSubstr("cannot be renamed to \"" + path_ + "\": Is a directory."));
  EXPECT_FALSE(fs::exists(path_ + ".restore"));
  fs::remove(path_);
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,after");
}

TEST_F(SqliteMoved, AnotherWriterTookThePath_IsNotOverwritten) {
  RemoveAll();
  {
    CSqliteDatabase other(path_);
    other.query("CREATE TABLE t(a)");
    other.query("INSERT INTO t VALUES('theirs')");
    EXPECT_THAT(FailureOf([&] { engine_.query("INSERT INTO t VALUES('after')"); }),
                HasSubstr("is written by DB_Sqlite_test"));
    EXPECT_EQ(Rows(), "theirs");
  }
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,after");
}

TEST_F(SqliteMoved, InATransaction_IsWrittenBackAfterIt) {
  CTransaction transaction(engine_);
  engine_.query("INSERT INTO t VALUES('inside')");
  RemoveAll();
  engine_.query("INSERT INTO t VALUES('still')");
  EXPECT_FALSE(engine_.Restore());
  EXPECT_FALSE(fs::exists(path_));
  transaction.Commit();
  EXPECT_EQ(Rows(), "before,inside,still");
}

// What was committed is in the open file and comes back with it.
TEST_F(SqliteMoved, CommitThatCannotBeWrittenBackYet_IsACommit) {
  CTransaction transaction(engine_);
  engine_.query("INSERT INTO t VALUES('inside')");
  fs::remove_all(dir_ / "d");
  EXPECT_EQ(FailureOf([&] { transaction.Commit(); }), "(no failure)");
  EXPECT_THAT(FailureOf([&] { engine_.query("SELECT 1"); }),
              HasSubstr("The database is gone from its path and was not written back: "));
  fs::create_directory(dir_ / "d");
  engine_.query("INSERT INTO t VALUES('after')");
  EXPECT_EQ(Rows(), "before,inside,after");
}

TEST_F(SqliteMoved, RepeatedDeletions_LeaveNoDescriptorBehind) {
  const auto descriptors = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = descriptors();
  for (int round = 0; round < 10; ++round) {
    RemoveAll();
    engine_.query("INSERT INTO t VALUES('x')");
  }
  EXPECT_EQ(descriptors(), before);
  EXPECT_EQ(Rows(), "before,x,x,x,x,x,x,x,x,x,x");
}

// --- no room

TEST(SqliteFull, SizeLimit_FailsClearlyAndGoesOnWhenThereIsRoom) {
  const vxtest::TempDir dir;
  CSqliteDatabase engine((dir / "vx.db").string());
  engine.query("CREATE TABLE t(a)");
  engine.query("PRAGMA max_page_count = 3");
  EXPECT_THAT(FailureOf([&] { engine.query("INSERT INTO t VALUES(zeroblob(20000))"); }),
              EndsWith("finds no room: the disk is full or a limit is reached (database or disk is "
                       "full); free some space."));
  engine.query("INSERT INTO t VALUES(1)");
  engine.query("PRAGMA max_page_count = 1000");
  engine.query("INSERT INTO t VALUES(zeroblob(20000))");
  EXPECT_THAT(engine.query("PRAGMA integrity_check"), ElementsAre("ok"));
}

TEST(SqliteFull, FileThatMayNotGrow_FailsClearlyAndGoesOnWhenItMay) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  {
    CSqliteDatabase engine(path);
    engine.query("CREATE TABLE t(a)");
    std::string told;
    {
      const vxtest::FileSizeLimit limit(40000);
      told = FailureOf([&] { engine.query("INSERT INTO t VALUES(zeroblob(100000))"); });
    }
    EXPECT_EQ(told, "The database \"" + path +
                        "\" finds no room: the disk is full or a limit is reached (disk I/O error, "
                        "File too large); free some space.");
    engine.query("INSERT INTO t VALUES('kept')");
    EXPECT_THAT(engine.query("SELECT a FROM t"), ElementsAre("kept"));
  }
  EXPECT_EQ(RawSqlite(path).One("PRAGMA integrity_check"), "ok");
}

TEST(SqliteFull, WritingBackWithoutRoom_LeavesNoHalfCopyAndIsTriedAgain) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  {
    CSqliteDatabase engine(path);
    engine.query("CREATE TABLE t(a)");
    engine.query("INSERT INTO t VALUES(zeroblob(100000))");
    fs::remove(path);
    std::string told;
    {
      const vxtest::FileSizeLimit limit(40000);
      told = FailureOf([&] { engine.query("DELETE FROM t WHERE a = 1"); });
    }
    EXPECT_THAT(
        told, testing::StartsWith("The database is gone from its path and was not written back: "));
    EXPECT_THAT(told, HasSubstr("finds no room"));
    EXPECT_FALSE(fs::exists(path + ".restore"));
    EXPECT_THAT(engine.query("SELECT length(a) FROM t"), ElementsAre("100000"));
  }
  EXPECT_EQ(RawSqlite(path).One("PRAGMA integrity_check"), "ok");
}

TEST(SqliteFull, CommitWithoutRoom_SaysSoAndKeepsNothing) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  CSqliteDatabase engine(path);
  engine.query("CREATE TABLE t(a)");
  {
    CTransaction transaction(engine);
    engine.query("INSERT INTO t VALUES(zeroblob(100000))");
    std::string told;
    {
      const vxtest::FileSizeLimit limit(40000);
      told = FailureOf([&] { transaction.Commit(); });
    }
    EXPECT_THAT(told, HasSubstr("finds no room"));
  }
  EXPECT_THAT(engine.query("SELECT COUNT(*) FROM t"), ElementsAre("0"));
  CTransaction next(engine);
  engine.query("INSERT INTO t VALUES('kept')");
  next.Commit();
  EXPECT_EQ(RawSqlite(path).One("SELECT a FROM t"), "kept");
}

// --- files that cannot be opened

TEST(SqliteOpen, NoDatabase_IsRefusedAndLeftAlone) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  const std::string content =
      "This is no database, but it is longer than a hundred characters, "
      "so that nobody takes it for an empty one or for one cut short.";
  vxtest::WriteFile(path, content);
  const std::string text = "The database \"" + path +
                           "\" is no database (file is not a database); name another file or move "
                           "this one away.";
  EXPECT_EQ(Attempt(path, false, "SELECT 1"), text);
  EXPECT_EQ(Attempt(path, true, "SELECT 1"), text);
  EXPECT_EQ(vxtest::ReadFile(path), content);
}

TEST(SqliteOpen, DamagedFile_SaysSo) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  RawSqlite(path).Run("CREATE TABLE t(a); INSERT INTO t VALUES(zeroblob(9000))");
  std::string content = vxtest::ReadFile(path);
  content.replace(4096, 4096, 4096, '\xA5');
  vxtest::WriteFile(path, content);
  EXPECT_EQ(
      Attempt(path, false, "SELECT * FROM t"),
      "The database \"" + path +
          "\" is damaged (database disk image is malformed); move the file away; a new one is "
          "made at the next start.");
}

TEST(SqliteOpen, MissingDirectory_SaysSo) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "no" / "vx.db").string();
  EXPECT_EQ(Attempt(path, false, "SELECT 1"),
            "The database \"" + path + "\" cannot be locked for writing: \"" + path +
                ".lock\": No such file or directory; its directory must exist and be writable for "
                "this user.");
  EXPECT_EQ(Attempt(path, true, "SELECT 1"),
            "The database \"" + path +
                "\" cannot be opened (No such file or directory); name an existing file.");
}

TEST(SqliteOpen, Directory_CannotBeOpened) {
  const vxtest::TempDir dir;
  EXPECT_THAT(Attempt(dir.Path().string(), false, "SELECT 1"), HasSubstr("cannot be opened"));
  fs::remove(dir.Path().string() + ".lock");
}

TEST(SqliteOpen, PathThroughALoopOfLinks_SaysSo) {
  const vxtest::TempDir dir;
  fs::create_symlink("loop", dir / "loop");
  const std::string path = (dir / "loop" / "vx.db").string();
  EXPECT_EQ(Attempt(path, false, "SELECT 1"),
            "The database \"" + path +
                "\" cannot be opened (Too many levels of symbolic links); name another file.");
}

TEST(SqliteOpen, EmptyPath_IsRefused) {
  EXPECT_EQ(Attempt("", false, "SELECT 1"), "The database has no path; name a file.");
}

// A database in a directory that an ordinary user may enter but not write.
class SqlitePermissions : public testing::Test {
 protected:
  SqlitePermissions() {
    fs::permissions(dir_.Path(), fs::perms(0755));
    CSqliteDatabase(path_).query("CREATE TABLE t(a)");
    CSqliteDatabase(path_).query("INSERT INTO t VALUES(7)");
  }
  void Forbid(const fs::path& path, int mode) { fs::permissions(path, fs::perms(mode)); }
  // Whoever runs the tests must be able to remove the files again.
  ~SqlitePermissions() override { Forbid(dir_.Path(), 0755); }

  vxtest::TempDir dir_;
  std::string path_ = (dir_ / "vx.db").string();
};

TEST_F(SqlitePermissions, WriteIntoAReadOnlyDirectory_SaysSo) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  Forbid(dir_.Path(), 0555);
  Forbid(path_ + ".lock", 0444);
  EXPECT_EQ(Attempt(path_, false, "SELECT 1"),
            "The database \"" + path_ + "\" cannot be locked for writing: \"" + path_ +
                ".lock\": Permission denied; its directory must exist and be writable for this "
                "user.");
}

TEST_F(SqlitePermissions, WriteAReadOnlyFile_SaysSo) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  Forbid(path_, 0444);
  Forbid(path_ + ".lock", 0666);
  Forbid(dir_.Path(), 0777);
  EXPECT_EQ(Attempt(path_, false, "SELECT 1"), "The database \"" + path_ +
                                                   "\" is read-only (no permission to write); make "
                                                   "the file, its -wal and -shm, and its directory "
                                                   "writable for this user.");
}

// What is left read-only beside the file would block every later writer.
TEST_F(SqlitePermissions, LookIntoAReadOnlyFile_LeavesNothingBesideIt) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  Forbid(dir_.Path(), 0777);
  Forbid(path_, 0444);
  EXPECT_EQ(Attempt(path_, true, "SELECT a FROM t"), "7");
  for (const char* suffix : {"-wal", "-shm"}) EXPECT_FALSE(fs::exists(path_ + suffix)) << suffix;
}

TEST_F(SqlitePermissions, ReadWhereNothingMayBeWritten_Works) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  Forbid(path_, 0444);
  Forbid(dir_.Path(), 0555);
  EXPECT_EQ(Attempt(path_, true, "SELECT a FROM t"), "7");
}

// The log of a writer that was killed holds rows that count.
TEST_F(SqlitePermissions, ReadALogWhereNothingMayBeWritten_Works) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  vxtest::InChild([&] {
    auto* const killed = new CSqliteDatabase(path_);
    return killed->query("INSERT INTO t VALUES(8)").empty() ? "" : "rows";
  });
  ASSERT_GT(fs::file_size(path_ + "-wal"), 0U);
  for (const char* suffix : {"", "-wal", "-shm"}) Forbid(path_ + suffix, 0444);
  Forbid(dir_.Path(), 0555);
  EXPECT_EQ(Attempt(path_, true, "SELECT MAX(a) FROM t"), "8");
}

// The path goes through a "file:" text on that way.
TEST_F(SqlitePermissions, ReadWhereNothingMayBeWritten_OddNames_Works) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  const fs::path odd = dir_ / "a?b#c%41.db";
  fs::rename(path_, odd);
  Forbid(odd, 0444);
  Forbid(dir_.Path(), 0555);
  EXPECT_EQ(Attempt(odd.string(), true, "SELECT a FROM t"), "7");
}

TEST_F(SqlitePermissions, ReadAFileThatMayNotBeRead_SaysSo) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  Forbid(path_, 0000);
  EXPECT_THAT(Attempt(path_, true, "SELECT a FROM t"),
              HasSubstr("cannot be opened (unable to open database file"));
}

}  // namespace
