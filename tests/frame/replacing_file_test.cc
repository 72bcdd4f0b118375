// The library's own image files: complete or not at all, previous image kept.
#include "frame/replacing_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/temp_files.h"

namespace deflash {
namespace {

using deflash_test::read_file;
using deflash_test::temp_dir;

std::string text_of(const std::string& path) {
  const std::vector<uint8_t> bytes = read_file(path);
  return std::string(bytes.begin(), bytes.end());
}

/// Names in `dir`, sorted: a temporary file left behind shows here.
std::vector<std::string> names_in(const temp_dir& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool put(replacing_file& file, const std::string& text) {
  return file.write(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

TEST(ReplacingFile, CreatesANewFileOnCommit) {
  temp_dir dir;
  replacing_file file;
  ASSERT_TRUE(file.open(dir.file("de.bin").c_str()));
  ASSERT_TRUE(put(file, "image"));
  EXPECT_FALSE(std::filesystem::exists(dir.file("de.bin")));
  ASSERT_TRUE(file.commit());
  EXPECT_EQ(text_of(dir.file("de.bin")), "image");
  EXPECT_EQ(names_in(dir), std::vector<std::string>{"de.bin"});
}

TEST(ReplacingFile, KeepsThePreviousImageUntilCommit) {
  temp_dir dir;
  const std::string target = dir.write("de.bin", "previous");
  {
    replacing_file file;
    ASSERT_TRUE(file.open(target.c_str()));
    ASSERT_TRUE(put(file, "half"));
    EXPECT_EQ(text_of(target), "previous");
  }  // dropped without commit
  EXPECT_EQ(text_of(target), "previous");
  EXPECT_EQ(names_in(dir), std::vector<std::string>{"de.bin"});
}

TEST(ReplacingFile, LeavesOtherFilesBesideTheTargetAlone) {
  temp_dir dir;
  const std::string partial = dir.write("de.bin.partial", "someone else's");
  const std::string tmp = dir.write(".de.bin.tmp", "also not ours");
  replacing_file file;
  ASSERT_TRUE(file.open(dir.file("de.bin").c_str()));
  ASSERT_TRUE(put(file, "image"));
  ASSERT_TRUE(file.commit());
  EXPECT_EQ(text_of(partial), "someone else's");
  EXPECT_EQ(text_of(tmp), "also not ours");
  EXPECT_EQ(names_in(dir), (std::vector<std::string>{".de.bin.tmp", "de.bin", "de.bin.partial"}));
}

TEST(ReplacingFile, RefusesAFolderAndAMissingFolder) {
  temp_dir dir;
  replacing_file file;
  EXPECT_FALSE(file.open(dir.path().c_str()));
  EXPECT_FALSE(file.open(dir.file("missing/de.bin").c_str()));
  EXPECT_FALSE(file.open(""));
  EXPECT_FALSE(file.open(nullptr));
  EXPECT_FALSE(file.commit());
  EXPECT_TRUE(names_in(dir).empty());
}

TEST(ReplacingFile, ReplacesTheFileALinkNamesAndKeepsTheLink) {
#ifdef _WIN32
  GTEST_SKIP() << "symbolic links need privileges on Windows";
#else
  temp_dir dir;
  const std::string real = dir.write("real.bin", "previous");
  std::filesystem::create_symlink(real, dir.file("link.bin"));
  replacing_file file;
  ASSERT_TRUE(file.open(dir.file("link.bin").c_str()));
  ASSERT_TRUE(put(file, "image"));
  ASSERT_TRUE(file.commit());
  EXPECT_TRUE(std::filesystem::is_symlink(dir.file("link.bin")));
  EXPECT_EQ(text_of(real), "image");
#endif
}

TEST(ReplacingFile, KeepsThePermissionsOfTheImageItReplaces) {
#ifdef _WIN32
  GTEST_SKIP() << "POSIX permissions";
#else
  temp_dir dir;
  const std::string target = dir.write("de.bin", "previous");
  ASSERT_EQ(chmod(target.c_str(), 0640), 0);
  replacing_file file;
  ASSERT_TRUE(file.open(target.c_str()));
  ASSERT_TRUE(put(file, "image"));
  ASSERT_TRUE(file.commit());
  struct stat st {};
  ASSERT_EQ(stat(target.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640u);
#endif
}

TEST(ReplacingFile, WritesADeviceDirectly) {
#ifdef _WIN32
  GTEST_SKIP() << "no /dev/null";
#else
  replacing_file file;
  ASSERT_TRUE(file.open("/dev/null"));
  ASSERT_TRUE(put(file, "image"));
  ASSERT_TRUE(file.commit());
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
#endif
}

TEST(ReplacingFile, FullDiskKeepsThePreviousImage) {
#ifdef _WIN32
  GTEST_SKIP() << "no /dev/full";
#else
  // /dev/full is a device, written directly; the write error must surface.
  replacing_file file;
  ASSERT_TRUE(file.open("/dev/full"));
  const std::string big(1 << 16, 'x');
  put(file, big);
  EXPECT_FALSE(file.commit());
#endif
}

}  // namespace
}  // namespace deflash
