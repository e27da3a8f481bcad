#include "support/FileSizeLimit.h"
#include "support/Files.h"
#include "support/Scale.h"
#include "support/Unprivileged.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <PI/Catalogue.h>
#include <PI/ConfigFile.h>

namespace {

namespace fs = std::filesystem;
using PI::CConfigFile;
using vxtest::ReadFile;
using vxtest::WriteFile;

constexpr unsigned int FAILED = PI::ERR_GENERAL_FAILURE;
const char* const UNTOUCHED = "untouched";

class ConfigFile : public ::testing::Test {
 protected:
  ConfigFile() { file_.SetFileName(path_); }

  // What reading the key from a file of this content gives; UNTOUCHED when it is not read.
  std::string ReadFrom(const std::string& content, const std::string& key) {
    WriteFile(path_, content);
    return Read(key);
  }

  std::string Read(const std::string& key) const {
    std::string value = UNTOUCHED;
    const unsigned int result = file_.ReadKeyValue(key, value, -1, -1);
    EXPECT_EQ(result == 0, value != UNTOUCHED) << "result " << result << ", value " << value;
    return value;
  }

  unsigned int Write(const std::string& key, const std::string& value) const {
    return file_.WriteKeyValue(key, value, -1, -1);
  }

  // The content of the file after the write.
  std::string WrittenTo(const std::string& content, const std::string& key,
                        const std::string& value) {
    WriteFile(path_, content);
    EXPECT_EQ(Write(key, value), 0U);
    return ReadFile(path_);
  }

  std::size_t FileCount() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory_.Path()), fs::directory_iterator()));
  }

  const vxtest::TempDir directory_;
  const std::string path_ = directory_ / "piTorvex.ini";
  CConfigFile file_;
};

// ---- Reading ----

TEST_F(ConfigFile, Read_GivesTheTextBehindTheKey) {
  EXPECT_EQ(ReadFrom("PollInterval=60\nOther=1\n", "PollInterval"), "60");
  EXPECT_EQ(Read("Other"), "1");
}

TEST_F(ConfigFile, Read_CutsBlanksAroundKeyAndValue) {
  EXPECT_EQ(ReadFrom(" \tkey \t=\t two words \t\n", "key"), "two words");
}

TEST_F(ConfigFile, Read_KeepsFurtherEqualSigns) {
  EXPECT_EQ(ReadFrom("key=a=b=\n", "key"), "a=b=");
}

TEST_F(ConfigFile, Read_EmptyValue_IsFound) {
  EXPECT_EQ(ReadFrom("key=\n", "key"), "");
}

TEST_F(ConfigFile, Read_UnknownKey_Fails) {
  EXPECT_EQ(ReadFrom("key=1\n", "kex"), UNTOUCHED);
}

TEST_F(ConfigFile, Read_PartOfAKey_Fails) {
  EXPECT_EQ(ReadFrom("longkey=1\nkeylong=2\n", "key"), UNTOUCHED);
}

TEST_F(ConfigFile, Read_DistinguishesCase) {
  EXPECT_EQ(ReadFrom("Key=1\n", "key"), UNTOUCHED);
}

TEST_F(ConfigFile, Read_Comments_AreNoEntries) {
  EXPECT_EQ(ReadFrom("#key=1\n;key=2\n  # key=3\n[key=4]\n", "key"), UNTOUCHED);
  EXPECT_EQ(Read("#key"), UNTOUCHED);
  EXPECT_EQ(Read(";key"), UNTOUCHED);
  EXPECT_EQ(Read("[key"), UNTOUCHED);
}

TEST_F(ConfigFile, Read_LinesWithoutEqualSign_AreNoEntries) {
  EXPECT_EQ(ReadFrom("key\n\n   \nkey=1\n", "key"), "1");
}

TEST_F(ConfigFile, Read_DuplicateKeys_FirstCounts) {
  EXPECT_EQ(ReadFrom("key=1\nkey=2\n", "key"), "1");
}

TEST_F(ConfigFile, Read_EmptyKey_Fails) {
  EXPECT_EQ(ReadFrom("=1\n = 2\n", ""), UNTOUCHED);
}

TEST_F(ConfigFile, Read_CarriageReturns_AreNoPartOfTheValue) {
  EXPECT_EQ(ReadFrom("key=1\r\nlast=2\r", "key"), "1");
  EXPECT_EQ(Read("last"), "2");
}

TEST_F(ConfigFile, Read_NoFinalNewline_FindsTheLastLine) {
  EXPECT_EQ(ReadFrom("a=1\nkey=2", "key"), "2");
}

TEST_F(ConfigFile, Read_ByteOrderMark_IsNoPartOfTheFirstKey) {
  EXPECT_EQ(ReadFrom("\xEF\xBB\xBFkey=1\n", "key"), "1");
}

TEST_F(ConfigFile, Read_ZeroBytes_AreKeptAndEndNothing) {
  const std::string content("a\0b=1\nkey=x\0y\nlast=2\n", 21);
  EXPECT_EQ(ReadFrom(content, "key"), std::string("x\0y", 3));
  EXPECT_EQ(Read("last"), "2");
  EXPECT_EQ(Read(std::string("a\0b", 3)), UNTOUCHED);
}

TEST_F(ConfigFile, Read_HugeLines_AreRead) {
  const std::string huge(5UL << 20, 'x');
  EXPECT_EQ(ReadFrom(huge + "\nkey=" + huge + "\nlast=2\n", "key"), huge);
  EXPECT_EQ(Read("last"), "2");
}

TEST_F(ConfigFile, Read_EmptyFile_Fails) {
  EXPECT_EQ(ReadFrom("", "key"), UNTOUCHED);
}

TEST_F(ConfigFile, Read_FileAboveTheLimit_Fails) {
  WriteFile(path_, "key=1\n");
  fs::resize_file(path_, (16UL << 20) + 1);
  EXPECT_EQ(Read("key"), UNTOUCHED);
  EXPECT_EQ(Write("key", "2"), FAILED);
  fs::resize_file(path_, 16UL << 20);
  EXPECT_EQ(Read("key"), "1");
}

TEST_F(ConfigFile, Read_MissingFile_Fails) {
  EXPECT_EQ(Read("key"), UNTOUCHED);
}

TEST_F(ConfigFile, Directory_IsNeitherReadNorWritten) {
  file_.SetFileName(directory_.Path());
  EXPECT_EQ(Read("key"), UNTOUCHED);
  EXPECT_EQ(Write("key", "1"), FAILED);
  EXPECT_EQ(FileCount(), 0U);
}

// Would wait for a writer if it were opened in the usual way.
TEST_F(ConfigFile, Pipe_IsNeitherReadNorWritten) {
  ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
  EXPECT_EQ(Read("key"), UNTOUCHED);
  EXPECT_EQ(Write("key", "1"), FAILED);
  EXPECT_TRUE(fs::is_fifo(path_));
}

TEST_F(ConfigFile, NoName_IsNeitherReadNorWritten) {
  file_.SetFileName("");
  EXPECT_EQ(Read("key"), UNTOUCHED);
  EXPECT_EQ(Write("key", "1"), FAILED);
}

TEST_F(ConfigFile, NameTooLong_IsNeitherReadNorWritten) {
  for (const std::size_t length : {256UL, 5000UL}) {
    file_.SetFileName(path_ + std::string(length, 'x'));
    EXPECT_EQ(Read("key"), UNTOUCHED);
    EXPECT_EQ(Write("key", "2"), FAILED);
  }
}

TEST_F(ConfigFile, NameWithZeroByte_IsNeitherReadNorWritten) {
  WriteFile(path_, "key=1\n");
  file_.SetFileName(path_ + std::string("\0x", 2));
  EXPECT_EQ(Read("key"), UNTOUCHED);
  EXPECT_EQ(Write("key", "2"), FAILED);
  EXPECT_EQ(ReadFile(path_), "key=1\n");
}

// ---- Where a file lies ----

class ConfigDirectory : public ConfigFile {
 protected:
  ~ConfigDirectory() override { CConfigFile::SetConfigDirectory(""); }
};

TEST_F(ConfigDirectory, RelativeName_LiesInIt) {
  CConfigFile::SetConfigDirectory(directory_.Path());
  file_.SetFileName("relative.ini");
  EXPECT_EQ(file_.FileName(), "relative.ini");
  EXPECT_EQ(Write("key", "1"), 0U);
  EXPECT_EQ(ReadFile(directory_ / "relative.ini"), "key=1\n");
  EXPECT_EQ(Read("key"), "1");
}

TEST_F(ConfigDirectory, ChangedLater_AppliesToTheNextCall) {
  file_.SetFileName("relative.ini");
  CConfigFile::SetConfigDirectory(directory_ / "missing");
  EXPECT_EQ(Read("key"), UNTOUCHED);
  WriteFile(directory_ / "relative.ini", "key=1\n");
  CConfigFile::SetConfigDirectory(directory_.Path());
  EXPECT_EQ(Read("key"), "1");
}

TEST_F(ConfigDirectory, AbsoluteName_IgnoresIt) {
  CConfigFile::SetConfigDirectory("/nowhere");
  EXPECT_EQ(ReadFrom("key=1\n", "key"), "1");
}

TEST_F(ConfigDirectory, NotSet_IsTheCurrentDirectory) {
  EXPECT_EQ(CConfigFile::ConfigDirectory(), ".");
}

TEST_F(ConfigDirectory, Missing_FailsToWrite) {
  CConfigFile::SetConfigDirectory(directory_ / "missing");
  file_.SetFileName("relative.ini");
  EXPECT_EQ(Write("key", "1"), FAILED);
  EXPECT_EQ(FileCount(), 0U);
}

// ---- Writing ----

TEST_F(ConfigFile, Write_ReplacesTheValueOnly) {
  EXPECT_EQ(WrittenTo("# head\n\nother = x\nkey = 30\n; tail\nunknown\n", "key", "60"),
            "# head\n\nother = x\nkey = 60\n; tail\nunknown\n");
}

TEST_F(ConfigFile, Write_NewKey_IsAddedAtTheEnd) {
  EXPECT_EQ(WrittenTo("a=1\n#b=2\n", "b", "3"), "a=1\n#b=2\nb=3\n");
}

TEST_F(ConfigFile, Write_MissingFile_IsMade) {
  EXPECT_EQ(Write("key", "1"), 0U);
  EXPECT_EQ(ReadFile(path_), "key=1\n");
}

TEST_F(ConfigFile, Write_EmptyFile_GetsTheLine) {
  EXPECT_EQ(WrittenTo("", "key", "1"), "key=1\n");
}

TEST_F(ConfigFile, Write_NoFinalNewline_DoesNotJoinLines) {
  EXPECT_EQ(WrittenTo("a=1", "key", "2"), "a=1\nkey=2\n");
  EXPECT_EQ(WrittenTo("a=1\nkey=2", "key", "3"), "a=1\nkey=3");
}

TEST_F(ConfigFile, Write_CarriageReturns_StayAndAreUsedForNewLines) {
  EXPECT_EQ(WrittenTo("a=1\r\nkey=2\r\n", "key", "3"), "a=1\r\nkey=3\r\n");
  EXPECT_EQ(WrittenTo("a=1\r\nb=2", "key", "3"), "a=1\r\nb=2\r\nkey=3\r\n");
}

TEST_F(ConfigFile, Write_ByteOrderMark_Stays) {
  EXPECT_EQ(WrittenTo("\xEF\xBB\xBFkey=1\n", "key", "2"), "\xEF\xBB\xBFkey=2\n");
  EXPECT_EQ(WrittenTo("\xEF\xBB\xBF", "key", "2"), "\xEF\xBB\xBFkey=2\n");
}

TEST_F(ConfigFile, Write_DuplicateKeys_ChangesTheFirst) {
  EXPECT_EQ(WrittenTo("key=1\nkey=2\n", "key", "3"), "key=3\nkey=2\n");
}

TEST_F(ConfigFile, Write_EmptyValue_IsReadBack) {
  EXPECT_EQ(WrittenTo("key=1\n", "key", ""), "key=\n");
  EXPECT_EQ(Read("key"), "");
  EXPECT_EQ(WrittenTo("key=  \n", "key", "5"), "key=5  \n");
  EXPECT_EQ(Read("key"), "5");
}

TEST_F(ConfigFile, Write_ZeroBytesElsewhere_Stay) {
  const std::string before("a=\0\nkey=1\n", 10);
  const std::string after("a=\0\nkey=2\n", 10);
  EXPECT_EQ(WrittenTo(before, "key", "2"), after);
}

TEST_F(ConfigFile, Write_ValueThatLooksLikeALine_StaysAValue) {
  EXPECT_EQ(WrittenTo("key=1\n", "key", "# other=2"), "key=# other=2\n");
  EXPECT_EQ(Read("key"), "# other=2");
  EXPECT_EQ(Read("other"), UNTOUCHED);
}

TEST_F(ConfigFile, Write_LineBreakOrZeroByteInValue_IsRefused) {
  WriteFile(path_, "key=1\n");
  EXPECT_EQ(Write("key", "a\nb"), FAILED);
  EXPECT_EQ(Write("key", "a\rb"), FAILED);
  EXPECT_EQ(Write("key", std::string("a\0b", 3)), FAILED);
  EXPECT_EQ(ReadFile(path_), "key=1\n");
}

TEST_F(ConfigFile, Write_KeyThatWouldNotBeFoundAgain_IsRefused) {
  WriteFile(path_, "key=1\n");
  for (const char* key : {"", " ", " key", "key\t", "a=b", "a\nb", "a\r", "#key", ";key", "[key",
                          "\xEF\xBB\xBFkey"}) {
    EXPECT_EQ(Write(key, "1"), FAILED) << '"' << key << '"';
  }
  EXPECT_EQ(ReadFile(path_), "key=1\n");
}

TEST_F(ConfigFile, Write_BeyondTheLimit_IsRefused) {
  WriteFile(path_, "key=1\n");
  EXPECT_EQ(Write("key", std::string(16UL << 20, 'x')), FAILED);
  EXPECT_EQ(ReadFile(path_), "key=1\n");
}

TEST_F(ConfigFile, Write_LeavesNoOtherFileBehind) {
  EXPECT_EQ(Write("key", "1"), 0U);
  EXPECT_EQ(Write("key", "2"), 0U);
  EXPECT_EQ(Write("key", "a\nb"), FAILED);
  EXPECT_EQ(FileCount(), 1U);
}

// A process that was killed in the middle, with the same number as ours.
TEST_F(ConfigFile, Write_LeftoversOfACrash_DoNotMatter) {
  const std::string leftover = ".vxconfig-" + std::to_string(::getpid()) + "-0.tmp";
  WriteFile(directory_ / leftover, "half");
  EXPECT_EQ(Write("key", "1"), 0U);
  EXPECT_EQ(ReadFile(path_), "key=1\n");
  EXPECT_EQ(ReadFile(directory_ / leftover), "half");
}

TEST_F(ConfigFile, Write_ReplacesTheFileRatherThanChangingIt) {
  WriteFile(path_, "key=1\n");
  const int before = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(before, 0);
  EXPECT_EQ(Write("key", "2"), 0U);
  char old[16] = {};
  EXPECT_EQ(::read(before, old, sizeof old), 6);
  ::close(before);
  EXPECT_STREQ(old, "key=1\n");
}

TEST_F(ConfigFile, Write_KeepsMode) {
  for (const mode_t mode : {0600U, 0640U, 0666U, 0755U}) {
    WriteFile(path_, "key=1\n");
    ASSERT_EQ(::chmod(path_.c_str(), mode), 0);
    EXPECT_EQ(Write("key", "2"), 0U);
    struct stat status = {};
    ASSERT_EQ(::stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, mode);
  }
}

TEST_F(ConfigFile, Write_NewFile_IsReadableForAllAndWritableForTheOwner) {
  const mode_t before = ::umask(0022);
  EXPECT_EQ(Write("key", "1"), 0U);
  ::umask(before);
  struct stat status = {};
  ASSERT_EQ(::stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0644U);
}

// Root keeps the owner of a file that belongs to somebody else; others own what they can write.
TEST_F(ConfigFile, Write_KeepsOwner) {
  WriteFile(path_, "key=1\n");
  const uid_t owner = ::geteuid() == 0 ? 65534 : ::geteuid();
  ASSERT_EQ(::chown(path_.c_str(), owner, static_cast<gid_t>(-1)), 0);
  EXPECT_EQ(Write("key", "2"), 0U);
  struct stat status = {};
  ASSERT_EQ(::stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, owner);
}

// ---- Symbolic links ----

TEST_F(ConfigFile, SymbolicLink_IsWrittenThrough) {
  WriteFile(directory_ / "real/target.ini", "key=1\n");
  fs::create_symlink("real/target.ini", path_);
  EXPECT_EQ(Read("key"), "1");
  EXPECT_EQ(Write("key", "2"), 0U);
  EXPECT_TRUE(fs::is_symlink(path_));
  EXPECT_EQ(ReadFile(directory_ / "real/target.ini"), "key=2\n");
}

TEST_F(ConfigFile, ChainOfLinks_IsWrittenThrough) {
  WriteFile(directory_ / "target.ini", "key=1\n");
  fs::create_symlink(directory_ / "target.ini", directory_ / "middle.ini");
  fs::create_symlink("middle.ini", path_);
  EXPECT_EQ(Write("key", "2"), 0U);
  EXPECT_TRUE(fs::is_symlink(path_));
  EXPECT_TRUE(fs::is_symlink(directory_ / "middle.ini"));
  EXPECT_EQ(ReadFile(directory_ / "target.ini"), "key=2\n");
}

TEST_F(ConfigFile, LinkToMissingFile_MakesTheFile) {
  fs::create_symlink("target.ini", path_);
  EXPECT_EQ(Read("key"), UNTOUCHED);
  EXPECT_EQ(Write("key", "1"), 0U);
  EXPECT_TRUE(fs::is_symlink(path_));
  EXPECT_EQ(ReadFile(directory_ / "target.ini"), "key=1\n");
}

TEST_F(ConfigFile, LinkToItself_Fails) {
  fs::create_symlink("piTorvex.ini", path_);
  EXPECT_EQ(Read("key"), UNTOUCHED);
  EXPECT_EQ(Write("key", "1"), FAILED);
  EXPECT_TRUE(fs::is_symlink(path_));
}

// ---- Failures of the system ----

TEST_F(ConfigFile, NoRoomForTheNewFile_LeavesTheOldOne) {
  WriteFile(path_, "key=1\n");
  unsigned int result = 0;
  {
    const vxtest::FileSizeLimit limit(8);
    result = Write("key", "a value that does not fit");
  }
  EXPECT_EQ(result, FAILED);
  EXPECT_EQ(ReadFile(path_), "key=1\n");
  EXPECT_EQ(FileCount(), 1U);
}

// Names that writers which were killed have left behind are passed over, but not without end.
TEST_F(ConfigFile, EveryTemporaryNameTaken_FailsAndLeavesTheFile) {
  WriteFile(path_, "key=1\n");
  const std::string begin = ".vxconfig-" + std::to_string(::getpid()) + "-";
  for (int i = 0; i < 1000; ++i) {
    WriteFile(directory_ / (begin + std::to_string(i) + ".tmp"), "");
  }
  EXPECT_EQ(Write("key", "2"), FAILED);
  EXPECT_EQ(ReadFile(path_), "key=1\n");
  fs::remove(directory_ / (begin + "999.tmp"));
  EXPECT_EQ(Write("key", "2"), 0U);
  EXPECT_EQ(ReadFile(path_), "key=2\n");
}

TEST_F(ConfigFile, WriterKilledAtAnyTime_LeavesAWholeFile) {
  const std::string texts[] = {std::string(100000, 'a'), std::string(100001, 'b')};
  ASSERT_EQ(Write("key", texts[0]), 0U);
  for (int kill = 0; kill < vxtest::Count(10, 300); ++kill) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (std::size_t i = 0;; ++i) {
        if (Write("key", texts[i % 2]) != 0) ::_exit(1);
      }
    }
    ::usleep(static_cast<useconds_t>(500 + 373 * (kill % 20)));
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the writer failed by itself";
    const std::string value = Read("key");
    EXPECT_TRUE(value == texts[0] || value == texts[1]) << value.size();
  }
}

// ---- Permissions, which do not bind root ----

class ConfigFilePermissions : public ConfigFile {
 protected:
  // So that everything can be looked at and removed again.
  ~ConfigFilePermissions() override { Allow(); }
  void Allow() const {
    ::chmod(directory_.Path().c_str(), 0700);
    ::chmod(path_.c_str(), 0600);
  }
};

TEST_F(ConfigFilePermissions, UnreadableFile_IsNeitherReadNorReplaced) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  WriteFile(path_, "key=1\n");
  ASSERT_EQ(::chmod(path_.c_str(), 0200), 0);
  EXPECT_EQ(Read("key"), UNTOUCHED);
  EXPECT_EQ(Write("key", "2"), FAILED);
  Allow();
  EXPECT_EQ(ReadFile(path_), "key=1\n");
}

TEST_F(ConfigFilePermissions, ReadOnlyFile_IsReadButNotReplaced) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  WriteFile(path_, "key=1\n");
  ASSERT_EQ(::chmod(path_.c_str(), 0400), 0);
  EXPECT_EQ(Read("key"), "1");
  EXPECT_EQ(Write("key", "2"), FAILED);
  EXPECT_EQ(ReadFile(path_), "key=1\n");
}

TEST_F(ConfigFilePermissions, ReadOnlyDirectory_IsReadButNotWritten) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  WriteFile(path_, "key=1\n");
  ASSERT_EQ(::chmod(directory_.Path().c_str(), 0500), 0);
  EXPECT_EQ(Read("key"), "1");
  EXPECT_EQ(Write("key", "2"), FAILED);
  EXPECT_EQ(ReadFile(path_), "key=1\n");
  EXPECT_EQ(FileCount(), 1U);
}

TEST_F(ConfigFilePermissions, ClosedDirectory_IsNeitherReadNorWritten) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  WriteFile(path_, "key=1\n");
  ASSERT_EQ(::chmod(directory_.Path().c_str(), 0000), 0);
  EXPECT_EQ(Read("key"), UNTOUCHED);
  EXPECT_EQ(Write("key", "2"), FAILED);
  Allow();
  EXPECT_EQ(ReadFile(path_), "key=1\n");
}

// A directory that may be written but not listed cannot be flushed; the write still counts.
TEST_F(ConfigFilePermissions, DirectoryThatCannotBeFlushed_IsWritten) {
  if (vxtest::IsDoneByUnprivilegedChild()) return;
  WriteFile(path_, "key=1\n");
  ASSERT_EQ(::chmod(directory_.Path().c_str(), 0300), 0);
  EXPECT_EQ(Write("key", "2"), 0U);
  EXPECT_EQ(Read("key"), "2");
}

}  // namespace
