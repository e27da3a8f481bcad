#include "DatabaseORM/RawSqlite.h"
#include "support/Files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Schema/Database.h>

namespace {

using RaidDataModels::Adapter;
using RaidDataModels::PD;
using Schema::OpenForWriting;
using testing::HasSubstr;
using vxtest::RawSqlite;

class Views : public testing::Test {
 protected:
  Views() { options_.Choices = {{40024, "good"}, {40150, "it's degraded"}, {40459, "spare low"}}; }

  void Open() {
    opened_ = OpenForWriting(path_, options_);
    ASSERT_NE(opened_.Database, nullptr) << opened_.Error;
  }

  DatabaseORM::storage_t& Storage() { return opened_.Database->HostDatabase()->Storage(); }

  void InsertAdapter(const std::string& serial, const std::string& location, int health,
                     const std::vector<std::string>& reasons) {
    Adapter adapter;
    adapter.Host = "localhost";
    adapter.SerialNumber = serial;
    adapter.Location = location;
    adapter.Firmware = "F" + serial;
    adapter.HealthState = health;
    adapter.HealthReasons = reasons;
    Storage().insert(adapter);
  }

  void InsertDrive(const std::string& serial, const std::string& location, int state) {
    PD drive;
    drive.Host = "localhost";
    drive.SerialNumber = serial;
    drive.Location = location;
    drive.State = state;
    Storage().insert(drive);
  }

  std::string Shown(const std::string& columns) const {
    return RawSqlite(path_).One("SELECT group_concat(" + columns +
                                ", '; ') FROM (SELECT * FROM vx_drives ORDER BY Location)");
  }

  vxtest::TempDir dir_;
  std::string path_ = (dir_ / "vx.db").string();
  Schema::COptions options_;
  Schema::COpened opened_;
};

TEST_F(Views, Drives_ShowWordsAndWhoIsThere) {
  Open();
  InsertAdapter("S1", "PCI:1", 40150, {"40459", "40460"});
  InsertDrive("S1", "PCI:1&ID=0", 40024);
  InsertDrive("S2", "PCI:2&ID=0", 1);
  EXPECT_EQ(Shown("SerialNumber || ' ' || Present || ' ' || State || ' ' || "
                  "IFNULL(HealthState, '-') || ' ' || IFNULL(HealthReasons, '-') || ' ' || "
                  "IFNULL(Firmware, '-')"),
            "S1 1 good it's degraded spare low, 40460 FS1; S2 0 1 - - -");
}

TEST_F(Views, Drives_OfListsWithoutNumbers_ShowNone) {
  Open();
  InsertAdapter("S1", "PCI:1", 40024, {});
  InsertDrive("S1", "PCI:1&ID=0", 40024);
  EXPECT_EQ(Shown("IFNULL(HealthReasons, 'none')"), "none");
  for (const char* written : {"\"]", "1||2", "01", "|", "40459|", "|40459"}) {
    RawSqlite(path_).Run(std::string("UPDATE Adapter SET HealthReasons = '") + written + "'");
    EXPECT_EQ(Shown("IFNULL(HealthReasons, 'none')"), "none") << written;
  }
}

TEST_F(Views, Drives_HaveEveryColumnThatIsNoIdentity) {
  Open();
  std::vector<std::string> wanted{"Present"};
  const auto add = [&](const Schema::CTable& table) {
    for (const auto& column : table.Columns) {
      const bool known = std::find(wanted.begin(), wanted.end(), column.Name) != wanted.end();
      if (!known && column.Name != "ID" && column.Name != "ObjectID") wanted.push_back(column.Name);
    }
  };
  add(Schema::Tables().at(2));
  add(Schema::Tables().at(1));
  std::vector<std::string> found;
  for (const auto& row : RawSqlite(path_).Rows("SELECT name FROM pragma_table_info('vx_drives')")) {
    found.push_back(row.at(0).value_or(""));
  }
  EXPECT_EQ(found, wanted);
}

// A drive whose serial number reads like a null is found by no key: its place tells it apart.
TEST_F(Views, DriveWithoutSerial_HasOneRowAPlaceAndFindsItsAdapter) {
  Open();
  for (int start = 0; start < 3; ++start) {
    InsertDrive("NULL", "PCI:1&ID=0", start);
    InsertDrive("NULL", "PCI:11&ID=0", start);
    InsertDrive("S1", "PCI:1&ID=0", start);
  }
  InsertAdapter("NULL", "PCI:1", 40024, {});
  const RawSqlite raw(path_);
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM PD"), "3");
  EXPECT_EQ(raw.One("SELECT group_concat(State) FROM PD"), "2,2,2");
  EXPECT_EQ(raw.One("SELECT group_concat(Location || Present) FROM vx_drives WHERE SerialNumber IS "
                    "NULL ORDER BY Location"),
            "PCI:1&ID=01,PCI:11&ID=00");
}

// A start inserts such a drive once for each adapter, and files of earlier hosts hold many of them.
TEST_F(Views, RowsOfADriveWithoutSerial_FromBefore_GoWithItsNextOne) {
  Open();
  const RawSqlite raw(path_);
  raw.Run("DROP TRIGGER vx_drive_without_serial");
  for (int row = 0; row < 5; ++row) InsertDrive("NULL", "PCI:1&ID=0", row);
  ASSERT_EQ(raw.One("SELECT COUNT(*) FROM PD"), "5");
  opened_.Database.reset();
  Open();
  InsertDrive("NULL", "PCI:1&ID=0", 9);
  EXPECT_EQ(raw.One("SELECT group_concat(State) FROM PD"), "9");
}

TEST_F(Views, Opening_MakesThemAnewWithTheWordsOfTheHost) {
  Open();
  opened_.Database.reset();
  const RawSqlite raw(path_);
  const std::string schema = "PRAGMA schema_version";
  const std::string before = raw.One(schema);
  Open();
  EXPECT_EQ(raw.One(schema), before);  // nothing differs: nothing is written
  opened_.Database.reset();
  options_.Choices = {{40024, "fine"}};
  raw.Run("DROP VIEW vx_drives");
  Open();
  EXPECT_EQ(raw.One("SELECT group_concat(Number || Word) FROM vx_choices"), "40024fine");
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM vx_drives"), "0");
  EXPECT_EQ(raw.One("PRAGMA user_version"), std::to_string(Schema::LatestVersion()));
}

TEST_F(Views, NameThatIsTaken_IsSaid) {
  Open();
  opened_.Database.reset();
  RawSqlite(path_).Run("DROP VIEW vx_drives; CREATE TABLE vx_drives(a)");
  EXPECT_THAT(OpenForWriting(path_, options_).Error, HasSubstr("use DROP TABLE"));
}

}  // namespace
