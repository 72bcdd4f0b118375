// Tests of the IR pre-ISP group loader: limits, lists, enable bits and messages.
#include "de_config/ir_pre_loader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "de_config/de_config_state.h"
#include "de_config/ini_text.h"
#include "deflash/de_config.h"
#include "support/console_capture.h"
#include "support/temp_files.h"

using deflash_test::capture_console;
using deflash_test::ini_text;
using deflash_test::temp_dir;
using deflash_test::valid_ir_pre_ini;

namespace {

struct load_result {
  int code;
  std::string out;
  std::string err;
};

load_result load(const ini_text& text) {
  temp_dir dir;
  const std::string path = dir.write("ir_pre.ini", text.str());
  load_result result{};
  const auto console = capture_console([&] { result.code = load_ir_pre_configs(path.c_str()); });
  result.out = console.out;
  result.err = console.err;
  return result;
}

struct ir_pre_view {
  ir_pre_cfg_item* items = nullptr;
  int count = -1;
  unsigned int version = 0;
};

ir_pre_view view() {
  ir_pre_view v;
  de_get_ir_pre_config(v.items, v.count, v.version);
  return v;
}

std::string desc_of(const ir_pre_cfg_item& item) {
  return std::string(item.dpu_desc, strnlen(item.dpu_desc, 16));
}

}  // namespace

TEST(IrPreLoader, LoadsEveryGroupOfAValidFile) {
  const load_result r = load(valid_ir_pre_ini(2));
  ASSERT_EQ(r.code, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "");
  const ir_pre_view v = view();
  EXPECT_EQ(v.count, 2);
  EXPECT_EQ(v.version, 0x31303034u);
  const ir_pre_cfg_item& g = v.items[1];
  for (uint8_t b : g.md5) EXPECT_EQ(b, 0);
  EXPECT_EQ(desc_of(g), "mode2");
  EXPECT_EQ(g.reserved, 0u);
  EXPECT_EQ(g.exp_time_range[0], 100u);
  EXPECT_EQ(g.exp_time_range[1], 30000u);
  EXPECT_EQ(g.exp_time_range[3], 10u);
  EXPECT_EQ(g.gain_range[1], 128u);
  EXPECT_EQ(g.laser_current_range[1], 1500u);
  EXPECT_EQ(g.target_brightness, 96u);
  EXPECT_EQ(g.target_th, 8u);
  EXPECT_EQ(g.center_weight, 60u);
  EXPECT_EQ(g.skip_frame, 1u);
  EXPECT_EQ(g.smooth_steps, 4u);
  EXPECT_EQ(g.delay_ms, 0u);
  EXPECT_EQ(g.meter_method, 2u);
  EXPECT_EQ(g.roi_size[0], 1280);
  EXPECT_EQ(g.roi_size[1], 800);
  EXPECT_EQ(g.box_cnt[0], 4);
  EXPECT_EQ(g.box_weight_16[5], 2);
  EXPECT_EQ(g.box_weight_16[15], 1);
}

TEST(IrPreLoader, UnreadableFileFailsWithCannotOpenFile) {
  int code = 0;
  const auto out = capture_console([&] { code = load_ir_pre_configs("/nonexistent/ir.ini"); });
  EXPECT_EQ(code, -1);
  EXPECT_EQ(out.err, "Cannot open file/nonexistent/ir.ini\n");
}

TEST(IrPreLoader, TenGroupsLoad) {
  EXPECT_EQ(load(valid_ir_pre_ini(10)).code, 0);
  EXPECT_EQ(view().count, 10);
  EXPECT_EQ(desc_of(view().items[9]), "mode10");
}

TEST(IrPreLoader, ElevenGroupsFailWithTheSharedGroupCountMessage) {
  const load_result r = load(valid_ir_pre_ini(11));
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "Number of d2c cofiguration not supported\n");
}

TEST(IrPreLoader, ExposureEnableBitsComeFromTheLowestBitOfEachKey) {
  ini_text t = valid_ir_pre_ini(1);
  t.set("group1", "exp_en", "1").set("group1", "gain_en", "0").set("group1", "ldm_power_en", "1");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(view().items[0].flags, 5u);
  t.set("group1", "exp_en", "2").set("group1", "gain_en", "3").set("group1", "ldm_power_en", "0");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(view().items[0].flags, 2u);
}

TEST(IrPreLoader, FifteenBoxWeightsFailWithStringToArray) {
  ini_text t = valid_ir_pre_ini(1);
  t.set("group1", "box_weight_16", "{1,1,1,1,1,2,2,1,1,2,2,1,1,1,1}");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "string to arrary box_weight_16 error\n");
}

TEST(IrPreLoader, SeventeenBoxWeightsFailWithoutOverrunningTheRecord) {
  ini_text t = valid_ir_pre_ini(1);
  t.set("group1", "box_weight_16", "{1,1,1,1,1,2,2,1,1,2,2,1,1,1,1,1,9}");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "string to arrary box_weight_16 error\n");
}

TEST(IrPreLoader, RangeListsNeedExactlyFourValues) {
  for (const char* key : {"exp_time_range", "gain_range", "laser_current_range"}) {
    ini_text t = valid_ir_pre_ini(1);
    t.set("group1", key, "{1,2,3}");
    const load_result r = load(t);
    EXPECT_EQ(r.code, -1) << key;
    EXPECT_EQ(r.err, std::string("string to arrary ") + key + " error\n");
  }
}

TEST(IrPreLoader, WindowListsNeedExactlyTwoValues) {
  for (const char* key : {"roi_size", "box_cnt"}) {
    ini_text t = valid_ir_pre_ini(1);
    t.set("group1", key, "{4}");
    const load_result r = load(t);
    EXPECT_EQ(r.code, -1) << key;
    EXPECT_EQ(r.err, std::string("string to arrary ") + key + " error\n");
  }
}

TEST(IrPreLoader, MissingNumericKeyGivesMinusFive) {
  ini_text t = valid_ir_pre_ini(1);
  t.erase("group1", "target_th");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -5);
  EXPECT_EQ(r.err, "");
}

TEST(IrPreLoader, MissingRangeFailsWithStringToArray) {
  ini_text t = valid_ir_pre_ini(1);
  t.erase("group1", "gain_range");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "string to arrary gain_range error\n");
}

TEST(IrPreLoader, DescriptionLongerThanSixteenCharactersFails) {
  ini_text t = valid_ir_pre_ini(1);
  t.set("group1", "dpu_desc", "close_1280x800_ae2");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "dpu_desc close_1280x800_ae2 is longer than 16 characters\n");
}

TEST(IrPreLoader, MissingGroupSectionFailsWithCheckSection) {
  ini_text t = valid_ir_pre_ini(2);
  t.erase_section("group2");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "check section group2 error\n");
  EXPECT_EQ(view().count, 2);
}

TEST(IrPreLoader, MissingVersionFailsAfterTheCountIsStored) {
  ASSERT_EQ(load(valid_ir_pre_ini(1)).code, 0);
  ini_text t = valid_ir_pre_ini(3);
  t.erase("basic", "version");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "Field version not found in section basic\n");
  EXPECT_EQ(view().count, 3);
}

TEST(IrPreLoader, AccessorHandsOutTheTableItself) {
  ASSERT_EQ(load(valid_ir_pre_ini(1)).code, 0);
  EXPECT_EQ(view().items, deflash::module_de_config().ir_pre_items);
}
