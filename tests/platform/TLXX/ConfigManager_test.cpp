#include "Sysfs.h"
#include "support/Scale.h"

#include <atomic>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include <TLXX/ConfigManager.h>

namespace {

using TLXX::CConfigManager;
using tlxxtest::Sysfs;

struct Location {
  unsigned long segment = 0;
  unsigned long bus = 0;
  unsigned long device = 0;
  unsigned long function = 0;
  bool operator==(const Location&) const = default;
  friend void PrintTo(const Location& location, std::ostream* out) {
    *out << std::hex << location.segment << ':' << location.bus << ':' << location.device << '.'
         << location.function;
  }
};

constexpr Location UNTOUCHED{91, 92, 93, 94};

std::optional<Location> Of(const std::string& path) {
  Location found = UNTOUCHED;
  if (CConfigManager::GetLocation(found.segment, found.bus, found.device, found.function, path)) {
    return found;
  }
  EXPECT_EQ(found, UNTOUCHED) << path;
  return std::nullopt;
}

std::optional<Location> ById(const std::string& vendor, const std::string& device,
                             unsigned int occurrence) {
  Location found{0, 92, 93, 94};
  if (CConfigManager::GetLocation(vendor, device, occurrence, found.bus, found.device,
                                  found.function)) {
    return found;
  }
  EXPECT_EQ(found, (Location{0, 92, 93, 94}));
  return std::nullopt;
}

const std::vector<std::pair<std::string, std::string>> VOLUME_CONTROLLERS{{"8086", "201d"},
                                                                          {"8086", "28c0"}};

bool BehindVolumeController(const std::string& path) {
  return CConfigManager::IsDiskConnectedThroughOneOfDevices(path, VOLUME_CONTROLLERS);
}

// Two drives: nvme0 at 0000:01:00.0 behind a root port, nvme1 at 10000:01:00.0 behind a
// volume-management controller, whose domain is a bus of its own.
class ConfigManagerTest : public testing::Test {
 protected:
  ConfigManagerTest() {
    sysfs_.Pci("pci0000:00/0000:00:10.0", "0x8086", "0x2030");
    drive_ = sysfs_.Pci("pci0000:00/0000:00:10.0/0000:01:00.0", "0x8086", "0x0a54");
    controller_ = sysfs_.Controller(drive_, "nvme0");
    disk_ = sysfs_.Block(controller_, "nvme0n1");
    sysfs_.Partition(disk_, "nvme0n1p1");

    manager_ = sysfs_.Pci("pci0000:5d/0000:5d:05.5", "0x8086", "0x201d");
    const std::string domain = "pci0000:5d/0000:5d:05.5/pci10000:00/";
    sysfs_.Link(manager_ + "/domain", "devices/" + domain);
    sysfs_.Pci(domain + "10000:00:02.0", "0x8086", "0x2032");
    managed_ = sysfs_.Pci(domain + "10000:00:02.0/10000:01:00.0", "0x8086", "0x0a54");
    sysfs_.Partition(sysfs_.Block(sysfs_.Controller(managed_, "nvme1"), "nvme1n1"), "nvme1n1p1");
  }

  Sysfs sysfs_;
  std::string drive_;
  std::string controller_;
  std::string disk_;
  std::string manager_;
  std::string managed_;
};

// --- Location of a device path ---

TEST_F(ConfigManagerTest, Location_OfControllerNamespaceAndPartition_IsThatOfTheFunction) {
  for (const char* const path : {"/dev/nvme0", "/dev/nvme0n1", "/dev/nvme0n1p1"}) {
    EXPECT_EQ(Of(path), (Location{0, 1, 0, 0})) << path;
  }
}

TEST_F(ConfigManagerTest, Location_InADomainAbove16Bits_IsTheWholeDomain) {
  for (const char* const path : {"/dev/nvme1", "/dev/nvme1n1", "/dev/nvme1n1p1"}) {
    EXPECT_EQ(Of(path), (Location{0x10000, 1, 0, 0})) << path;
  }
}

TEST_F(ConfigManagerTest, Location_WithLinksInBlockAlone_IsFound) {
  std::filesystem::remove_all(sysfs_.Root() / "class");
  EXPECT_EQ(Of("/dev/nvme0n1"), (Location{0, 1, 0, 0}));
  EXPECT_EQ(Of("/dev/nvme0n1p1"), (Location{0, 1, 0, 0}));
  EXPECT_EQ(Of("/dev/nvme0n1p2"), std::nullopt);
  EXPECT_EQ(Of("/dev/nvme0"), std::nullopt);
}

TEST_F(ConfigManagerTest, Location_WithLinksInClassBlockAlone_IsFound) {
  std::filesystem::remove_all(sysfs_.Root() / "block");
  EXPECT_EQ(Of("/dev/nvme0n1p1"), (Location{0, 1, 0, 0}));
}

TEST_F(ConfigManagerTest, Location_ThroughDeviceLinksOfPlainDirectories_IsFound) {
  sysfs_.Link("class/nvme/nvme7/device", drive_);
  sysfs_.Link("block/nvme7n1/device", "class/nvme/nvme7");
  EXPECT_EQ(Of("/dev/nvme7"), (Location{0, 1, 0, 0}));
  EXPECT_EQ(Of("/dev/nvme7n1"), (Location{0, 1, 0, 0}));
}

TEST_F(ConfigManagerTest, Location_OfANameThatIsTooLong_IsNotFound) {
  for (const std::size_t length : {256UL, 5000UL}) {
    EXPECT_EQ(Of("/dev/nvme0n1p" + std::string(length, '1')), std::nullopt);
  }
}

// Under native multipath the kernel puts namespaces below the subsystem, and links to its
// controllers beside them.
constexpr const char* SUBSYSTEM = "devices/virtual/nvme-subsystem/nvme-subsys2";

TEST_F(ConfigManagerTest, Location_OfAMultipathHead_IsThatOfItsController) {
  const std::string head = sysfs_.Block(SUBSYSTEM, "nvme2n1");
  sysfs_.Partition(head, "nvme2n1p1");
  sysfs_.Link(std::string(SUBSYSTEM) + "/nvme0", controller_);
  EXPECT_EQ(Of("/dev/nvme2n1"), (Location{0, 1, 0, 0}));
  EXPECT_EQ(Of("/dev/nvme2n1p1"), (Location{0, 1, 0, 0}));
  EXPECT_FALSE(BehindVolumeController("/dev/nvme2n1"));
}

TEST_F(ConfigManagerTest, Location_OfAMultipathHeadBehindAVolumeController_IsServed) {
  sysfs_.Block(SUBSYSTEM, "nvme2n1");
  sysfs_.Link(std::string(SUBSYSTEM) + "/nvme1", managed_ + "/nvme/nvme1");
  EXPECT_EQ(Of("/dev/nvme2n1"), Of("/dev/nvme1"));
  EXPECT_TRUE(BehindVolumeController("/dev/nvme2n1"));
}

TEST_F(ConfigManagerTest, Location_OfAHeadWithSeveralControllers_IsThatOfTheLowestNumber) {
  sysfs_.Block(SUBSYSTEM, "nvme2n1");
  const std::string other = sysfs_.Pci("pci0000:00/0000:00:03.0/0000:05:00.0", "0x8086", "0x0a54");
  sysfs_.Link(std::string(SUBSYSTEM) + "/nvme10", controller_);
  sysfs_.Link(std::string(SUBSYSTEM) + "/nvme9", sysfs_.Controller(other, "nvme9"));
  EXPECT_EQ(Of("/dev/nvme2n1"), (Location{0, 5, 0, 0}));
}

TEST_F(ConfigManagerTest, Location_OfAHeadWithoutPciController_IsNotFound) {
  sysfs_.File(std::string(SUBSYSTEM) + "/model", "P4500\n");
  sysfs_.Block(SUBSYSTEM, "nvme2n1");
  EXPECT_EQ(Of("/dev/nvme2n1"), std::nullopt);
  sysfs_.File("devices/virtual/nvme-fabrics/ctl/nvme3/transport", "tcp\n");
  sysfs_.Link(std::string(SUBSYSTEM) + "/nvme3", "devices/virtual/nvme-fabrics/ctl/nvme3");
  sysfs_.Link(std::string(SUBSYSTEM) + "/nvme4", "devices/pci0000:00/gone");
  EXPECT_EQ(Of("/dev/nvme2n1"), std::nullopt);
  EXPECT_FALSE(BehindVolumeController("/dev/nvme2n1"));
}

TEST_F(ConfigManagerTest, Location_OfAHiddenPathOfAHead_IsThatOfItsController) {
  const std::string hidden = controller_ + "/nvme0c0n1";
  sysfs_.File(hidden + "/hidden", "1\n");
  sysfs_.Link("block/nvme0c0n1", hidden);
  EXPECT_EQ(Of("/dev/nvme0c0n1"), (Location{0, 1, 0, 0}));
}

TEST_F(ConfigManagerTest, Location_OfADriveOverFabrics_IsNotFound) {
  sysfs_.File("devices/virtual/nvme-fabrics/ctl/nvme3/transport", "tcp\n");
  sysfs_.Link("class/nvme/nvme3", "devices/virtual/nvme-fabrics/ctl/nvme3");
  EXPECT_EQ(Of("/dev/nvme3"), std::nullopt);
}

TEST_F(ConfigManagerTest, Location_OfASecondNamespace_IsTheSame) {
  sysfs_.Block(controller_, "nvme0n2");
  EXPECT_EQ(Of("/dev/nvme0n2"), (Location{0, 1, 0, 0}));
}

TEST_F(ConfigManagerTest, Location_OfATextThatIsNoDevicePath_IsNotFound) {
  const std::string nul("/dev/nvme0\0", 11);
  for (const std::string& path : {std::string(),
                                  std::string("nvme0"),
                                  std::string("/dev/"),
                                  std::string("/dev/."),
                                  std::string("/dev/.."),
                                  std::string("/dev/../nvme0"),
                                  std::string("/dev/nvme0/"),
                                  std::string("/dev/../../" + drive_),
                                  std::string("/dev/nvme0/.."),
                                  std::string("//dev/nvme0"),
                                  std::string("/sys/class/nvme/nvme0"),
                                  std::string("/dev/nvme"),
                                  std::string("/dev/nvme00"),
                                  std::string("/dev/nvme0n1p"),
                                  std::string("/dev/nvme0n1p1p1"),
                                  std::string("/dev/p1"),
                                  std::string("/dev/1"),
                                  std::string(5000, 'x'),
                                  "/dev/" + std::string(5000, 'x'),
                                  nul}) {
    EXPECT_EQ(Of(path), std::nullopt) << path;
    EXPECT_FALSE(BehindVolumeController(path)) << path;
  }
}

TEST_F(ConfigManagerTest, Location_ThroughLoopsAndDanglingLinks_IsNotFound) {
  sysfs_.Link("class/nvme/nvme4", "class/nvme/nvme5");
  sysfs_.Link("class/nvme/nvme5", "class/nvme/nvme4");
  sysfs_.Link("class/nvme/nvme6/device", "class/nvme/nvme6");
  sysfs_.Link("class/nvme/nvme8", "devices/gone");
  for (const char* const path : {"/dev/nvme4", "/dev/nvme5", "/dev/nvme6", "/dev/nvme8"}) {
    EXPECT_EQ(Of(path), std::nullopt) << path;
  }
}

TEST_F(ConfigManagerTest, Location_LooksAtNothingOutsideTheRoot) {
  const Sysfs other;
  other.Controller(other.Pci("pci0000:00/0000:07:00.0", "0x8086", "0x0a54"), "nvme9");
  CConfigManager::SetSysfsRoot(sysfs_.Root().string());
  std::filesystem::create_symlink(other.Root() / "class/nvme/nvme9",
                                  sysfs_.Root() / "class/nvme/nvme9");
  EXPECT_EQ(Of("/dev/nvme9"), std::nullopt);
}

TEST_F(ConfigManagerTest, Location_WithARootThatLooksLikeAnAddress_IsTheDevices) {
  const std::filesystem::path root = sysfs_.Root() / "0000:09:00.0";
  std::filesystem::create_directories(root / "devices/virtual/nvme3");
  std::filesystem::create_directories(root / "class/nvme");
  std::filesystem::create_symlink("../../devices/virtual/nvme3", root / "class/nvme/nvme3");
  CConfigManager::SetSysfsRoot(root.string());
  EXPECT_EQ(Of("/dev/nvme3"), std::nullopt);
}

TEST_F(ConfigManagerTest, Location_ThroughARootThatIsALink_IsFound) {
  const vxtest::TempDir dir;
  std::filesystem::create_directory_symlink(sysfs_.Root(), dir / "sys");
  for (const char* const end : {"", "/", "/."}) {
    CConfigManager::SetSysfsRoot((dir / "sys").string() + end);
    EXPECT_EQ(Of("/dev/nvme0n1"), (Location{0, 1, 0, 0})) << end;
  }
}

TEST_F(ConfigManagerTest, Lookups_WithoutASysfs_FindNothing) {
  CConfigManager::SetSysfsRoot((sysfs_.Root() / "missing").string());
  EXPECT_EQ(Of("/dev/nvme0"), std::nullopt);
  EXPECT_EQ(ById("8086", "0a54", 1), std::nullopt);
  EXPECT_FALSE(BehindVolumeController("/dev/nvme1"));
}

// --- What a device hangs from ---

TEST_F(ConfigManagerTest, Connected_ThroughAVolumeController_IsSeen) {
  for (const char* const path : {"/dev/nvme1", "/dev/nvme1n1", "/dev/nvme1n1p1"}) {
    EXPECT_TRUE(BehindVolumeController(path)) << path;
  }
  for (const char* const path : {"/dev/nvme0", "/dev/nvme0n1", "/dev/nvme0n1p1"}) {
    EXPECT_FALSE(BehindVolumeController(path)) << path;
  }
}

TEST_F(ConfigManagerTest, Connected_CountsTheFunctionItselfAndEveryBridge) {
  using Ids = std::vector<std::pair<std::string, std::string>>;
  const auto connected = [](const Ids& ids) {
    return CConfigManager::IsDiskConnectedThroughOneOfDevices("/dev/nvme1n1", ids);
  };
  EXPECT_TRUE(connected({{"8086", "0a54"}}));
  EXPECT_TRUE(connected({{"8086", "2032"}}));
  EXPECT_TRUE(connected({{"1234", "5678"}, {"0x8086", "0X201D"}}));
  EXPECT_FALSE(connected({{"8086", "2030"}}));  // the bridge of the other drive
  EXPECT_FALSE(connected({{"8087", "201d"}, {"", ""}, {"8086", ""}, {"8086", "201d "}}));
  EXPECT_FALSE(connected({}));
}

TEST_F(ConfigManagerTest, Connected_PastAFunctionThatLacksItsFiles_IsStillSeen) {
  std::filesystem::remove(sysfs_.Root() / managed_ / "vendor");
  sysfs_.File("devices/pci0000:5d/0000:5d:05.5/pci10000:00/10000:00:02.0/device", "garbage");
  EXPECT_TRUE(BehindVolumeController("/dev/nvme1n1"));
  std::filesystem::remove(sysfs_.Root() / manager_ / "device");
  EXPECT_FALSE(BehindVolumeController("/dev/nvme1n1"));
}

// --- Location of the n-th function with given ids ---

TEST_F(ConfigManagerTest, LocationById_CountsInTheOrderOfAddresses) {
  sysfs_.Pci("pci0000:80/0000:82:00.0", "0x8086", "0x0a54");
  sysfs_.Pci("pci0000:80/0000:0a:1f.7", "0x8086", "0x0a54");
  sysfs_.Pci("pci0001:00/0001:00:00.1", "0x8086", "0x0a54");
  sysfs_.Pci("pci0000:80/0000:83:00.0", "0x1b36", "0x0a54");
  EXPECT_EQ(ById("8086", "0A54", 1), (Location{0, 0x01, 0, 0}));
  EXPECT_EQ(ById("8086", "0A54", 2), (Location{0, 0x0A, 0x1F, 7}));
  EXPECT_EQ(ById("8086", "0A54", 3), (Location{0, 0x82, 0, 0}));
  EXPECT_EQ(ById("8086", "0A54", 4), (Location{0, 0, 0, 1}));
  EXPECT_EQ(ById("8086", "0A54", 5), (Location{0, 1, 0, 0}));  // of domain 10000
  EXPECT_EQ(ById("8086", "0A54", 6), std::nullopt);
  EXPECT_EQ(ById("8086", "0A54", 0), std::nullopt);
}

TEST_F(ConfigManagerTest, LocationById_ComparesIdsWithoutCase) {
  sysfs_.File(drive_ + "/device", "0x0A5B\n");
  sysfs_.File(drive_ + "/vendor", "8086");
  EXPECT_EQ(ById("8086", "0a5b", 1), (Location{0, 1, 0, 0}));
  EXPECT_EQ(ById("0X8086", "0x0a5B", 1), (Location{0, 1, 0, 0}));
  EXPECT_EQ(ById("8086", "0953", 1), std::nullopt);
}

TEST_F(ConfigManagerTest, LocationById_OfIdsThatAreNone_IsNotFound) {
  sysfs_.File(drive_ + "/device", "");
  sysfs_.File(drive_ + "/vendor", "");
  EXPECT_EQ(ById("", "", 1), std::nullopt);
  EXPECT_EQ(ById("8086", "", 1), std::nullopt);
  EXPECT_EQ(ById("xyz", "0a54", 1), std::nullopt);
}

TEST_F(ConfigManagerTest, LocationById_PassesOverFunctionsThatLackFiles) {
  std::filesystem::remove(sysfs_.Root() / drive_ / "device");
  sysfs_.Link("bus/pci/devices/0000:00:1f.0", "devices/gone");
  sysfs_.File("bus/pci/devices/notes", "no function\n");
  EXPECT_EQ(ById("8086", "0a54", 1), (Location{0, 1, 0, 0}));
  EXPECT_EQ(ById("8086", "0a54", 2), std::nullopt);
}

// --- Devices that come and go ---

TEST_F(ConfigManagerTest, Lookups_WhileADeviceComesAndGoes_FindItOrNot) {
  std::atomic<bool> stop = false;
  std::thread changer([&] {
    const auto away = sysfs_.Root() / "away";
    const auto directory = sysfs_.Root() / drive_;
    while (!stop) {
      std::filesystem::rename(directory, away);
      std::filesystem::rename(away, directory);
    }
  });
  int found = 0;
  for (int round = 0; round < vxtest::Count(500, 50'000); ++round) {
    if (const auto location = Of("/dev/nvme0n1")) {
      ASSERT_EQ(location, (Location{0, 1, 0, 0}));
      ++found;
    }
    ASSERT_EQ(ById("8086", "0a54", 1).value_or(Location{}).device, 0U);
    ASSERT_FALSE(BehindVolumeController("/dev/nvme0"));
    ASSERT_TRUE(BehindVolumeController("/dev/nvme1"));
  }
  stop = true;
  changer.join();
  EXPECT_GT(found, 0);
  EXPECT_EQ(Of("/dev/nvme0"), (Location{0, 1, 0, 0}));
}

}  // namespace
