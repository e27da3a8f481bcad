#include <filesystem>

#include <gtest/gtest.h>

#include <TLX/Misc/Application.h>

namespace {

using TLX::Misc::CTlxApplication;

TEST(Application, GetProcessPath_IsTheExecutableFileOfThisProcess) {
  const std::string path = CTlxApplication::GetProcessPath();
  EXPECT_EQ(path, std::filesystem::canonical("/proc/self/exe").string());
  EXPECT_EQ(std::filesystem::path(path).filename(), "TLX_test");
}

TEST(Application, SetProcessPath_ReplacesThePathUntilEmptied) {
  const std::string real = CTlxApplication::GetProcessPath();
  CTlxApplication::SetProcessPath("/opt/other/host");
  EXPECT_EQ(CTlxApplication::GetProcessPath(), "/opt/other/host");
  CTlxApplication::SetProcessPath("");
  EXPECT_EQ(CTlxApplication::GetProcessPath(), real);
}

}  // namespace
