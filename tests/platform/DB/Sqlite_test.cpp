#include "DatabaseORM/RawSqlite.h"
#include "platform/DB/Support.h"
#include "support/Files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <DB/Sqlite.h>

namespace {

using DatabaseWrapper::CSqliteDatabase;
using DatabaseWrapper::CTransaction;
using DatabaseWrapper::IN_MEMORY;
using testing::ElementsAre;
using testing::IsEmpty;
using vxtest::FailureOf;
using vxtest::RawSqlite;

std::string Count(CSqliteDatabase& database) {
  return database.query("SELECT COUNT(*) FROM t").at(0);
}

// --- query

TEST(Sqlite, Query_ReturnsCellsRowByRow) {
  CSqliteDatabase database(IN_MEMORY);
  EXPECT_THAT(database.query("CREATE TABLE t(a INTEGER, b TEXT)"), IsEmpty());
  EXPECT_THAT(database.query("INSERT INTO t VALUES(1, 'x'), (NULL, ''), (-3, NULL);"), IsEmpty());
  EXPECT_THAT(database.query("SELECT * FROM t"), ElementsAre("1", "x", "NULL", "", "-3", "NULL"));
  EXPECT_THAT(database.query("SELECT * FROM t WHERE a = 99"), IsEmpty());
  EXPECT_THAT(database.query("SELECT MAX(a) FROM t WHERE a = 99"), ElementsAre("NULL"));
  EXPECT_THAT(database.query("UPDATE t SET b = 'y'"), IsEmpty());
  EXPECT_THAT(database.query("SELECT DISTINCT b FROM t"), ElementsAre("y"));
}

TEST(Sqlite, Query_Reals_ComeBackExactlyAndWithoutExponent) {
  CSqliteDatabase database(IN_MEMORY);
  EXPECT_THAT(
      database.query("SELECT 2.5, 3.0, 0.1, -0.000001, 1e20, 18446744073709551614"),
      ElementsAre("2.5", "3", "0.1", "-0.000001", "100000000000000000000", "18446744073709551616"));
  EXPECT_EQ(std::stod(database.query("SELECT 4.9e-300").at(0)), 4.9e-300);
  EXPECT_EQ(database.query("SELECT -1.7976931348623157e308").at(0).size(), 310U);
}

TEST(Sqlite, Query_TextsOfAnyContent_ComeBackByteForByte) {
  CSqliteDatabase database(IN_MEMORY);
  database.query("CREATE TABLE t(a TEXT)");
  for (const std::string& text :
       {std::string("\xff\xfe\x80"), std::string("a\nb\r\n--;/*"), std::string(1 << 20, 'x')}) {
    database.query("DELETE FROM t");
    database.query("INSERT INTO t VALUES('" + text + "')");
    EXPECT_EQ(database.query("SELECT a FROM t").at(0), text);
  }
  EXPECT_EQ(database.query("SELECT x'610062'").at(0), std::string("a\0b", 3));
}

TEST(Sqlite, Query_WithForeignKeyPragma_EnforcesForeignKeys) {
  CSqliteDatabase database(IN_MEMORY);
  database.query("CREATE TABLE p(ID INTEGER PRIMARY KEY)");
  database.query("CREATE TABLE t(a INTEGER REFERENCES p(ID))");
  database.query("INSERT INTO t VALUES(1)");
  EXPECT_EQ(
      FailureOf([&] { database.query("PRAGMA foreign_keys = ON; INSERT INTO t VALUES(2);"); }),
      "The database \":memory:\" refused the statement (FOREIGN KEY constraint failed).");
  EXPECT_THAT(database.query("PRAGMA foreign_keys = ON; SELECT a FROM t"), ElementsAre("1"));
  for (const std::string alone : {"", " ", " \r\n\t"}) {
    EXPECT_THAT(database.query("PRAGMA foreign_keys = ON;" + alone), IsEmpty());
  }
}

TEST(Sqlite, Query_ForeignKeyPragmaInATransaction_IsAskedForAgain) {
  CSqliteDatabase database(IN_MEMORY);
  database.query("CREATE TABLE p(ID INTEGER PRIMARY KEY)");
  database.query("CREATE TABLE t(a INTEGER REFERENCES p(ID))");
  {
    CTransaction transaction(database);
    database.query("PRAGMA foreign_keys = ON; INSERT INTO t VALUES(1)");
    transaction.Commit();
  }
  EXPECT_NE(FailureOf([&] { database.query("PRAGMA foreign_keys = ON; INSERT INTO t VALUES(2)"); }),
            "(no failure)");
}

TEST(Sqlite, Query_AnythingBehindTheStatement_IsRefusedAndNothingRun) {
  CSqliteDatabase database(IN_MEMORY);
  database.query("CREATE TABLE t(a)");
  for (const std::string tail : {" DELETE FROM t", "; DROP TABLE t", " -- comment", "/* */", ";",
                                 "PRAGMA foreign_keys = ON;"}) {
    EXPECT_EQ(FailureOf([&] { database.query("INSERT INTO t VALUES(1);" + tail); }),
              "There is something behind the statement; nothing was run.")
        << tail;
  }
  EXPECT_EQ(FailureOf([&] {
              database.query(
                  "PRAGMA foreign_keys = ON; PRAGMA foreign_keys = ON; INSERT INTO t VALUES(1)");
            }),
            "There is something behind the statement; nothing was run.");
  EXPECT_EQ(Count(database), "0");
  database.query("INSERT INTO t VALUES(1); \r\n\t");
  EXPECT_EQ(Count(database), "1");
}

TEST(Sqlite, Query_EmptyStatement_IsRefused) {
  CSqliteDatabase database(IN_MEMORY);
  for (const std::string statement : {"", "  ", ";", "-- comment"}) {
    EXPECT_EQ(FailureOf([&] { database.query(statement); }), "The statement is empty.");
  }
}

TEST(Sqlite, Query_NulByte_IsRefused) {
  CSqliteDatabase database(IN_MEMORY);
  EXPECT_EQ(FailureOf([&] { database.query(std::string("SELECT 1\0DROP", 13)); }),
            "The statement holds a NUL byte and was not run.");
}

TEST(Sqlite, Query_WrongStatement_SaysWhatIsWrong) {
  CSqliteDatabase database(IN_MEMORY);
  EXPECT_EQ(FailureOf([&] { database.query("SELECT * FROM nowhere"); }),
            "The database \":memory:\" refused the statement (no such table: nowhere).");
}

// --- files

TEST(Sqlite, Open_MissingFile_MakesItWithWriteAheadLog) {
  const vxtest::TempDir dir;
  CSqliteDatabase database((dir / "vx.db").string());
  database.query("CREATE TABLE t(a)");
  database.query("INSERT INTO t VALUES(1)");
  EXPECT_EQ(RawSqlite(dir / "vx.db").One("PRAGMA journal_mode"), "wal");
  EXPECT_EQ(RawSqlite(dir / "vx.db").One("SELECT a FROM t"), "1");
  EXPECT_EQ(database.query("PRAGMA synchronous"), std::vector<std::string>{"1"});
}

TEST(Sqlite, Close_LeavesTheDatabaseAndTheLockFileOnly) {
  const vxtest::TempDir dir;
  { CSqliteDatabase((dir / "vx.db").string()).query("CREATE TABLE t(a)"); }
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.Path())) {
    names.push_back(entry.path().filename());
  }
  EXPECT_THAT(names, testing::UnorderedElementsAre("vx.db", "vx.db.lock"));
}

TEST(Sqlite, Path_IsAbsoluteAndWithoutLinks) {
  const vxtest::TempDir dir;
  const auto real = std::filesystem::canonical(dir.Path());
  vxtest::WriteFile(dir / "real.db", "");
  std::filesystem::create_symlink("real.db", dir / "link.db");
  CSqliteDatabase database((dir / "link.db").string());
  EXPECT_EQ(database.Path(), real / "real.db");
  EXPECT_TRUE(std::filesystem::exists(dir / "real.db.lock"));
}

TEST(Sqlite, Descriptors_DoNotSurviveAnExec) {
  const vxtest::TempDir dir;
  CSqliteDatabase database((dir / "vx.db").string());
  database.query("CREATE TABLE t(a)");
  int seen = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const auto target = std::filesystem::read_symlink(entry.path(), gone).string();
    if (target.find("vx.db") == std::string::npos) continue;
    ++seen;
    const int flags = fcntl(std::stoi(entry.path().filename()), F_GETFD);
    EXPECT_EQ(flags & FD_CLOEXEC, FD_CLOEXEC) << target;
  }
  EXPECT_GE(seen, 3);  // database, log, lock
}

TEST(Sqlite, ReadOnly_SeesTheWritersRowsAndWritesNothing) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  CSqliteDatabase writer(path);
  writer.query("CREATE TABLE t(a)");
  DatabaseWrapper::CSqliteOptions options;
  options.ReadOnly = true;
  CSqliteDatabase reader(path, options);
  writer.query("INSERT INTO t VALUES(1)");
  EXPECT_EQ(Count(reader), "1");
  EXPECT_EQ(FailureOf([&] { reader.query("DELETE FROM t"); }),
            "The database \"" + path +
                "\" is read-only (attempt to write a readonly database); make the file, its -wal "
                "and -shm, and its directory writable for this user.");
  EXPECT_EQ(Count(writer), "1");
}

// What lies in the directory of the database.
std::vector<std::string> FilesIn(const vxtest::TempDir& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.Path())) {
    names.push_back(entry.path().filename());
  }
  return names;
}

TEST(Sqlite, ReadOnly_TakesAwayTheLogThatItMadeAndLeavesTheFileAsItWas) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  { CSqliteDatabase(path).query("CREATE TABLE t(a)"); }
  const std::vector<std::string> before = FilesIn(dir);
  const std::string content = vxtest::ReadFile(path);
  {
    DatabaseWrapper::CSqliteOptions options;
    options.ReadOnly = true;
    CSqliteDatabase reader(path, options);
    EXPECT_EQ(Count(reader), "0");
    EXPECT_TRUE(std::filesystem::exists(path + "-wal"));
  }
  EXPECT_THAT(FilesIn(dir), testing::UnorderedElementsAreArray(before));
  EXPECT_EQ(vxtest::ReadFile(path), content);
}

TEST(Sqlite, ReadOnly_LeavesTheLogOfAWriterThatWasKilled) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  vxtest::InChild([&] {
    auto* const killed = new CSqliteDatabase(path);
    killed->query("CREATE TABLE t(a)");
    return killed->query("INSERT INTO t VALUES(8)").empty() ? "" : "rows";
  });
  const std::vector<std::string> before = FilesIn(dir);
  const std::string content = vxtest::ReadFile(path);
  const std::string log = vxtest::ReadFile(path + "-wal");
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(vxtest::Attempt(path, true, "SELECT a FROM t"), "8");
  EXPECT_THAT(FilesIn(dir), testing::UnorderedElementsAreArray(before));
  EXPECT_EQ(vxtest::ReadFile(path), content);
  EXPECT_EQ(vxtest::ReadFile(path + "-wal"), log);
}

// --- one writer

TEST(Sqlite, SecondWriter_IsToldWhoIsTheFirst) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  const std::string holder = "DB_Sqlite_test (process " + std::to_string(getpid()) + ")";
  {
    CSqliteDatabase first(path);
    const std::string text = "The database \"" + path + "\" is written by " + holder +
                             "; it takes one writer: end that one or name another file.";
    EXPECT_EQ(FailureOf([&] { CSqliteDatabase second(path); }), text);
    EXPECT_EQ(vxtest::InChild([&] { return vxtest::Attempt(path, false, "SELECT 7"); }), text);
    EXPECT_EQ(vxtest::InChild([&] { return vxtest::Attempt(path, true, "SELECT 7"); }), "7");
  }
  EXPECT_EQ(vxtest::Attempt(path, false, "SELECT 7"), "7");
}

TEST(Sqlite, SecondWriter_AfterTheLockFileWasRemoved_IsStillRefused) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  CSqliteDatabase first(path);
  std::filesystem::remove(path + ".lock");
  first.query("CREATE TABLE t(a)");
  EXPECT_THAT(FailureOf([&] { CSqliteDatabase second(path); }),
              testing::HasSubstr("is written by DB_Sqlite_test"));
}

// The lock is on the file itself: neither its name nor that of the lock file matters.
TEST(Sqlite, SecondWriter_WhileTheFirstIsIdle_IsRefusedUnderAnyName) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  CSqliteDatabase first(path);
  first.query("CREATE TABLE t(a)");
  std::filesystem::create_hard_link(path, dir / "other.db");
  std::filesystem::remove(path + ".lock");
  for (const std::string& name : {path, (dir / "other.db").string()}) {
    EXPECT_THAT(vxtest::InChild([&] { return vxtest::Attempt(name, false, "SELECT 7"); }),
                testing::HasSubstr("is written by another process; it takes one writer"));
    EXPECT_FALSE(std::filesystem::exists(name + ".lock"));
  }
  first.query("INSERT INTO t VALUES(1)");
  EXPECT_EQ(Count(first), "1");
  EXPECT_THAT(vxtest::InChild([&] { return vxtest::Attempt(path, false, "SELECT 7"); }),
              testing::HasSubstr("is written by DB_Sqlite_test"));
}

// A lock on the writer's byte that whoever may read the file can take.
class CReadLock {
 public:
  explicit CReadLock(const std::string& path) : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    struct flock lock {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0x40001000;
    lock.l_len = 1;
    held_ = fcntl(file_, F_OFD_SETLK, &lock) == 0;
  }
  ~CReadLock() { close(file_); }
  CReadLock(const CReadLock&) = delete;
  CReadLock& operator=(const CReadLock&) = delete;

  bool Held() const { return held_; }

 private:
  int file_;
  bool held_ = false;
};

std::string SeesAWriter(const std::string& path) {
  return vxtest::InChild([&] { return DatabaseWrapper::HasWriter(path) ? "yes" : "no"; });
}

TEST(Sqlite, ReadLockOfSomebodyElse_KeepsNoWriterOut) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  { CSqliteDatabase(path).query("CREATE TABLE t(a)"); }
  auto lock = std::make_unique<CReadLock>(path);
  ASSERT_TRUE(lock->Held());
  EXPECT_EQ(SeesAWriter(path), "no");
  CSqliteDatabase first(path);
  first.query("INSERT INTO t VALUES(1)");
  EXPECT_THAT(vxtest::InChild([&] { return vxtest::Attempt(path, false, "SELECT 7"); }),
              testing::HasSubstr("is written by DB_Sqlite_test"));
  lock.reset();
  first.query("INSERT INTO t VALUES(2)");
  EXPECT_EQ(SeesAWriter(path), "yes");
  EXPECT_FALSE(CReadLock(path).Held());
  EXPECT_EQ(Count(first), "2");
}

TEST(Sqlite, WriterUnderAnotherName_WhoCameWhileAReaderHeldTheLock_EndsTheWriting) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  { CSqliteDatabase(path).query("CREATE TABLE t(a)"); }
  std::filesystem::create_hard_link(path, dir / "other.db");
  auto lock = std::make_unique<CReadLock>(path);
  CSqliteDatabase first(path);
  lock.reset();
  const CSqliteDatabase second((dir / "other.db").string());
  EXPECT_THAT(FailureOf([&] { first.query("INSERT INTO t VALUES(1)"); }),
              testing::HasSubstr("is written by another process; it takes one writer"));
}

TEST(Sqlite, LockFile_IsItsOwnersAlone) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  vxtest::WriteFile(path + ".lock", "");
  std::filesystem::permissions(path + ".lock", std::filesystem::perms(0644));
  for (int opening = 0; opening < 2; ++opening) {
    const CSqliteDatabase database(path);
    EXPECT_EQ(std::filesystem::status(path + ".lock").permissions(), std::filesystem::perms(0600));
    std::filesystem::remove(path + ".lock");
  }
}

TEST(Sqlite, LockFile_ThatIsAnothersFileByASecondName_IsLeftAlone) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  vxtest::WriteFile(dir / "precious", "precious");
  std::filesystem::create_hard_link(dir / "precious", path + ".lock");
  EXPECT_EQ(FailureOf([&] { const CSqliteDatabase database(path); }),
            "The database \"" + path + "\" cannot be locked for writing: \"" + path +
                ".lock\" is no file of its own; remove it.");
  EXPECT_EQ(vxtest::ReadFile(dir / "precious"), "precious");
  EXPECT_FALSE(std::filesystem::exists(path));
}

// A process that a writer has just started holds its locks until it runs its own program.
TEST(Sqlite, LockThatAChildOfTheLastWriterStillHolds_IsWaitedFor) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  auto first = std::make_unique<CSqliteDatabase>(path);
  const pid_t child = fork();
  if (child == 0) {
    poll(nullptr, 0, 50);
    _exit(0);
  }
  first.reset();
  EXPECT_EQ(vxtest::Attempt(path, false, "SELECT 7"), "7");
  waitpid(child, nullptr, 0);
}

TEST(Sqlite, HasWriter_TellsWhileThereIsOne) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  const auto told = [&] {
    return vxtest::InChild([&] { return DatabaseWrapper::HasWriter(path) ? "yes" : "no"; });
  };
  EXPECT_EQ(told(), "no");
  {
    CSqliteDatabase database(path);
    EXPECT_EQ(told(), "yes");
    std::filesystem::remove(path);
    EXPECT_TRUE(database.Restore());
    EXPECT_EQ(told(), "yes");
  }
  EXPECT_EQ(told(), "no");
  EXPECT_FALSE(DatabaseWrapper::HasWriter(path));
}

TEST(Sqlite, OpeningThatFails_LeavesNothingBehind) {
  const vxtest::TempDir dir;
  vxtest::WriteFile(dir / "notes.txt", "no database, whatever it is called\n");
  EXPECT_THAT(FailureOf([&] { const CSqliteDatabase database((dir / "notes.txt").string()); }),
              testing::HasSubstr("is no database"));
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.Path())) {
    names.push_back(entry.path().filename());
  }
  EXPECT_THAT(names, testing::ElementsAre("notes.txt"));
}

// SQLite would take a relative name that begins with "file:" for something else.
TEST(Sqlite, Path_OfANewFileWithARelativeName_IsAbsolute) {
  const vxtest::TempDir dir;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(dir.Path());
  for (const char* name : {"new.db", "file::memory:?cache=shared"}) {
    const CSqliteDatabase database(name);
    EXPECT_EQ(database.Path(), (std::filesystem::canonical(dir.Path()) / name).string());
    EXPECT_TRUE(std::filesystem::exists(dir / name));
  }
  std::filesystem::current_path(before);
}

// The first one makes the file that the link leads to.
TEST(Sqlite, SecondWriter_ThroughALinkToAFileThatWasMissing_IsRefused) {
  const vxtest::TempDir dir;
  std::filesystem::create_directory(dir / "data");
  std::filesystem::create_symlink("data/real.db", dir / "link2.db");
  std::filesystem::create_symlink("link2.db", dir / "link.db");
  CSqliteDatabase first((dir / "link.db").string());
  EXPECT_EQ(first.Path(), std::filesystem::canonical(dir.Path()) / "data" / "real.db");
  EXPECT_THAT(FailureOf([&] { CSqliteDatabase second((dir / "link.db").string()); }),
              testing::HasSubstr("is written by DB_Sqlite_test"));
}

TEST(Sqlite, SecondWriter_LockFileWithoutName_IsStillRefused) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  CSqliteDatabase first(path);
  std::filesystem::resize_file(dir / "vx.db.lock", 0);
  EXPECT_THAT(FailureOf([&] { CSqliteDatabase second(path); }),
              testing::HasSubstr("is written by another process;"));
}

TEST(Sqlite, Writer_ThatWasKilled_LeavesNoLockAndEveryRowItReported) {
  for (int round = 0; round < 3; ++round) {
    const vxtest::TempDir dir;
    const std::string path = (dir / "vx.db").string();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
      CSqliteDatabase database(path);
      database.query("CREATE TABLE t(a)");
      for (char number = 1;; ++number) {
        database.query("INSERT INTO t VALUES(1)");
        if (write(ends[1], &number, 1) != 1) _exit(1);
      }
    }
    close(ends[1]);
    char rows = 0;
    while (rows < 20 + 7 * round && read(ends[0], &rows, 1) == 1) {
    }
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    close(ends[0]);
    CSqliteDatabase database(path);
    EXPECT_GE(std::stoi(Count(database)), rows);
    EXPECT_THAT(database.query("PRAGMA integrity_check"), ElementsAre("ok"));
  }
}

// --- transactions

TEST(SqliteTransaction, Commit_MakesItAllVisibleAtOnce) {
  const vxtest::TempDir dir;
  CSqliteDatabase database((dir / "vx.db").string());
  database.query("CREATE TABLE t(a)");
  const RawSqlite raw(dir / "vx.db");
  CTransaction transaction(database);
  database.query("INSERT INTO t VALUES(1)");
  database.query("INSERT INTO t VALUES(2)");
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM t"), "0");
  transaction.Commit();
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM t"), "2");
  transaction.Commit();
  transaction.Rollback();
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM t"), "2");
}

TEST(SqliteTransaction, Destruction_RollsBack) {
  CSqliteDatabase database(IN_MEMORY);
  database.query("CREATE TABLE t(a)");
  {
    CTransaction transaction(database);
    database.query("INSERT INTO t VALUES(1)");
  }
  EXPECT_EQ(Count(database), "0");
  database.query("INSERT INTO t VALUES(1)");
  EXPECT_EQ(Count(database), "1");
}

TEST(SqliteTransaction, FailedStatement_UndoesItselfAlone) {
  CSqliteDatabase database(IN_MEMORY);
  database.query("CREATE TABLE t(a UNIQUE)");
  CTransaction transaction(database);
  database.query("INSERT INTO t VALUES(1)");
  EXPECT_NE(FailureOf([&] { database.query("INSERT INTO t VALUES(1)"); }), "(no failure)");
  database.query("INSERT INTO t VALUES(2)");
  transaction.Commit();
  EXPECT_EQ(Count(database), "2");
}

TEST(SqliteTransaction, SecondOne_IsRefused) {
  CSqliteDatabase database(IN_MEMORY);
  database.query("CREATE TABLE t(a)");
  CTransaction transaction(database);
  database.query("INSERT INTO t VALUES(1)");
  EXPECT_EQ(FailureOf([&] { CTransaction second(database); }),
            "The database \":memory:\" refused the statement (cannot start a transaction within a "
            "transaction).");
  transaction.Commit();
  EXPECT_EQ(Count(database), "1");
}

TEST(SqliteTransaction, GivenUpByTheEngine_CommitSaysSo) {
  const vxtest::TempDir dir;
  CSqliteDatabase database((dir / "vx.db").string());
  database.query("CREATE TABLE t(a)");
  database.query("PRAGMA max_page_count = 4");
  CTransaction transaction(database);
  database.query("INSERT INTO t VALUES(1)");
  EXPECT_EQ(FailureOf([&] { database.query("INSERT INTO t VALUES(zeroblob(100000))"); }),
            "The database \"" + database.Path() +
                "\" finds no room: the disk is full or a limit is reached (database or disk is "
                "full); free some space.");
  database.query("INSERT INTO t VALUES(2)");
  EXPECT_EQ(
      FailureOf([&] { transaction.Commit(); }),
      "The database \"" + database.Path() +
          "\" gave the transaction up when a statement in it failed; nothing that was written "
          "before that statement was kept.");
  EXPECT_THAT(database.query("SELECT a FROM t"), ElementsAre("2"));
}

}  // namespace
