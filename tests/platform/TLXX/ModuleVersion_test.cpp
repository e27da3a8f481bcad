#include "Sysfs.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <TLXX/System.h>

namespace {

using TLXX::CSystem;

class ModuleVersionTest : public testing::Test {
 protected:
  tlxxtest::Sysfs sysfs_;
};

TEST_F(ModuleVersionTest, Version_IsTheTextOfTheFileWithoutItsLineEnd) {
  sysfs_.File("module/nvme/version", "1.0\n");
  EXPECT_EQ(CSystem::GetModuleVersion("nvme"), "1.0");
  std::string version = "from before";
  CSystem::GetModuleVersion("nvme", version);
  EXPECT_EQ(version, "1.0");
}

TEST_F(ModuleVersionTest, Version_WithoutLineEnd_IsTheWholeText) {
  sysfs_.File("module/nvme/version", "1.0 beta");
  EXPECT_EQ(CSystem::GetModuleVersion("nvme"), "1.0 beta");
}

TEST_F(ModuleVersionTest, Version_OfAModuleWithoutOne_IsEmpty) {
  sysfs_.File("module/nvme/refcnt", "3\n");
  sysfs_.File("module/empty/version", "");
  EXPECT_EQ(CSystem::GetModuleVersion("nvme"), "");
  EXPECT_EQ(CSystem::GetModuleVersion("empty"), "");
  std::string version = "from before";
  CSystem::GetModuleVersion("missing", version);
  EXPECT_EQ(version, "");
}

TEST_F(ModuleVersionTest, Version_OfANameThatIsNone_IsEmpty) {
  sysfs_.File("version", "outside\n");
  sysfs_.File("module/version", "outside\n");
  sysfs_.File("module/nvme/version", "1.0\n");
  for (const std::string& name :
       {std::string(), std::string("."), std::string(".."), std::string("../module/nvme"),
        std::string("nvme/"), std::string("nvme\0", 5)}) {
    EXPECT_EQ(CSystem::GetModuleVersion(name), "") << name;
  }
}

TEST_F(ModuleVersionTest, Version_ThatIsNoOrdinaryFile_IsEmpty) {
  std::filesystem::create_directories(sysfs_.Root() / "module/folder/version");
  EXPECT_EQ(CSystem::GetModuleVersion("folder"), "");
  std::filesystem::create_directories(sysfs_.Root() / "module/pipe");
  ASSERT_EQ(mkfifo((sysfs_.Root() / "module/pipe/version").c_str(), 0600), 0);
  EXPECT_EQ(CSystem::GetModuleVersion("pipe"), "");
}

}  // namespace
