#include "ICMxlRmgLib.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstddef>
#include <string>

#include "Scratch.h"

namespace {

class ICMxlRmgLibPath : public testing::Test {
 protected:
  ~ICMxlRmgLibPath() override { gVekLibraryPath = m_shipped; }

  bool existsAt(const std::string& path) {
    gVekLibraryPath = path.c_str();
    return isVekExist();
  }

  Scratch scratch;

 private:
  const char* m_shipped = gVekLibraryPath;
};

TEST_F(ICMxlRmgLibPath, IsTheUnversionedLibrary) {
  EXPECT_STREQ(gVekLibraryPath, "/opt/ZQRNvek/lib/libvekcom.so");
}

TEST_F(ICMxlRmgLibPath, RegularFilesAndCharacterDevicesCount) {
  writeFile(scratch.file("lib"), "");
  EXPECT_TRUE(existsAt(scratch.file("lib")));
  EXPECT_TRUE(existsAt("/dev/null"));
}

TEST_F(ICMxlRmgLibPath, MissingFilesAndDirectoriesDoNotCount) {
  EXPECT_FALSE(existsAt(scratch.file("missing")));
  EXPECT_FALSE(existsAt(scratch.path()));
}

TEST_F(ICMxlRmgLibPath, SocketsDoNotCount) {
  makeSocket(scratch.file("socket"));
  EXPECT_FALSE(existsAt(scratch.file("socket")));
}

TEST_F(ICMxlRmgLibPath, BlockDevicesDoNotCount) {
  if (!makeBlockDevice(scratch.file("block"))) GTEST_SKIP() << "only root can make a block device";
  EXPECT_FALSE(existsAt(scratch.file("block")));
}

TEST_F(ICMxlRmgLibPath, InstallationTestKeepsItsResult) {
  struct Client : ICMxlRmgLib {
    bool kept() const { return m_installed; }
    int reserved() const { return m_reserved; }
    size_t libraries() const { return m_scenarioLibraries.size(); }
  };
  Client client;
  EXPECT_FALSE(client.kept());
  EXPECT_EQ(client.reserved(), 0);
  EXPECT_EQ(client.libraries(), 0u);

  writeFile(scratch.file("lib"), "");
  const std::string present = scratch.file("lib");
  gVekLibraryPath = present.c_str();
  EXPECT_TRUE(client.isKardoInstalled());
  EXPECT_TRUE(client.kept());

  gVekLibraryPath = scratch.path().c_str();
  EXPECT_FALSE(client.isKardoInstalled());
  EXPECT_FALSE(client.kept());
}

TEST(ICMxlRmgLib, LoadsNothing) {
  ICMxlRmgLib client;
  EXPECT_EQ(client.loadLibrary("libvekcom.so.2.0"), 0);
  EXPECT_EQ(client.loadLibrary(nullptr), 0);
  client.scenarioLoadLibraries();
  client.scenarioUnloadLibraries();
}

}  // namespace
