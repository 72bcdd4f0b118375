// Tests of the D2C group loader: limits, messages, records and what a failure keeps.
#include "de_config/d2c_loader.h"

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
using deflash_test::valid_d2c_ini;

namespace {

struct load_result {
  int code;
  std::string out;
  std::string err;
};

load_result load(const std::string& text) {
  temp_dir dir;
  const std::string path = dir.write("d2c.ini", text);
  load_result result{};
  const auto console = capture_console([&] { result.code = load_d2c_configs(path.c_str()); });
  result.out = console.out;
  result.err = console.err;
  return result;
}

load_result load(const ini_text& text) { return load(text.str()); }

struct d2c_view {
  d2c_cfg_item* items = nullptr;
  int count = -1;
  unsigned int version = 0;
};

d2c_view view() {
  d2c_view v;
  de_get_d2c_config(v.items, v.count, v.version);
  return v;
}

std::string desc_of(const d2c_cfg_item& item) {
  return std::string(item.desc, strnlen(item.desc, 16));
}

// Fills every table record with a marker so that untouched records show.
void mark_table() {
  for (d2c_cfg_item& item : deflash::module_de_config().d2c_items)
    std::memset(&item, 0xA5, sizeof item);
}

}  // namespace

TEST(D2cLoader, LoadsEveryGroupOfAValidFile) {
  ini_text t = valid_d2c_ini(3);
  t.set("group2", "desc", "400p_to_720p").set("group2", "res_rgb", "{1280,720}");
  t.set("group2", "scale", "2.0").set("group2", "d2d_params_unit", "0.5");
  const load_result r = load(t);
  ASSERT_EQ(r.code, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "");
  const d2c_view v = view();
  EXPECT_EQ(v.count, 3);
  EXPECT_EQ(v.version, 0x31303033u);
  const d2c_cfg_item& g2 = v.items[1];
  for (uint8_t b : g2.md5) EXPECT_EQ(b, 0);
  EXPECT_EQ(desc_of(g2), "400p_to_720p");
  EXPECT_EQ(g2.res_chop_out[0], 1280);
  EXPECT_EQ(g2.res_chop_out[1], 800);
  EXPECT_EQ(g2.res_depth[0], 1280);
  EXPECT_EQ(g2.res_rgb[0], 1280);
  EXPECT_EQ(g2.res_rgb[1], 720);
  EXPECT_EQ(g2.res_d2c_in[1], 800);
  EXPECT_EQ(g2.res_d2c_valid[0], 1280);
  EXPECT_EQ(g2.res_d2c_valid[1], 720);
  EXPECT_EQ(g2.scale, 2.0f);
  EXPECT_EQ(g2.d2d_params_unit, 50u);
  EXPECT_EQ(g2.flags, 0u);
  EXPECT_EQ(desc_of(v.items[0]), "g1");
  EXPECT_EQ(desc_of(v.items[2]), "g3");
}

TEST(D2cLoader, UnreadableFileFailsWithCannotOpenFile) {
  int code = 0;
  const auto out = capture_console([&] { code = load_d2c_configs("/nonexistent/d2c.ini"); });
  EXPECT_EQ(code, -1);
  EXPECT_EQ(out.err, "Cannot open file/nonexistent/d2c.ini\n");
  EXPECT_EQ(out.out, "");
}

TEST(D2cLoader, EmptyPathFailsWithCannotOpenFile) {
  int code = 0;
  const auto out = capture_console([&] { code = load_d2c_configs(""); });
  EXPECT_EQ(code, -1);
  EXPECT_EQ(out.err, "Cannot open file\n");
}

TEST(D2cLoader, OneHundredGroupsLoad) {
  const load_result r = load(valid_d2c_ini(100));
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(view().count, 100);
  EXPECT_EQ(desc_of(view().items[99]), "g100");
}

TEST(D2cLoader, OneHundredAndOneGroupsAreNotSupported) {
  ASSERT_EQ(load(valid_d2c_ini(2)).code, 0);
  const load_result r = load(valid_d2c_ini(101));
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "Number of d2c cofiguration not supported\n");
  EXPECT_EQ(view().count, 2) << "the count is stored only after the limit test";
}

TEST(D2cLoader, NegativeGroupCountIsNotSupported) {
  ini_text t = valid_d2c_ini(1);
  t.set("basic", "num", "-1");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "Number of d2c cofiguration not supported\n");
}

TEST(D2cLoader, ZeroGroupsLoadAnEmptyTable) {
  ASSERT_EQ(load(valid_d2c_ini(3)).code, 0);
  const load_result r = load(valid_d2c_ini(0));
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(view().count, 0);
}

TEST(D2cLoader, MissingNumFailsWithFieldNotFound) {
  ini_text t = valid_d2c_ini(1);
  t.erase("basic", "num");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "Field num not found in section basic\n");
}

TEST(D2cLoader, NonNumericNumGivesMinusFive) {
  ini_text t = valid_d2c_ini(1);
  t.set("basic", "num", "three");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -5);
  EXPECT_EQ(r.err, "");
}

TEST(D2cLoader, MissingVersionFailsAfterTheCountIsStored) {
  ASSERT_EQ(load(valid_d2c_ini(1)).code, 0);
  ini_text t = valid_d2c_ini(4);
  t.erase("basic", "version");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "Field version not found in section basic\n");
  EXPECT_EQ(view().count, 4);
}

TEST(D2cLoader, EmptyVersionPacksToZeroAndTheAccessorLeavesTheCallersValue) {
  ini_text t = valid_d2c_ini(1);
  t.set("basic", "version", "");
  ASSERT_EQ(load(t).code, 0);
  d2c_cfg_item* items = nullptr;
  int count = 0;
  unsigned int version = 77;
  de_get_d2c_config(items, count, version);
  EXPECT_EQ(version, 77u);
  EXPECT_EQ(count, 1);
}

TEST(D2cLoader, MissingGroupSectionFailsWithCheckSection) {
  mark_table();
  ini_text t = valid_d2c_ini(3);
  t.erase_section("group2");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "check section group2 error\n");
  const d2c_view v = view();
  EXPECT_EQ(v.count, 3) << "the count stays although not every record was read";
  EXPECT_EQ(desc_of(v.items[0]), "g1");
  EXPECT_EQ(static_cast<uint8_t>(v.items[1].desc[0]), 0xA5) << "group2 untouched";
}

TEST(D2cLoader, GroupSectionWithoutKeysFailsWithCheckSection) {
  ini_text t = valid_d2c_ini(1);
  t.erase_section("group1").add_section("group1");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "check section group1 error\n");
}

TEST(D2cLoader, ThreeValueResolutionFailsWithStringToArray) {
  mark_table();
  ini_text t = valid_d2c_ini(1);
  t.set("group1", "res_rgb", "{1920,1080,0}");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "string to arrary res_rgb error\n");
  EXPECT_EQ(static_cast<uint8_t>(view().items[0].desc[0]), 0xA5)
      << "record replaced only when complete";
}

TEST(D2cLoader, MissingResolutionFailsWithStringToArray) {
  for (const char* key : {"res_chop_out", "res_d2c_in", "res_d2c_valid", "res_depth", "res_rgb"}) {
    ini_text t = valid_d2c_ini(1);
    t.erase("group1", key);
    const load_result r = load(t);
    EXPECT_EQ(r.code, -1) << key;
    EXPECT_EQ(r.err, std::string("string to arrary ") + key + " error\n");
  }
}

TEST(D2cLoader, ResolutionsAreParsedAs32BitAndKeptAsU16) {
  ini_text t = valid_d2c_ini(1);
  t.set("group1", "res_depth", "{70000,0x320}");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(view().items[0].res_depth[0], 70000 - 65536);
  EXPECT_EQ(view().items[0].res_depth[1], 800);
}

TEST(D2cLoader, ExtendStoresFourU16AtTheEndOfTheRecord) {
  ini_text t = valid_d2c_ini(1);
  t.set("group1", "extend", "{0,0,16,16}");
  ASSERT_EQ(load(t).code, 0);
  const auto* bytes = reinterpret_cast<const uint8_t*>(&view().items[0]);
  const uint8_t expected[8] = {0, 0, 0, 0, 16, 0, 16, 0};
  EXPECT_EQ(std::memcmp(bytes + 64, expected, sizeof expected), 0);
}

TEST(D2cLoader, ExtendWithThreeValuesFailsWithStringToArray) {
  ini_text t = valid_d2c_ini(1);
  t.set("group1", "extend", "{0,16,16}");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "string to arrary extend error\n");
}

TEST(D2cLoader, MissingScaleGivesMinusFive) {
  ini_text t = valid_d2c_ini(1);
  t.erase("group1", "scale");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -5);
  EXPECT_EQ(r.err, "");
}

TEST(D2cLoader, UnitInRIsStoredInHundredthsOnlyWhenFlagged) {
  ini_text t = valid_d2c_ini(1);
  t.set("group1", "d2d_params_unit", "1.0").set("group1", "d2d_params_unit_in_R_en", "1");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(view().items[0].d2d_params_unit, 100u);
  t.set("group1", "d2d_params_unit_in_R_en", "0");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(view().items[0].d2d_params_unit, 0u);
  t.erase("group1", "d2d_params_unit").erase("group1", "d2d_params_unit_in_R_en");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(view().items[0].d2d_params_unit, 0u);
}

TEST(D2cLoader, UnitBelowOneHundredThousandthIsZero) {
  ini_text t = valid_d2c_ini(1);
  t.set("group1", "d2d_params_unit", "0.000001");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(view().items[0].d2d_params_unit, 0u);
}

TEST(D2cLoader, UnitWithoutItsInRFlagFailsWithFieldNotFound) {
  ini_text t = valid_d2c_ini(1);
  t.erase("group1", "d2d_params_unit_in_R_en");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "Field d2d_params_unit_in_R_en not found in section group1\n");
}

TEST(D2cLoader, MipiChannelStatusSetsFlagBitZeroFromItsLowestBit) {
  ini_text t = valid_d2c_ini(1);
  t.set("group1", "mipi_channel_status", "3");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(view().items[0].flags, 1u);
  t.set("group1", "mipi_channel_status", "2");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(view().items[0].flags, 0u);
  t.set("group1", "mipi_channel_status", "1");
  ASSERT_EQ(load(t).code, 0);
  t.erase("group1", "mipi_channel_status");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(view().items[0].flags, 0u);
}

TEST(D2cLoader, MissingDescriptionGivesAnEmptyDescription) {
  ini_text t = valid_d2c_ini(1);
  t.erase("group1", "desc");
  ASSERT_EQ(load(t).code, 0);
  for (char c : view().items[0].desc) EXPECT_EQ(c, '\0');
}

TEST(D2cLoader, DescriptionLongerThanSixteenCharactersFails) {
  ini_text t = valid_d2c_ini(1);
  t.set("group1", "desc", "800p_to_1080p_long");
  const load_result r = load(t);
  EXPECT_EQ(r.code, -1);
  EXPECT_EQ(r.err, "desc 800p_to_1080p_long is longer than 16 characters\n");
}

TEST(D2cLoader, RecordsBeyondTheNewCountKeepTheirContents) {
  ASSERT_EQ(load(valid_d2c_ini(3)).code, 0);
  ini_text t = valid_d2c_ini(1);
  t.set("group1", "desc", "only");
  ASSERT_EQ(load(t).code, 0);
  const d2c_view v = view();
  EXPECT_EQ(v.count, 1);
  EXPECT_EQ(desc_of(v.items[0]), "only");
  EXPECT_EQ(desc_of(v.items[2]), "g3");
}

TEST(D2cLoader, AccessorHandsOutTheTableItself) {
  ASSERT_EQ(load(valid_d2c_ini(1)).code, 0);
  EXPECT_EQ(view().items, deflash::module_de_config().d2c_items);
}
