#include "simulator/ToolRun.h"
#include "support/Scale.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using simtest::FleetDirectory;
using simtest::RunTool;
using simtest::ToolRun;

// A fleet with its tree laid.
class Machine : public FleetDirectory {
 public:
  explicit Machine(const std::string& fleet) : FleetDirectory(fleet) { Lay(); }

  void Lay() const { Edit("sysfs --root " + Root().string()); }
  std::string Read(const std::string& path) const { return vxtest::ReadFile(Root() / path); }
  std::string Link(const std::string& path) const {
    return fs::is_symlink(Root() / path) ? fs::read_symlink(Root() / path).string() : "no link";
  }
  // Where a path leads, relative to the root.
  std::string Leads(const std::string& path) const {
    std::error_code none;
    const fs::path end = fs::canonical(Root() / path, none);
    return none ? "nowhere" : end.lexically_relative(fs::canonical(Root())).string();
  }
  std::vector<std::string> List(const std::string& path) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(Root() / path)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
};

using Names = std::vector<std::string>;

std::string Drive(const std::string& members) {
  return R"({"drives": [{"serial": "SERIAL3", "model": "INTEL SSDPE2TEST", "firmware": "FW1",
             "maximumLBA": 100, "sectorSize": 4096, )" +
         members + "}]}";
}

const std::string kPlain =
    R"("devicePath": "/dev/nvme0n1", "pci": {"address": "0000:17:00.0", "device": "0A54",
       "subsystemVendor": "1028", "subsystemDevice": "2003", "slot": "3"})";

TEST(Sysfs, Drive_StandsBelowItsBridgeWithRelativeLinks) {
  const Machine machine(Drive(kPlain));
  const std::string function = "devices/pci0000:00/0000:00:02.7/0000:17:00.0";
  EXPECT_EQ(machine.Link("bus/pci/devices/0000:17:00.0"), "../../../" + function);
  EXPECT_EQ(machine.Link("class/nvme/nvme0"), "../../" + function + "/nvme/nvme0");
  EXPECT_EQ(machine.Link("class/block/nvme0n1"), "../../" + function + "/nvme/nvme0/nvme0n1");
  EXPECT_EQ(machine.Link("block/nvme0n1"), "../" + function + "/nvme/nvme0/nvme0n1");
  EXPECT_EQ(machine.Link("class/nvme/nvme0/device"), "../../../0000:17:00.0");
  EXPECT_EQ(machine.Link("block/nvme0n1/device"), "../../nvme0");
  EXPECT_EQ(machine.Leads("class/nvme/nvme0/device"), function);
  EXPECT_EQ(machine.Leads("block/nvme0n1/device"), function + "/nvme/nvme0");
  EXPECT_EQ(machine.Leads("bus/pci/drivers/nvme/0000:17:00.0"), function);
  EXPECT_EQ(machine.Leads(function + "/driver"), "bus/pci/drivers/nvme");
  EXPECT_EQ(machine.Leads("class/nvme-subsystem/nvme-subsys0/nvme0"), function + "/nvme/nvme0");
}

TEST(Sysfs, Files_SayWhatTheKernelSays) {
  const Machine machine(Drive(kPlain));
  const std::string function = "bus/pci/devices/0000:17:00.0/";
  EXPECT_EQ(machine.Read(function + "vendor"), "0x8086\n");
  EXPECT_EQ(machine.Read(function + "device"), "0x0a54\n");
  EXPECT_EQ(machine.Read(function + "subsystem_vendor"), "0x1028\n");
  EXPECT_EQ(machine.Read(function + "subsystem_device"), "0x2003\n");
  EXPECT_EQ(machine.Read(function + "class"), "0x010802\n");
  EXPECT_EQ(machine.Read(function + "uevent"),
            "DRIVER=nvme\nPCI_CLASS=10802\nPCI_ID=8086:0A54\nPCI_SUBSYS_ID=1028:2003\n"
            "PCI_SLOT_NAME=0000:17:00.0\n");
  EXPECT_EQ(machine.Read("class/nvme/nvme0/model"),
            "INTEL SSDPE2TEST" + std::string(24, ' ') + "\n");
  EXPECT_EQ(machine.Read("class/nvme/nvme0/serial"), "SERIAL3" + std::string(13, ' ') + "\n");
  EXPECT_EQ(machine.Read("class/nvme/nvme0/firmware_rev"), "FW1     \n");
  EXPECT_EQ(machine.Read("class/nvme/nvme0/address"), "0000:17:00.0\n");
  EXPECT_EQ(machine.Read("class/nvme/nvme0/state"), "live\n");
  EXPECT_EQ(machine.Read("class/nvme/nvme0/transport"), "pcie\n");
  EXPECT_EQ(machine.Read("block/nvme0n1/size"), "800\n");  // in units of 512 bytes
  EXPECT_EQ(machine.Read("block/nvme0n1/queue/logical_block_size"), "4096\n");
  EXPECT_EQ(machine.Read("block/nvme0n1/nsid"), "1\n");
  EXPECT_EQ(machine.Read("bus/pci/slots/3/address"), "0000:17:00\n");
  EXPECT_EQ(machine.Read("module/nvme/version"), "1.0\n");
  EXPECT_EQ(machine.Read("bus/pci/devices/0000:00:02.7/class"), "0x060400\n");
}

TEST(Sysfs, DriveBehindAVolumeController_StandsInItsDomain) {
  const Machine machine(FleetDirectory::Example("mixed.json"));
  const std::string controller = "devices/pci0000:5d/0000:5d:05.5";
  EXPECT_EQ(machine.Leads("class/nvme/nvme2"),
            controller + "/pci10000:00/10000:00:02.0/10000:01:00.0/nvme/nvme2");
  EXPECT_EQ(machine.Read("class/nvme/nvme2/address"), "10000:01:00.0\n");
  EXPECT_EQ(machine.Leads("bus/pci/devices/0000:5d:05.5"), controller);
  EXPECT_EQ(machine.Read(controller + "/vendor"), "0x8086\n");
  EXPECT_EQ(machine.Read(controller + "/device"), "0x201d\n");
  EXPECT_EQ(machine.Read(controller + "/class"), "0x010400\n");
  EXPECT_EQ(machine.Leads(controller + "/driver"), "bus/pci/drivers/vmd");
  EXPECT_EQ(machine.Leads(controller + "/domain"), controller + "/pci10000:00");
  EXPECT_EQ(machine.Leads("class/nvme/nvme3"),
            "devices/pci0000:80/0000:80:05.5/pci10001:80/10001:80:10.1/10001:81:00.0/nvme/nvme3");
  EXPECT_EQ(machine.Leads("bus/pci/devices/0000:01:00.0"),
            "devices/pci0000:00/0000:00:00.1/0000:01:00.0");
}

TEST(Sysfs, EveryLink_IsRelativeAndLeadsSomewhere) {
  for (const char* example : {"known-drives.json", "mixed.json"}) {
    const Machine machine(FleetDirectory::Example(example));
    int links = 0;
    for (const auto& entry : fs::recursive_directory_iterator(machine.Root())) {
      if (!entry.is_symlink()) continue;
      ++links;
      EXPECT_TRUE(fs::read_symlink(entry.path()).is_relative()) << entry.path();
      EXPECT_TRUE(fs::exists(entry.path())) << entry.path();
    }
    EXPECT_GT(links, 50);
  }
}

TEST(Sysfs, OtherShapes_AreLaidAsAsked) {
  const Machine bound(Drive(R"("devicePath": "/dev/nvme0", "state": "dead",
                               "pci": {"address": "0000:01:00.0", "device": "0953"})"));
  EXPECT_EQ(bound.Read("class/nvme/nvme0/state"), "dead\n");
  EXPECT_EQ(bound.List("block"), Names{});  // a controller without a namespace
  EXPECT_FALSE(fs::exists(bound.Root() / "bus/pci/devices/0000:01:00.0/subsystem_device"));
  EXPECT_EQ(bound.List("bus/pci/slots"), Names{});

  const Machine foreign(Drive(R"("devicePath": "/dev/nvme0n1",
      "pci": {"address": "0000:00:10.0", "device": "0953", "driver": "vfio-pci"})"));
  EXPECT_EQ(foreign.List("class/nvme"), Names{});
  EXPECT_EQ(foreign.Leads("bus/pci/devices/0000:00:10.0"), "devices/pci0000:00/0000:00:10.0");
  EXPECT_EQ(foreign.Leads("bus/pci/devices/0000:00:10.0/driver"), "bus/pci/drivers/vfio-pci");

  const Machine none(Drive(R"("devicePath": "/dev/nvme0n1")"));
  EXPECT_EQ(none.List("bus/pci/devices"), Names{});
}

TEST(Sysfs, BridgeWhereAnotherDriveIs_IsRefused) {
  const FleetDirectory fleet(
      R"({"drives": [{"serial": "A", "model": "M", "pci": {"address": "0000:00:02.7", "device": "0953"}},
                     {"serial": "B", "model": "M", "pci": {"address": "0000:17:00.0", "device": "0953"}}]})");
  const ToolRun run = fleet.Run("simulator sysfs --root " + fleet.Root().string());
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err,
            "isdct: drive A: its PCI address 0000:00:02.7 is that of the bridge of another drive; "
            "move it, or give the other drive's \"pci\" a \"port\"\n");
}

TEST(Sysfs, Directory_WithForeignFilesIsRefusedAndLeftAlone) {
  const FleetDirectory fleet(simtest::OneDrive());
  vxtest::WriteFile(fleet.Root() / "precious", "x");
  const ToolRun run = fleet.Run("simulator sysfs --root " + fleet.Root().string());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("name an empty or a new directory"), std::string::npos);
  EXPECT_EQ(std::distance(fs::directory_iterator(fleet.Root()), fs::directory_iterator()), 1);
}

TEST(Sysfs, EditsWithARoot_BringTheTreeUpToDate) {
  const Machine machine(FleetDirectory::Example("known-drives.json"));
  const std::string root = " --root " + machine.Root().string();
  machine.Edit("pull 5" + root);
  EXPECT_EQ(machine.List("class/nvme"), (Names{"nvme0", "nvme1", "nvme2", "nvme3", "nvme4"}));
  EXPECT_EQ(machine.Leads("bus/pci/devices/0000:65:00.0"), "nowhere");
  EXPECT_FALSE(fs::exists(machine.Root() / "bus/pci/slots/6"));
  machine.Edit("plug 5" + root);
  EXPECT_EQ(machine.Read("class/nvme/nvme5/serial"), "PHKS7335006W375AGN  \n");
  machine.Edit("fail 0 --how dead" + root);
  EXPECT_EQ(machine.Read("class/nvme/nvme0/state"), "dead\n");
  machine.Edit("format 2 --sector-size 4096" + root);
  EXPECT_EQ(machine.Read("block/nvme2n1/queue/logical_block_size"), "4096\n");
  EXPECT_EQ(machine.Read("block/nvme2n1/size"), "3907029168\n");
}

// Path and content of everything in a tree.
std::vector<std::string> Everything(const fs::path& root) {
  std::vector<std::string> rows;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    std::string row = entry.path().lexically_relative(root).string();
    if (entry.is_symlink()) {
      row += " -> " + fs::read_symlink(entry.path()).string();
    } else if (entry.is_regular_file()) {
      row += ": " + vxtest::ReadFile(entry.path());
    }
    rows.push_back(row);
  }
  std::sort(rows.begin(), rows.end());
  return rows;
}

TEST(Sysfs, UpdatedTree_IsTheTreeThatAFreshRunLays) {
  const Machine machine(FleetDirectory::Example("known-drives.json"));
  const Machine fresh(FleetDirectory::Example("mixed.json"));
  machine.Write(FleetDirectory::Example("mixed.json"));
  machine.Lay();
  EXPECT_EQ(Everything(machine.Root()), Everything(fresh.Root()));
  machine.Lay();
  EXPECT_EQ(Everything(machine.Root()), Everything(fresh.Root()));
}

TEST(Sysfs, AnotherDriveAtTheSamePlace_IsShownAsTheNewOne) {
  const auto fleet = [](bool first) {
    const std::string place =
        R"("model": "M", "devicePath": "/dev/nvme0n1", "pci": {"address": "0000:01:00.0", "device": "0953"}})";
    return std::string(R"({"drives": [{"serial": "OLD", "present": )") +
           (first ? "true, " : "false, ") + place +
           R"(, {"serial": "NEW", "index": 0, "present": )" + (first ? "false, " : "true, ") +
           place + "]}";
  };
  const Machine machine(fleet(true));
  EXPECT_EQ(machine.Read("class/nvme/nvme0/serial").substr(0, 3), "OLD");
  machine.Write(fleet(false));
  machine.Lay();
  EXPECT_EQ(machine.Read("class/nvme/nvme0/serial").substr(0, 3), "NEW");
}

// A drive called by its bus number, at the place of that number.
std::string DriveOf(int number, const std::string& members = "") {
  const std::string text = std::to_string(number);
  return R"({"serial": "S)" + text + R"(", "model": "M", "index": )" + text +
         R"(, "devicePath": "/dev/nvme)" + text + R"(n1", "pci": {"address": "0000:0)" + text +
         R"(:00.0", "device": "0a54"})" + members + "}";
}
std::string FleetOf(const std::string& drives) {
  return R"({"drives": [)" + drives + "]}";
}

// The tree of a fleet that takes the place of an earlier one, which is kept.
class Succession : public Machine {
 public:
  Succession(const std::string& earlier, const std::string& fleet) : Machine(earlier) {
    vxtest::WriteFile(Earlier(), earlier);
    Write(fleet);
    LayBeside();
  }
  fs::path Earlier() const { return Path() / "earlier.json"; }
  void LayBeside() const {
    Edit("sysfs --root " + Root().string() + " --keep " + Earlier().string());
  }
};

TEST(SysfsKeep, DriveThatLeaves_StaysBesideTheOneThatComes) {
  const std::string left = DriveOf(1, R"(, "present": false)") + "," + DriveOf(2);
  const Succession machine(FleetOf(DriveOf(1)), FleetOf(left));
  EXPECT_EQ(machine.List("bus/pci/slots").size(), 0U);
  EXPECT_EQ(machine.List("class/nvme"), (Names{"nvme1", "nvme2"}));
  machine.Lay();
  EXPECT_EQ(machine.List("class/nvme"), Names{"nvme2"});
}

TEST(SysfsKeep, PlaceThatIsTaken_IsTheNewDrives) {
  const std::string same = R"({"serial": "NEW", "model": "M", )";
  for (const std::string& place :
       {std::string(R"("devicePath": "/dev/nvme1n1", "pci": {"address": "0000:05:00.0",)"),
        std::string(R"("devicePath": "/dev/nvme9n1", "pci": {"address": "0000:01:00.0",)")}) {
    const Succession machine(FleetOf(DriveOf(1)), FleetOf(same + place + R"("device": "0a54"}})"));
    ASSERT_EQ(machine.List("class/nvme").size(), 1U) << place;
    EXPECT_EQ(machine.Read("class/nvme/" + machine.List("class/nvme")[0] + "/serial").substr(0, 3),
              "NEW");
  }
}

TEST(SysfsKeep, SlotThatIsTaken_IsTheNewDrives) {
  const auto inSlot = [](int number) {
    std::string drive = DriveOf(number);
    return drive.insert(drive.find("\"device\":"), R"("slot": "4", )");
  };
  const Succession machine(FleetOf(inSlot(1)), FleetOf(inSlot(2)));
  EXPECT_EQ(machine.List("class/nvme"), Names{"nvme2"});
  EXPECT_EQ(machine.Read("bus/pci/slots/4/address"), "0000:02:00\n");
}

TEST(SysfsKeep, DriveThatWasPulledBefore_DoesNotComeBack) {
  const Succession machine(FleetOf(DriveOf(1, R"(, "present": false)")), FleetOf(DriveOf(2)));
  EXPECT_EQ(machine.List("class/nvme"), Names{"nvme2"});
}

TEST(SysfsKeep, DriveThatHasMoved_IsAtBothPlaces) {
  std::string moved = DriveOf(2);
  moved.replace(moved.find("S2"), 2, "S1");
  const Succession machine(FleetOf(DriveOf(1)), FleetOf(moved));
  EXPECT_EQ(machine.Read("class/nvme/nvme1/serial"), machine.Read("class/nvme/nvme2/serial"));
}

TEST(SysfsKeep, FleetsThatCannotStandInOneTree_ShowTheNewOne) {
  std::string atTheBridge = DriveOf(2);
  const std::string port = R"("port": "0000:01:00.0", )";
  atTheBridge.insert(atTheBridge.find("\"device\":"), port);
  const Succession machine(FleetOf(DriveOf(1)), FleetOf(atTheBridge));
  EXPECT_EQ(machine.List("class/nvme"), Names{"nvme2"});
}

TEST(SysfsKeep, EarlierFileThatIsNoFleet_IsNamedAndChangesNothing) {
  const Machine machine(FleetOf(DriveOf(1)));
  machine.Write(FleetOf(DriveOf(2)));
  vxtest::WriteFile(machine.Path() / "earlier.json", "{}");
  const ToolRun run = machine.Run("simulator sysfs --root " + machine.Root().string() + " --keep " +
                                  (machine.Path() / "earlier.json").string());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("earlier.json: drives: is missing"), std::string::npos) << run.err;
  EXPECT_EQ(machine.List("class/nvme"), Names{"nvme1"});
}

// The names in a directory at one moment at which it certainly stood at its path; empty when it did
// not.
Names NamesAtOneMoment(const fs::path& path) {
  const int handle = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (handle < 0) return {};
  Names names;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd/" + std::to_string(handle))) {
    names.push_back(entry.path().filename().string());
  }
  // While the handle is open no other directory can get its inode.
  struct stat opened {};
  struct stat now {};
  fstat(handle, &opened);
  const bool stands = stat(path.c_str(), &now) == 0 && now.st_ino == opened.st_ino;
  close(handle);
  return stands ? names : Names{};
}

TEST(Sysfs, ReaderDuringUpdates_SeesADeviceWholeOrNotAtAll) {
  const Machine machine(FleetDirectory::Example("known-drives.json"));
  const std::string root = " --root " + machine.Root().string();
  const fs::path device = machine.Root() / "devices/pci0000:00/0000:00:0c.5/0000:65:00.0";
  std::atomic<bool> updating = true;
  std::jthread updater([&] {
    for (int i = 0; i < vxtest::Count(4, 100); ++i) {
      machine.Edit("pull 5" + root);
      machine.Edit("plug 5" + root);
    }
    updating = false;
  });
  int whole = 0;
  while (updating) {
    const Names names = NamesAtOneMoment(device);
    if (names.empty()) continue;
    ++whole;
    for (const char* name : {"vendor", "device", "class", "nvme", "driver"}) {
      EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
    }
    // No other drive is touched.
    EXPECT_EQ(machine.Read("class/nvme/nvme0/serial"), "CVFT7203005M400LGN  \n");
  }
  updater.join();
  EXPECT_GT(whole, 0);
}

}  // namespace
