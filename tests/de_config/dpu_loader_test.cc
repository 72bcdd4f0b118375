// Tests of the DPU input loader: sections, result codes, messages, roundings and flags.
#include "de_config/dpu_loader.h"

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
using deflash_test::valid_dpu_ini;

namespace {

struct load_result {
  int code;
  std::string out;
  std::string err;
};

// Writes `text` to a scratch file and loads it through the exported loader.
load_result load_text(const std::string& text) {
  temp_dir dir;
  const std::string path = dir.write("dpu.ini", text);
  load_result result{};
  const auto console = capture_console([&] { result.code = load_de_input_configs(path.c_str()); });
  result.out = console.out;
  result.err = console.err;
  return result;
}

load_result load(const ini_text& text) { return load_text(text.str()); }

const deflash::de_config_state& state() { return deflash::module_de_config(); }

dpu_scheme_config scheme() {
  dpu_scheme_config out{};
  get_dpu_scheme_config(&out);
  return out;
}

std::string desc_of(const dpu_mode& mode) {
  return std::string(mode.dpu_desc, strnlen(mode.dpu_desc, 16));
}

// Loads a valid file first so that every test starts from known state.
void load_baseline() { ASSERT_EQ(load(valid_dpu_ini()).code, 0); }

}  // namespace

TEST(DpuLoader, LoadsModeVersionAndSchemeOfAValidFile) {
  const load_result r = load(valid_dpu_ini());
  ASSERT_EQ(r.code, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "");
  dpu_mode mode{};
  unsigned int version = 0;
  EXPECT_EQ(de_copy_dpu_mode_config(&mode, &version), DRIVER_HELPER_OK);
  EXPECT_EQ(desc_of(mode), "close_1280x800");
  EXPECT_EQ(mode.laser_type, 1u);
  EXPECT_EQ(mode.in_ir_res[0], 1280);
  EXPECT_EQ(mode.in_ir_res[1], 800);
  EXPECT_EQ(mode.rectify_out_valid_res[0], 1264);
  EXPECT_EQ(mode.rectify_out_valid_res[1], 792);
  EXPECT_EQ(mode.chop_out_res[0], 1216);
  EXPECT_EQ(mode.chop_out_res[1], 768);
  EXPECT_EQ(version, 0x31303031u);
  const dpu_scheme_config s = scheme();
  EXPECT_EQ(s.disp_offset, 10u);
  EXPECT_EQ(s.d2d_params_unit, 20u);
  EXPECT_EQ(s.ref_dist, 400u);
  // distort_type 1, sbg_en, mono_lut_rectify, hw_d2d_en.
  EXPECT_EQ(s.flags, (1u << 0) | (1u << 1) | (1u << 3) | (1u << 4));
  for (uint8_t b : s.reserved) EXPECT_EQ(b, 0);
}

TEST(DpuLoader, KeepsTheDpuParametersInModuleState) {
  ini_text t = valid_dpu_ini();
  t.set("disparity", "min_disparity", "-4").set("disparity", "lrc_en", "False");
  t.set("extend_chop", "chop", "{0x10,4,8,-1}").set("gpm", "enable", "TRUE");
  ASSERT_EQ(load(t).code, 0);
  const deflash::dpu_params& p = state().params;
  EXPECT_EQ(p.basic.start_rows, 16u);
  EXPECT_EQ(p.basic.d2c_total_buffer_rows, 64);
  EXPECT_EQ(p.basic.depth_sign, 1);
  EXPECT_EQ(p.basic.depth_unit, 1);
  EXPECT_EQ(p.disparity.min_disparity, -4);
  EXPECT_FALSE(p.disparity.lrc_en);
  EXPECT_TRUE(p.disparity.shadow_en);
  EXPECT_EQ(p.disparity.sp_coef, 30);
  EXPECT_EQ(p.extend_chop.extend_ref[0], 64u);
  EXPECT_EQ(p.extend_chop.chop[0], 16u);
  EXPECT_EQ(p.extend_chop.chop[3], 0xFFFFFFFFu);
  EXPECT_TRUE(p.gpm.enable);
  EXPECT_EQ(p.gpm.gp_ref_dy_t, 39);
}

TEST(DpuLoader, UnreadableFileFailsWithCannotOpenFile) {
  const std::string path = "/nonexistent/deflash/dpu.ini";
  int code = 0;
  const auto out = capture_console([&] { code = load_de_input_configs(path.c_str()); });
  EXPECT_EQ(code, DRIVER_HELPER_FAIL);
  EXPECT_EQ(out.err, "Cannot open file/nonexistent/deflash/dpu.ini\n");
  EXPECT_EQ(out.out, "");
}

TEST(DpuLoader, NullPathFailsLikeAnUnreadableFile) {
  int code = 0;
  const auto out = capture_console([&] { code = load_de_input_configs(nullptr); });
  EXPECT_EQ(code, DRIVER_HELPER_FAIL);
  EXPECT_EQ(out.err, "Cannot open file\n");
}

TEST(DpuLoader, FileWithoutModeSectionLoadsNothingAndKeepsThePreviousMode) {
  load_baseline();
  ini_text t = valid_dpu_ini();
  t.erase_section("mode").set("basic", "cam_mode", "3");
  const load_result r = load(t);
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.err, "");
  dpu_mode mode{};
  unsigned int version = 0;
  de_copy_dpu_mode_config(&mode, &version);
  EXPECT_EQ(desc_of(mode), "close_1280x800");
  EXPECT_EQ(version, 0x31303031u);
  EXPECT_EQ(state().params.basic.cam_mode, 0) << "basic was not read either";
}

TEST(DpuLoader, EmptyFileLoadsNothing) {
  load_baseline();
  EXPECT_EQ(load_text("").code, 0);
  dpu_mode mode{};
  unsigned int version = 0;
  de_copy_dpu_mode_config(&mode, &version);
  EXPECT_EQ(desc_of(mode), "close_1280x800");
}

class DpuLoaderMissingSection : public testing::TestWithParam<const char*> {};

TEST_P(DpuLoaderMissingSection, FailsWithSectionNotFound) {
  ini_text t = valid_dpu_ini();
  t.erase_section(GetParam());
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_NUM_NOT_MATCH);
  EXPECT_EQ(r.err, std::string(GetParam()) + " section not found!\n");
  EXPECT_EQ(r.out, "");
}

INSTANTIATE_TEST_SUITE_P(RequiredSections, DpuLoaderMissingSection,
                         testing::Values("basic", "disparity", "extend_chop", "gpm"));

TEST(DpuLoader, MissingSectionsAreReportedInOrderOneAtATime) {
  ini_text t = valid_dpu_ini();
  t.erase_section("gpm").erase_section("disparity");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_NUM_NOT_MATCH);
  EXPECT_EQ(r.err, "disparity section not found!\n");
}

TEST(DpuLoader, MissingSectionIsFoundBeforeModeIsTouched) {
  load_baseline();
  ini_text t = valid_dpu_ini();
  t.set("mode", "dpu_desc", "other").erase_section("gpm");
  EXPECT_EQ(load(t).code, DRIVER_HELPER_NUM_NOT_MATCH);
  dpu_mode mode{};
  unsigned int version = 0;
  de_copy_dpu_mode_config(&mode, &version);
  EXPECT_EQ(desc_of(mode), "close_1280x800");
}

TEST(DpuLoader, SingleValueResolutionFailsInSectionMode) {
  ini_text t = valid_dpu_ini();
  t.set("mode", "in_ir_res", "{1280}");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_DPU_MODE_ERROR);
  EXPECT_EQ(r.err, "string to arrary in_ir_res error\n");
}

TEST(DpuLoader, ResolutionWithoutBracesFailsInSectionMode) {
  ini_text t = valid_dpu_ini();
  t.set("mode", "in_ir_res", "1280,800");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_DPU_MODE_ERROR);
  EXPECT_EQ(r.err, "string to arrary in_ir_res error\n");
}

TEST(DpuLoader, ResolutionWithThreeValuesFailsWithoutOverrunningTheRecord) {
  ini_text t = valid_dpu_ini();
  t.set("mode", "chop_out_res", "{1216,768,7,9}");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_DPU_MODE_ERROR);
  EXPECT_EQ(r.err, "string to arrary chop_out_res error\n");
  // chop_out_res ends the record; the version beside it is untouched.
  EXPECT_EQ(state().dpu_version, 0x31303031u);
}

TEST(DpuLoader, MissingResolutionFailsItsListParse) {
  ini_text t = valid_dpu_ini();
  t.erase("mode", "rectify_out_valid_res");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_DPU_MODE_ERROR);
  EXPECT_EQ(r.err, "string to arrary rectify_out_valid_res error\n");
}

TEST(DpuLoader, PacksTheModeVersion) {
  ini_text t = valid_dpu_ini();
  t.set("mode", "version", "2.1.0.3");
  ASSERT_EQ(load(t).code, 0);
  unsigned int version = 0;
  dpu_mode mode{};
  de_copy_dpu_mode_config(&mode, &version);
  EXPECT_EQ(version, 0x32313033u);
  t.set("mode", "version", "10.2");
  ASSERT_EQ(load(t).code, 0);
  de_copy_dpu_mode_config(&mode, &version);
  EXPECT_EQ(version, 0x3132u);
}

TEST(DpuLoader, MissingVersionPacksToZeroAndTheAccessorLeavesTheCallersValue) {
  load_baseline();
  ini_text t = valid_dpu_ini();
  t.erase("mode", "version");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(state().dpu_version, 0u);
  dpu_mode mode{};
  unsigned int version = 0xCAFEu;
  de_copy_dpu_mode_config(&mode, &version);
  EXPECT_EQ(version, 0xCAFEu);
}

TEST(DpuLoader, MissingDescriptionGivesAnEmptyDescription) {
  ini_text t = valid_dpu_ini();
  t.erase("mode", "dpu_desc");
  ASSERT_EQ(load(t).code, 0);
  for (char c : state().mode.dpu_desc) EXPECT_EQ(c, '\0');
}

TEST(DpuLoader, SixteenCharacterDescriptionFillsTheFieldUnterminated) {
  ini_text t = valid_dpu_ini();
  t.set("mode", "dpu_desc", "close_1280x800ab");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(std::string(state().mode.dpu_desc, 16), "close_1280x800ab");
  EXPECT_EQ(state().mode.laser_type, 1u);
}

TEST(DpuLoader, DescriptionLongerThanSixteenCharactersFailsInSectionMode) {
  ini_text t = valid_dpu_ini();
  t.set("mode", "dpu_desc", "close_1280x800_v2");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_DPU_MODE_ERROR);
  EXPECT_EQ(r.err, "dpu_desc close_1280x800_v2 is longer than 16 characters\n");
  for (char c : state().mode.dpu_desc) EXPECT_EQ(c, '\0');
}

TEST(DpuLoader, MissingLaserTypeThrowsAndGivesMinusFiveSilently) {
  ini_text t = valid_dpu_ini();
  t.erase("mode", "laser_type");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_DE_CONFIG_EXCEPTION);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "");
}

TEST(DpuLoader, CommentAfterAValueIsAConversionError) {
  ini_text t = valid_dpu_ini();
  t.set("mode", "laser_type", "1 ; projector");
  EXPECT_EQ(load(t).code, DRIVER_HELPER_DE_CONFIG_EXCEPTION);
}

TEST(DpuLoader, IniSyntaxErrorGivesMinusFive) {
  const load_result r = load_text("[mode]\nversion 1.0\n");
  EXPECT_EQ(r.code, DRIVER_HELPER_DE_CONFIG_EXCEPTION);
  EXPECT_EQ(r.err, "");
}

TEST(DpuLoader, DepthUnitIsStoredAsItsCode) {
  const char* units[] = {"0.1", "0.2", "0.4", "0.8", "1.6"};
  for (int code = 0; code < 5; ++code) {
    ini_text t = valid_dpu_ini();
    t.set("basic", "depth_unit", units[code]);
    ASSERT_EQ(load(t).code, 0) << units[code];
    EXPECT_EQ(state().params.basic.depth_unit, code) << units[code];
  }
}

TEST(DpuLoader, DepthUnitMatchesWithinATenThousandth) {
  ini_text t = valid_dpu_ini();
  t.set("basic", "depth_unit", "0.40009");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(state().params.basic.depth_unit, 2);
  t.set("basic", "depth_unit", "0.4002");
  EXPECT_EQ(load(t).code, DRIVER_HELPER_DPU_BASIC_ERROR);
}

TEST(DpuLoader, UnsupportedDepthUnitFailsInSectionBasic) {
  ini_text t = valid_dpu_ini();
  t.set("basic", "depth_unit", "0.5");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_DPU_BASIC_ERROR);
  EXPECT_EQ(r.err, "depth_unit parse error\n");
}

TEST(DpuLoader, FailureInBasicKeepsTheNewModeAndZeroedParameters) {
  load_baseline();
  ini_text t = valid_dpu_ini();
  t.set("mode", "dpu_desc", "new_mode").set("basic", "depth_unit", "0.5");
  ASSERT_EQ(load(t).code, DRIVER_HELPER_DPU_BASIC_ERROR);
  EXPECT_EQ(desc_of(state().mode), "new_mode");
  EXPECT_EQ(state().params.disparity.sp_coef, 0);
  EXPECT_EQ(state().params.gpm.gp_ref_dy_t, 0);
}

TEST(DpuLoader, UInt8BasicKeyOutOfRangeGivesMinusFive) {
  ini_text t = valid_dpu_ini();
  t.set("basic", "scale_mode", "300");
  EXPECT_EQ(load(t).code, DRIVER_HELPER_DE_CONFIG_EXCEPTION);
}

TEST(DpuLoader, MissingRequiredBasicKeyGivesMinusFive) {
  for (const char* key : {"cam_mode", "scale_mode", "upsample_enable", "rectify_mode",
                          "distort_type", "d2c_recovery_mode", "depth_sign", "depth_unit"}) {
    ini_text t = valid_dpu_ini();
    t.erase("basic", key);
    const load_result r = load(t);
    EXPECT_EQ(r.code, DRIVER_HELPER_DE_CONFIG_EXCEPTION) << key;
    EXPECT_EQ(r.err, "") << key;
  }
}

TEST(DpuLoader, OptionalBasicKeysDefaultToZero) {
  ini_text t = valid_dpu_ini();
  t.set("basic", "rotate_90_en", "true").set("basic", "d2c_buffer_position", "-3");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_TRUE(state().params.basic.rotate_90_en);
  for (const char* key :
       {"rotate_90_en", "rotate_clockwise", "sbg_en", "sub_mode_sel", "start_rows",
        "d2c_buffer_position", "d2c_total_buffer_rows", "d2c_recovery_expand_width"}) {
    t.erase("basic", key);
  }
  ASSERT_EQ(load(t).code, 0);
  const deflash::dpu_basic_params& b = state().params.basic;
  EXPECT_FALSE(b.rotate_90_en);
  EXPECT_FALSE(b.rotate_clockwise);
  EXPECT_FALSE(b.sbg_en);
  EXPECT_EQ(b.sub_mode_sel, 0);
  EXPECT_EQ(b.start_rows, 0u);
  EXPECT_EQ(b.d2c_buffer_position, 0);
  EXPECT_EQ(b.d2c_total_buffer_rows, 0);
  EXPECT_EQ(b.d2c_recovery_expand_width, 0.0f);
  EXPECT_EQ(scheme().flags & (1u << 1), 0u) << "sbg_en absent clears flag bit 1";
}

TEST(DpuLoader, AbsentDepthModeFollowsTheCameraMode) {
  const struct {
    const char* cam_mode;
    uint8_t depth_mode;
  } cases[] = {{"0", 0}, {"1", 0}, {"2", 1}, {"3", 1}, {"4", 0}, {"255", 0}};
  for (const auto& c : cases) {
    ini_text t = valid_dpu_ini();
    // A previous load with depth_mode 5 must not leak: parameters are cleared.
    t.set("basic", "depth_mode", "5");
    ASSERT_EQ(load(t).code, 0);
    t.erase("basic", "depth_mode").set("basic", "cam_mode", c.cam_mode);
    ASSERT_EQ(load(t).code, 0) << c.cam_mode;
    EXPECT_EQ(state().params.basic.depth_mode, c.depth_mode) << c.cam_mode;
  }
}

TEST(DpuLoader, GivenDepthModeWinsOverTheCameraMode) {
  ini_text t = valid_dpu_ini();
  t.set("basic", "cam_mode", "2").set("basic", "depth_mode", "0");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(state().params.basic.depth_mode, 0);
}

TEST(DpuLoader, MissingDisparityKeyGivesMinusFive) {
  ini_text t = valid_dpu_ini();
  t.erase("disparity", "tile_width");
  EXPECT_EQ(load(t).code, DRIVER_HELPER_DE_CONFIG_EXCEPTION);
  t = valid_dpu_ini();
  t.set("disparity", "smooth_enable", "yes");
  EXPECT_EQ(load(t).code, DRIVER_HELPER_DE_CONFIG_EXCEPTION);
}

TEST(DpuLoader, ExtendListWithThreeValuesFailsInSectionExtendChop) {
  ini_text t = valid_dpu_ini();
  t.set("extend_chop", "chop", "{1,2,3}");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR);
  EXPECT_EQ(r.err, "string to arrary chop error\n");
}

TEST(DpuLoader, MissingExtendListFailsInSectionExtendChop) {
  ini_text t = valid_dpu_ini();
  t.erase("extend_chop", "extend_tar");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR);
  EXPECT_EQ(r.err, "string to arrary extend_tar error\n");
}

TEST(DpuLoader, MissingGpmKeyGivesMinusFive) {
  ini_text t = valid_dpu_ini();
  t.erase("gpm", "ncost_t");
  EXPECT_EQ(load(t).code, DRIVER_HELPER_DE_CONFIG_EXCEPTION);
}

TEST(DpuLoader, DisparityOffsetRoundsToTheNearestMultipleOfTen) {
  ini_text t = valid_dpu_ini();
  t.set("scheme", "disp_offset", "14.9");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(scheme().disp_offset, 10u);
  t.set("scheme", "disp_offset", "15");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(scheme().disp_offset, 20u);
}

TEST(DpuLoader, ReferenceDistanceRoundsToTheNearestMultipleOfAHundred) {
  ini_text t = valid_dpu_ini();
  t.set("scheme", "ref_dist", "149.9");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(scheme().ref_dist, 100u);
  t.set("scheme", "ref_dist", "150");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(scheme().ref_dist, 200u);
}

TEST(DpuLoader, UnitInRIsStoredInHundredthsOnlyWhenFlagged) {
  ini_text t = valid_dpu_ini();
  t.set("scheme", "d2d_params_unit", "0.5").set("scheme", "d2d_params_unit_in_R_en", "1");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(scheme().d2d_params_unit, 50u);
  t.set("scheme", "d2d_params_unit_in_R_en", "0");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(scheme().d2d_params_unit, 0u);
}

TEST(DpuLoader, UnitWithoutItsInRFlagFailsInSectionScheme) {
  ini_text t = valid_dpu_ini();
  t.set("scheme", "d2d_params_unit", "0.5").erase("scheme", "d2d_params_unit_in_R_en");
  const load_result r = load(t);
  EXPECT_EQ(r.code, DRIVER_HELPER_DPU_SCHEME_ERROR);
  EXPECT_EQ(r.err, "Field d2d_params_unit_in_R_en not found in section scheme\n");
}

TEST(DpuLoader, AbsentSchemeKeysGiveZero) {
  ini_text t = valid_dpu_ini();
  for (const char* key :
       {"disp_offset", "d2d_params_unit", "d2d_params_unit_in_R_en", "ref_dist", "mono_lut_sbg2r",
        "mono_lut_rectify", "hw_d2d_en", "mipi_channel_status"}) {
    t.erase("scheme", key);
  }
  ASSERT_EQ(load(t).code, 0);
  const dpu_scheme_config s = scheme();
  EXPECT_EQ(s.disp_offset, 0u);
  EXPECT_EQ(s.d2d_params_unit, 0u);
  EXPECT_EQ(s.ref_dist, 0u);
  EXPECT_EQ(s.flags, 0x3u) << "only the bits from [basic] remain";
}

TEST(DpuLoader, MissingSchemeSectionLeavesTheSchemeAllZero) {
  load_baseline();
  ini_text t = valid_dpu_ini();
  t.erase_section("scheme");
  const load_result r = load(t);
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.err, "");
  const dpu_scheme_config s = scheme();
  const dpu_scheme_config zero{};
  EXPECT_EQ(std::memcmp(&s, &zero, sizeof s), 0);
}

TEST(DpuLoader, SchemeFlagBitsComeFromTheLowestBitOfEachKey) {
  ini_text t = valid_dpu_ini();
  t.set("basic", "distort_type", "3")
      .set("basic", "sbg_en", "false")
      .set("scheme", "mono_lut_sbg2r", "1")
      .set("scheme", "mono_lut_rectify", "2")
      .set("scheme", "hw_d2d_en", "3")
      .set("scheme", "mipi_channel_status", "1");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(scheme().flags, (1u << 0) | (1u << 2) | (1u << 4) | (1u << 5));
  t.set("basic", "distort_type", "2").set("basic", "sbg_en", "1").set("scheme", "hw_d2d_en", "2");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(scheme().flags, (1u << 1) | (1u << 2) | (1u << 5));
}

TEST(DpuLoader, SchemeFlagOutOfUInt8RangeGivesMinusFive) {
  ini_text t = valid_dpu_ini();
  t.set("scheme", "hw_d2d_en", "256");
  EXPECT_EQ(load(t).code, DRIVER_HELPER_DE_CONFIG_EXCEPTION);
}

TEST(DpuLoader, EmptySchemeSectionKeepsOnlyTheBasicFlags) {
  ini_text t = valid_dpu_ini();
  t.erase_section("scheme").add_section("scheme");
  ASSERT_EQ(load(t).code, 0);
  EXPECT_EQ(scheme().flags, 0x3u);
}
