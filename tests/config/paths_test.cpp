#include "config/paths.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "support/test_support.h"

namespace ostravel {
namespace {

TLocationInputs Installed() {
  TLocationInputs in;
  in.exeFolder = "/opt/ostravel/bin";
  in.home = "/home/ann";
  return in;
}

TEST(LocationsTest, OverrideWinsOverEverything) {
  TLocationInputs in = Installed();
  in.optionsBesideExe = true;
  in.exeFolderWritable = true;
  in.xdgConfigHome = "/cfg";
  in.ostravelHome = "/srv/ostravel/";
  const TFileLocations loc = ResolveFileLocations(in);
  EXPECT_EQ(loc.kind, TInstallKind::kHomeOverride);
  EXPECT_EQ(loc.optionsFile, "/srv/ostravel/options.ini");
  EXPECT_EQ(loc.dataFolder, "/srv/ostravel/");
}

TEST(LocationsTest, PortableWhenTheFileIsThereOrTheFolderWritable) {
  TLocationInputs in = Installed();
  in.optionsBesideExe = true;
  TFileLocations loc = ResolveFileLocations(in);
  EXPECT_EQ(loc.kind, TInstallKind::kPortable);
  EXPECT_EQ(loc.optionsFile, "/opt/ostravel/bin/options.ini");
  EXPECT_EQ(loc.dataFolder, "/opt/ostravel/bin");

  in.optionsBesideExe = false;
  in.exeFolderWritable = true;
  EXPECT_EQ(ResolveFileLocations(in).kind, TInstallKind::kPortable);
}

TEST(LocationsTest, PerUserFoldersFollowXdg) {
  TLocationInputs in = Installed();
  TFileLocations loc = ResolveFileLocations(in);
  EXPECT_EQ(loc.kind, TInstallKind::kUser);
  EXPECT_EQ(loc.optionsFile, "/home/ann/.config/ostravel/options.ini");
  EXPECT_EQ(loc.dataFolder, "/home/ann/.local/share/ostravel");

  in.xdgConfigHome = "/x/config";
  EXPECT_EQ(ResolveFileLocations(in).optionsFile, "/x/config/ostravel/options.ini");

  // Relative XDG values are invalid and ignored.
  in.xdgConfigHome = "config";
  in.xdgDataHome = "data";
  loc = ResolveFileLocations(in);
  EXPECT_EQ(loc.optionsFile, "/home/ann/.config/ostravel/options.ini");
  EXPECT_EQ(loc.dataFolder, "/home/ann/.local/share/ostravel");

  // Without any home the program's folder is the only place left.
  in.home.clear();
  EXPECT_EQ(ResolveFileLocations(in).kind, TInstallKind::kPortable);
}

TEST(LocationsTest, EnvironmentOverrideAndFoldersOnDemand) {
  const std::string dir = test::MakeTempDir() + "/home";
  ::setenv("OSTRAVEL_HOME", dir.c_str(), 1);
  EXPECT_EQ(OptionsFilePath(), std::filesystem::path(dir) / "options.ini");
  EXPECT_FALSE(std::filesystem::exists(dir));
  EXPECT_EQ(DataFolder(), std::filesystem::path(dir));
  EXPECT_TRUE(std::filesystem::is_directory(dir));
  EXPECT_EQ(SavedTmpRegisterFolder(), std::filesystem::path(dir) / "SavedTmpRegisterData");
  EXPECT_TRUE(std::filesystem::is_directory(std::filesystem::path(dir) / "SavedTmpRegisterData"));
  EXPECT_TRUE(std::filesystem::is_directory(SavedTmpSyzygyFolder()));
  ::unsetenv("OSTRAVEL_HOME");

  EXPECT_TRUE(ExecutableFolder().is_absolute());
  EXPECT_TRUE(std::filesystem::exists(ExecutableFolder() / "test_config"));
}

}  // namespace
}  // namespace ostravel
