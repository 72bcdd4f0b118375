// Safe writes and bounded reads of the tool: refusals come before the first
// byte, and a failure leaves every existing file as it was.
#include "host/files/safe_output.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "host/files/file_io.h"
#include "support/temp_files.h"

namespace deflash_host {
namespace {

using deflash_test::read_file;
using deflash_test::temp_dir;

std::string text_of(const std::string& path) {
  const std::vector<uint8_t> bytes = read_file(path);
  return std::string(bytes.begin(), bytes.end());
}

/// How many entries `dir` holds: temporary files left behind show here.
int entries_in(const temp_dir& dir) {
  int count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(dir.path()))
    ++count;
  return count;
}

TEST(SafeOutput, WritesEveryOutput) {
  temp_dir dir;
  std::string error;
  ASSERT_TRUE(
      write_outputs({}, {{dir.file("a.bin"), "AAAA"}, {dir.file("b.bin"), "BB"}}, {}, error))
      << error;
  EXPECT_EQ(text_of(dir.file("a.bin")), "AAAA");
  EXPECT_EQ(text_of(dir.file("b.bin")), "BB");
  EXPECT_EQ(entries_in(dir), 2);
}

TEST(SafeOutput, ReplacesAnExistingImageWhole) {
  temp_dir dir;
  const std::string out = dir.write("calib.bin", "old image");
  std::string error;
  ASSERT_TRUE(write_outputs({}, {{out, "new"}}, {}, error)) << error;
  EXPECT_EQ(text_of(out), "new");
  EXPECT_EQ(entries_in(dir), 1);
}

TEST(SafeOutput, RefusesAnOutputThatIsAnInput) {
  temp_dir dir;
  const std::string input = dir.write("calib_close.ini", "[basic]\n");
  std::string error;
  EXPECT_FALSE(write_outputs({input}, {{input, "image"}}, {}, error));
  EXPECT_EQ(error, input + ": cannot be written (it is the input " + input + ")");
  EXPECT_EQ(text_of(input), "[basic]\n");
}

TEST(SafeOutput, RefusesAnInputSpelledAnotherWay) {
  temp_dir dir;
  const std::string input = dir.write("module.json", "{}");
  const std::string other = dir.path() + "/./sub/../module.json";
  ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0755), 0);
  std::string error;
  EXPECT_FALSE(write_outputs({input}, {{other, "image"}}, {}, error));
  EXPECT_EQ(error, other + ": cannot be written (it is the input " + input + ")");
  EXPECT_EQ(text_of(input), "{}");
}

TEST(SafeOutput, RefusesAHardLinkToAnInput) {
  temp_dir dir;
  const std::string input = dir.write("module.json", "{}");
  ASSERT_EQ(link(input.c_str(), dir.file("alias.bin").c_str()), 0);
  std::string error;
  EXPECT_FALSE(write_outputs({input}, {{dir.file("alias.bin"), "image"}}, {}, error));
  EXPECT_EQ(error, dir.file("alias.bin") + ": cannot be written (it is the input " + input + ")");
  EXPECT_EQ(text_of(input), "{}");
}

TEST(SafeOutput, RefusesTwoOutputsOfOnePath) {
  temp_dir dir;
  std::string error;
  EXPECT_FALSE(write_outputs({}, {{dir.file("a.bin"), "A"}, {dir.file("a.bin"), "B"}}, {}, error));
  EXPECT_EQ(error, dir.file("a.bin") + ": cannot be written (it is also the output " +
                       dir.file("a.bin") + ")");
  EXPECT_EQ(entries_in(dir), 0);
}

TEST(SafeOutput, RefusesAFolder) {
  temp_dir dir;
  ASSERT_EQ(mkdir(dir.file("out").c_str(), 0755), 0);
  std::string error;
  EXPECT_FALSE(write_outputs({}, {{dir.file("out"), "A"}}, {}, error));
  EXPECT_EQ(error, dir.file("out") + ": cannot be written (it exists and is not a regular file)");
}

TEST(SafeOutput, RefusesAFifoWithoutOpeningIt) {
  temp_dir dir;
  ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0644), 0);
  std::string error;
  EXPECT_FALSE(write_outputs({}, {{dir.file("pipe"), "A"}}, {}, error));
  EXPECT_EQ(error, dir.file("pipe") + ": cannot be written (it exists and is not a regular file)");
}

TEST(SafeOutput, RefusesADevice) {
  std::string error;
  EXPECT_FALSE(write_outputs({}, {{"/dev/null", "A"}}, {}, error));
  EXPECT_EQ(error, "/dev/null: cannot be written (it exists and is not a regular file)");
}

TEST(SafeOutput, RefusesASymbolicLinkUnlessForced) {
  temp_dir dir;
  const std::string target = dir.write("flash.bin", "old");
  ASSERT_EQ(symlink(target.c_str(), dir.file("link.bin").c_str()), 0);
  std::string error;
  EXPECT_FALSE(write_outputs({}, {{dir.file("link.bin"), "new"}}, {}, error));
  EXPECT_EQ(error, dir.file("link.bin") +
                       ": cannot be written (it is a symbolic link; --force writes to the file "
                       "it names)");
  EXPECT_EQ(text_of(target), "old");

  output_options force;
  force.force = true;
  ASSERT_TRUE(write_outputs({}, {{dir.file("link.bin"), "new"}}, force, error)) << error;
  EXPECT_EQ(text_of(target), "new");
  struct stat st {};
  ASSERT_EQ(lstat(dir.file("link.bin").c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the link stays a link";
}

TEST(SafeOutput, WritesTheFileADanglingLinkNamesWhenForced) {
  temp_dir dir;
  mkdir(dir.file("images").c_str(), 0755);
  // Relative to the link's folder, through a second link, as a station's
  // "current" links are laid out.
  ASSERT_EQ(symlink("images/calib.bin", dir.file("next.bin").c_str()), 0);
  ASSERT_EQ(symlink("next.bin", dir.file("current.bin").c_str()), 0);
  output_options force;
  force.force = true;
  std::string error;
  ASSERT_TRUE(write_outputs({}, {{dir.file("current.bin"), "new"}}, force, error)) << error;
  EXPECT_EQ(text_of(dir.file("images/calib.bin")), "new");
  for (const char* link : {"current.bin", "next.bin"}) {
    struct stat st {};
    ASSERT_EQ(lstat(dir.file(link).c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << link << " stays a link";
  }
}

TEST(SafeOutput, NamesTheTemporaryFolderItCannotUse) {
  temp_dir dir;
  const char* saved = std::getenv("TMPDIR");
  const std::string previous = saved != nullptr ? saved : "";
  setenv("TMPDIR", dir.file("absent").c_str(), 1);
  std::string error;
  const std::string path = temporary_folder_path("scratch.bin", error);
  setenv("TMPDIR", dir.path().c_str(), 1);
  const std::string usable = temporary_folder_path("scratch.bin", error);
  if (saved != nullptr) {
    setenv("TMPDIR", previous.c_str(), 1);
  } else {
    unsetenv("TMPDIR");
  }
  EXPECT_EQ(path, "");
  EXPECT_EQ(error, "TMPDIR=" + dir.file("absent") +
                       ": cannot be used as the temporary folder (No such file or directory)");
  EXPECT_EQ(usable, dir.file("scratch.bin"));
}

TEST(SafeOutput, ChangesNothingWhenOneOutputCannotBeWritten) {
  temp_dir dir;
  const std::string first = dir.write("calib.bin", "previous image");
  const std::string second = dir.file("missing/raw.bin");
  std::string error;
  EXPECT_FALSE(write_outputs({}, {{first, "new image"}, {second, "raw"}}, {}, error));
  EXPECT_EQ(error, second + ": cannot be written (No such file or directory)");
  EXPECT_EQ(text_of(first), "previous image");
  EXPECT_EQ(entries_in(dir), 1) << "no temporary file is left behind";
}

TEST(SafeOutput, NeverTouchesAFileItDidNotCreate) {
  temp_dir dir;
  const std::string partial = dir.write("de.bin.partial", "someone else's");
  std::string error;
  ASSERT_TRUE(write_outputs({}, {{dir.file("de.bin"), "image"}}, {}, error)) << error;
  EXPECT_EQ(text_of(partial), "someone else's");
}

TEST(SafeOutput, ReservesAUniqueScratchFileBesideTheTarget) {
  temp_dir dir;
  std::string error;
  const std::string first = reserve_temporary(dir.file("de.bin"), error);
  const std::string second = reserve_temporary(dir.file("de.bin"), error);
  ASSERT_FALSE(first.empty());
  ASSERT_FALSE(second.empty());
  EXPECT_NE(first, second);
  EXPECT_EQ(first.rfind(dir.path() + "/.de.bin.deflash-", 0), 0u) << first;
  EXPECT_TRUE(text_of(first).empty());
}

TEST(BoundedInput, RefusesAFifoWithoutBlocking) {
  temp_dir dir;
  ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0644), 0);
  std::string bytes;
  std::string error;
  EXPECT_FALSE(read_file_bytes(dir.file("pipe"), bytes, error));
  EXPECT_EQ(error, dir.file("pipe") + ": cannot be read (not a regular file)");
}

TEST(BoundedInput, RefusesADeviceThatNeverEnds) {
  std::string bytes;
  std::string error;
  EXPECT_FALSE(read_file_bytes("/dev/zero", bytes, error));
  EXPECT_EQ(error, "/dev/zero: cannot be read (not a regular file)");
}

TEST(BoundedInput, RefusesAFileOverItsKindsLimit) {
  temp_dir dir;
  const std::string path = dir.write("big.ini", std::string(2049, ';'));
  std::string bytes;
  std::string error;
  EXPECT_FALSE(read_file_bytes(path, bytes, error, 2048));
  EXPECT_EQ(error, path +
                       ": cannot be read (2049 bytes, more than the 2048 this kind of file may "
                       "have)");
  EXPECT_TRUE(read_file_bytes(path, bytes, error, 2049));
  EXPECT_EQ(bytes.size(), 2049u);
}

TEST(BoundedInput, RefusesAMissingFileAndAnEmptyPath) {
  std::string bytes;
  std::string error;
  EXPECT_FALSE(read_file_bytes("/nonexistent/module.json", bytes, error));
  EXPECT_EQ(error, "/nonexistent/module.json: cannot be read (No such file or directory)");
  EXPECT_FALSE(read_file_bytes("", bytes, error));
  EXPECT_EQ(error, "an input path is empty");
}

}  // namespace
}  // namespace deflash_host
