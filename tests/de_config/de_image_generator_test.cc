// Tests of the image generator over real files: order, messages, versions, the export.
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "de_config/de_config_state.h"
#include "de_config/de_image_build.h"
#include "de_config/de_image_decode.h"
#include "de_config/ini_text.h"
#include "deflash/de_config.h"
#include "support/console_capture.h"
#include "support/temp_files.h"

using deflash::build_de_config_image;
using deflash::de_image_outcome;
using namespace deflash_test;

namespace {

constexpr uint32_t kNow = 0x12345678u;

// Input files of one generator run, written into a scratch directory.
class generator_inputs {
 public:
  generator_inputs() {
    d2c_ = dir_.write("d2c.ini", valid_d2c_ini(3).str());
    ir_pre_ = dir_.write("ir_pre.ini", valid_ir_pre_ini(2).str());
  }
  std::string add_dpu(const std::string& name, const ini_text& text) {
    dpu_.push_back(dir_.write(name, text.str()));
    return dpu_.back();
  }
  void set_d2c(const ini_text& text) { d2c_ = dir_.write("d2c.ini", text.str()); }
  void set_d2c_path(const std::string& path) { d2c_ = path; }
  void set_ir_pre(const ini_text& text) { ir_pre_ = dir_.write("ir_pre.ini", text.str()); }
  void set_ir_pre_path(const std::string& path) { ir_pre_ = path; }

  /// The host's record; valid while this object lives and is not changed.
  const de_config_files& files() {
    pointers_.clear();
    for (const std::string& p : dpu_) pointers_.push_back(p.c_str());
    files_ = de_config_files{};
    files_.dpu_config_paths = pointers_.empty() ? nullptr : pointers_.data();
    files_.dpu_config_num = static_cast<uint8_t>(pointers_.size());
    std::strncpy(files_.d2c_config_path, d2c_.c_str(), sizeof files_.d2c_config_path - 1);
    std::strncpy(files_.ir_pre_config_path, ir_pre_.c_str(), sizeof files_.ir_pre_config_path - 1);
    return files_;
  }
  const temp_dir& dir() const { return dir_; }

 private:
  temp_dir dir_;
  std::vector<std::string> dpu_;
  std::string d2c_;
  std::string ir_pre_;
  std::vector<const char*> pointers_;
  de_config_files files_{};
};

struct build_result {
  de_image_outcome outcome;
  std::string out;
  std::string err;
};

build_result build(const de_config_files& files, uint32_t now = kNow) {
  build_result r;
  const auto console = capture_console([&] { r.outcome = build_de_config_image(files, now); });
  r.out = console.out;
  r.err = console.err;
  return r;
}

ini_text dpu_with(const char* desc, const char* version) {
  ini_text t = valid_dpu_ini();
  t.set("mode", "dpu_desc", desc);
  if (version != nullptr) {
    t.set("mode", "version", version);
  } else {
    t.erase("mode", "version");
  }
  return t;
}

std::string desc_at(const uint8_t* item_mode) {
  return std::string(reinterpret_cast<const char*>(item_mode),
                     strnlen(reinterpret_cast<const char*>(item_mode), 16));
}

}  // namespace

TEST(DeImageGenerator, BuildsAllThreeBlocksFromTheFiles) {
  generator_inputs in;
  in.add_dpu("close.ini", dpu_with("close", "1.0.0.1"));
  const build_result r = build(in.files());
  ASSERT_TRUE(r.outcome.converted);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  const std::vector<uint8_t>& image = r.outcome.image;
  ASSERT_EQ(image.size(), kImageBytes);
  const decoded_block dpu = decode_block(image, kDpuOffset);
  EXPECT_EQ(dpu.length, 108u);
  EXPECT_EQ(dpu.crc, recompute_crc(image, dpu));
  EXPECT_EQ(desc_at(dpu.item(0) + 16), "close");
  EXPECT_EQ(decode_block(image, kD2cOffset).length, 252u);
  EXPECT_EQ(decode_block(image, kIrPreOffset).length, 348u);
  EXPECT_EQ(decode_block(image, kD2cOffset).config_version, 0x31303033u);
  EXPECT_EQ(decode_block(image, kIrPreOffset).config_version, 0x31303034u);
}

TEST(DeImageGenerator, TwoDpuFilesGiveTwoItemsInFileOrder) {
  generator_inputs in;
  in.add_dpu("close.ini", dpu_with("close", "1.0.0.1"));
  ini_text long_range = dpu_with("long", "1.0.0.2");
  long_range.set("scheme", "mipi_channel_status", "1");
  in.add_dpu("long.ini", long_range);
  const build_result r = build(in.files());
  ASSERT_TRUE(r.outcome.converted);
  const decoded_block dpu = decode_block(r.outcome.image, kDpuOffset);
  EXPECT_EQ(dpu.length, 180u);
  EXPECT_EQ(dpu.item_count, 2u);
  EXPECT_EQ(desc_at(dpu.item(0) + 16), "close");
  EXPECT_EQ(desc_at(dpu.item(1) + 16), "long");
  EXPECT_EQ(le32(dpu.item(0) + 48 + 12) & (1u << 5), 0u);
  EXPECT_EQ(le32(dpu.item(1) + 48 + 12) & (1u << 5), 1u << 5);
  // Module state ends with the last file's mode.
  EXPECT_EQ(desc_at(reinterpret_cast<const uint8_t*>(deflash::module_de_config().mode.dpu_desc)),
            "long");
}

TEST(DeImageGenerator, NoDpuFilesLeaveTheDpuBlockErased) {
  generator_inputs in;
  const build_result r = build(in.files());
  ASSERT_TRUE(r.outcome.converted);
  EXPECT_TRUE(erased(r.outcome.image, 0, 0x2000));
  EXPECT_EQ(decode_block(r.outcome.image, kD2cOffset).section_magic, 0x46447307u);
  EXPECT_EQ(decode_block(r.outcome.image, kIrPreOffset).section_magic, 0x4644730Eu);
}

TEST(DeImageGenerator, NullPathArrayLeavesTheDpuBlockErasedWhateverTheCount) {
  generator_inputs in;
  de_config_files files = in.files();
  files.dpu_config_num = 2;
  files.dpu_config_paths = nullptr;
  const build_result r = build(files);
  ASSERT_TRUE(r.outcome.converted);
  EXPECT_TRUE(erased(r.outcome.image, 0, 0x2000));
}

TEST(DeImageGenerator, DpuBlockWithoutVersionsCarriesTheTime) {
  generator_inputs in;
  in.add_dpu("a.ini", dpu_with("a", nullptr));
  in.add_dpu("b.ini", dpu_with("b", nullptr));
  const build_result r = build(in.files());
  ASSERT_TRUE(r.outcome.converted);
  EXPECT_EQ(decode_block(r.outcome.image, kDpuOffset).config_version, kNow);
}

TEST(DeImageGenerator, DpuBlockCarriesTheLargestVersionComparedUnsigned) {
  generator_inputs in;
  in.add_dpu("a.ini", dpu_with("a", "2.0"));
  // Packs with a signed first character to 0xFFFFFFB5: negative as a signed
  // number, the largest as an unsigned one.
  in.add_dpu("b.ini", dpu_with("b", "\xB5"));
  in.add_dpu("c.ini", dpu_with("c", "3.0"));
  in.add_dpu("d.ini", dpu_with("d", nullptr));
  const build_result r = build(in.files());
  ASSERT_TRUE(r.outcome.converted);
  EXPECT_EQ(decode_block(r.outcome.image, kDpuOffset).config_version, 0xFFFFFFB5u);
}

TEST(DeImageGenerator, FailingDpuFileStopsBeforeTheGroupFiles) {
  generator_inputs in;
  in.add_dpu("good.ini", dpu_with("good", "1.0"));
  ini_text bad = valid_dpu_ini();
  bad.set("basic", "depth_unit", "0.5");
  const std::string bad_path = in.add_dpu("bad.ini", bad);
  // The D2C file would fail too; its loader must not run.
  in.set_d2c_path("/nonexistent/d2c.ini");
  const build_result r = build(in.files());
  EXPECT_FALSE(r.outcome.converted);
  EXPECT_TRUE(r.outcome.image.empty());
  EXPECT_EQ(r.out, "error: load_input_configs, path=" + bad_path +
                       " \nerror: convert dpu configs failed \n");
  EXPECT_EQ(r.err, "depth_unit parse error\n");
}

TEST(DeImageGenerator, UnreadableDpuFileIsReportedWithItsPath) {
  generator_inputs in;
  in.add_dpu("good.ini", dpu_with("good", "1.0"));
  de_config_files files = in.files();
  const char* paths[] = {files.dpu_config_paths[0], "/nonexistent/dpu.ini"};
  files.dpu_config_paths = paths;
  files.dpu_config_num = 2;
  const build_result r = build(files);
  EXPECT_FALSE(r.outcome.converted);
  EXPECT_EQ(r.err, "Cannot open file/nonexistent/dpu.ini\n");
  EXPECT_EQ(r.out,
            "error: load_input_configs, path=/nonexistent/dpu.ini \n"
            "error: convert dpu configs failed \n");
}

TEST(DeImageGenerator, DpuFileWithoutModeRepeatsThePreviousMode) {
  generator_inputs in;
  in.add_dpu("close.ini", dpu_with("close", "1.0"));
  ini_text no_mode = valid_dpu_ini();
  no_mode.erase_section("mode");
  in.add_dpu("no_mode.ini", no_mode);
  const build_result r = build(in.files());
  ASSERT_TRUE(r.outcome.converted);
  const decoded_block dpu = decode_block(r.outcome.image, kDpuOffset);
  EXPECT_EQ(std::memcmp(dpu.item(0), dpu.item(1), 72), 0);
}

TEST(DeImageGenerator, MoreDpuFilesThanTheBlockHoldsAreRefused) {
  generator_inputs in;
  const std::string path = in.add_dpu("close.ini", dpu_with("close", "1.0"));
  de_config_files files = in.files();
  std::vector<const char*> paths(114, path.c_str());
  files.dpu_config_paths = paths.data();
  files.dpu_config_num = 114;
  const build_result r = build(files);
  EXPECT_FALSE(r.outcome.converted);
  EXPECT_EQ(r.out,
            "error: too many dpu configs, num=114, max=113 \n"
            "error: convert dpu configs failed \n");
  EXPECT_EQ(r.err, "");
}

TEST(DeImageGenerator, AsManyDpuFilesAsTheBlockHoldsFit) {
  generator_inputs in;
  const std::string path = in.add_dpu("close.ini", dpu_with("close", "1.0"));
  de_config_files files = in.files();
  std::vector<const char*> paths(113, path.c_str());
  files.dpu_config_paths = paths.data();
  files.dpu_config_num = 113;
  const build_result r = build(files);
  ASSERT_TRUE(r.outcome.converted);
  const decoded_block dpu = decode_block(r.outcome.image, kDpuOffset);
  EXPECT_EQ(dpu.length, 36u + 113u * 72u);
  EXPECT_EQ(dpu.crc, recompute_crc(r.outcome.image, dpu));
  EXPECT_EQ(decode_block(r.outcome.image, kD2cOffset).section_magic, 0x46447307u);
}

TEST(DeImageGenerator, EmptyD2cPathFailsTheD2cBlock) {
  generator_inputs in;
  in.set_d2c_path("");
  const build_result r = build(in.files());
  EXPECT_FALSE(r.outcome.converted);
  EXPECT_EQ(r.err, "Cannot open file\n");
  EXPECT_EQ(r.out, "error: load_input_configs, path= \nerror: convert d2c configs failed \n");
}

TEST(DeImageGenerator, FailingD2cFileStopsBeforeTheIrPreFile) {
  generator_inputs in;
  ini_text bad = valid_d2c_ini(3);
  bad.erase_section("group2");
  in.set_d2c(bad);
  in.set_ir_pre_path("/nonexistent/ir.ini");
  const build_result r = build(in.files());
  EXPECT_FALSE(r.outcome.converted);
  EXPECT_EQ(r.err, "check section group2 error\n");
  EXPECT_EQ(r.out, "error: load_input_configs, path=" + in.dir().file("d2c.ini") +
                       " \nerror: convert d2c configs failed \n");
}

TEST(DeImageGenerator, MoreD2cGroupsThanTheBlockHoldsAreRefused) {
  generator_inputs in;
  in.set_d2c(valid_d2c_ini(57));
  const build_result r = build(in.files());
  EXPECT_FALSE(r.outcome.converted);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out,
            "error: too many d2c configs, num=57, max=56 \n"
            "error: convert d2c configs failed \n");
}

TEST(DeImageGenerator, FiftySixD2cGroupsFillTheBlockWithoutTouchingTheNext) {
  generator_inputs in;
  in.set_d2c(valid_d2c_ini(56));
  const build_result r = build(in.files());
  ASSERT_TRUE(r.outcome.converted);
  const decoded_block d2c = decode_block(r.outcome.image, kD2cOffset);
  EXPECT_EQ(d2c.length, 4068u);
  EXPECT_EQ(d2c.crc, recompute_crc(r.outcome.image, d2c));
  EXPECT_TRUE(erased(r.outcome.image, 0x2000 + 4068, 0x3000));
  const decoded_block ir = decode_block(r.outcome.image, kIrPreOffset);
  EXPECT_EQ(ir.section_magic, 0x4644730Eu);
  EXPECT_EQ(ir.crc, recompute_crc(r.outcome.image, ir));
}

TEST(DeImageGenerator, FailingIrPreFileFailsTheLastBlock) {
  generator_inputs in;
  ini_text bad = valid_ir_pre_ini(1);
  bad.set("group1", "box_weight_16", "{1,2}");
  in.set_ir_pre(bad);
  const build_result r = build(in.files());
  EXPECT_FALSE(r.outcome.converted);
  EXPECT_EQ(r.err, "string to arrary box_weight_16 error\n");
  EXPECT_EQ(r.out, "error: load_input_configs, path=" + in.dir().file("ir_pre.ini") +
                       " \nerror: convert ir_pre_isp configs failed \n");
}

TEST(DeImageGenerator, GroupBlocksWithoutVersionCarryTheTime) {
  generator_inputs in;
  ini_text d2c = valid_d2c_ini(1);
  d2c.set("basic", "version", "");
  in.set_d2c(d2c);
  ini_text ir = valid_ir_pre_ini(1);
  ir.set("basic", "version", "");
  in.set_ir_pre(ir);
  const build_result r = build(in.files());
  ASSERT_TRUE(r.outcome.converted);
  EXPECT_EQ(decode_block(r.outcome.image, kD2cOffset).config_version, kNow);
  EXPECT_EQ(decode_block(r.outcome.image, kIrPreOffset).config_version, kNow);
}

TEST(DeImageGenerator, ExportWritesTheImageAndReturnsTrue) {
  generator_inputs in;
  in.add_dpu("close.ini", dpu_with("close", nullptr));
  const std::string out_path = in.dir().file("de_config.bin");
  bool ok = false;
  const std::time_t before = std::time(nullptr);
  const auto console = capture_console(
      [&] { ok = gen_depth_engine_config_flash_file_de(&in.files(), out_path.c_str()); });
  const std::time_t after = std::time(nullptr);
  EXPECT_TRUE(ok);
  EXPECT_EQ(console.out, "");
  const std::vector<uint8_t> image = read_file(out_path);
  ASSERT_EQ(image.size(), kImageBytes);
  // No version in the DPU file: the block carries the current time.
  const uint32_t stamp = decode_block(image, kDpuOffset).config_version;
  EXPECT_GE(stamp, static_cast<uint32_t>(before));
  EXPECT_LE(stamp, static_cast<uint32_t>(after));
}

TEST(DeImageGenerator, ExportToAnUnwritablePathReturnsFalseAndCreatesNothing) {
  generator_inputs in;
  const std::string out_path = in.dir().file("missing_dir/de_config.bin");
  bool ok = true;
  const auto console = capture_console(
      [&] { ok = gen_depth_engine_config_flash_file_de(&in.files(), out_path.c_str()); });
  EXPECT_FALSE(ok);
  EXPECT_EQ(console.out, "error: create or open file failed, path=" + out_path + " \n");
  EXPECT_FALSE(file_exists(out_path));
}

TEST(DeImageGenerator, ExportLeavesAnEmptyFileAndReturnsTrueWhenALoadFails) {
  generator_inputs in;
  in.set_d2c_path("");
  const std::string out_path = in.dir().file("de_config.bin");
  bool ok = false;
  const auto console = capture_console(
      [&] { ok = gen_depth_engine_config_flash_file_de(&in.files(), out_path.c_str()); });
  EXPECT_TRUE(ok);
  EXPECT_EQ(console.out, "error: load_input_configs, path= \nerror: convert d2c configs failed \n");
  EXPECT_TRUE(file_exists(out_path));
  EXPECT_TRUE(read_file(out_path).empty());
}

TEST(DeImageGenerator, ExportWithoutAnInputRecordReadsAsNoFiles) {
  temp_dir dir;
  const std::string out_path = dir.file("de_config.bin");
  bool ok = false;
  const auto console = capture_console(
      [&] { ok = gen_depth_engine_config_flash_file_de(nullptr, out_path.c_str()); });
  EXPECT_TRUE(ok);
  EXPECT_EQ(console.err, "Cannot open file\n");
  EXPECT_EQ(console.out, "error: load_input_configs, path= \nerror: convert d2c configs failed \n");
  EXPECT_TRUE(read_file(out_path).empty());
}

TEST(DeImageGenerator, ExportWithANullOutputPathReturnsFalse) {
  generator_inputs in;
  bool ok = true;
  const auto console =
      capture_console([&] { ok = gen_depth_engine_config_flash_file_de(&in.files(), nullptr); });
  EXPECT_FALSE(ok);
  EXPECT_EQ(console.out, "error: create or open file failed, path=(null) \n");
}

TEST(DeImageGenerator, UnterminatedPathArrayIsReadOnlyUpToItsEnd) {
  generator_inputs in;
  de_config_files files = in.files();
  std::memset(files.d2c_config_path, 'x', sizeof files.d2c_config_path);
  const build_result r = build(files);
  EXPECT_FALSE(r.outcome.converted);
  EXPECT_EQ(r.err, "Cannot open file" + std::string(256, 'x') + "\n");
}

TEST(DeImageGenerator, ExportReplacesAnExistingImageAndLeavesNoOtherFile) {
  generator_inputs in;
  temp_dir out_dir;
  const std::string out_path = out_dir.write("de_config.bin", std::string("old image"));
  const std::string partial = out_dir.write("de_config.bin.partial", std::string("not ours"));
  bool ok = false;
  capture_console(
      [&] { ok = gen_depth_engine_config_flash_file_de(&in.files(), out_path.c_str()); });
  EXPECT_TRUE(ok);
  EXPECT_EQ(read_file(out_path).size(), kImageBytes);
  EXPECT_EQ(read_file(partial), std::vector<uint8_t>({'n', 'o', 't', ' ', 'o', 'u', 'r', 's'}));
  int entries = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(out_dir.path())) {
    ++entries;
  }
  EXPECT_EQ(entries, 2);
}
