// Tests of the calibration configuration loaders: keys, order, defaults,
// messages on their streams, result codes and partial loads.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "config/calib_input_config.h"
#include "deflash/calib_config.h"
#include "support/console_capture.h"
#include "support/temp_files.h"

namespace deflash {
namespace {

using deflash_test::capture_console;
using deflash_test::console_output;

// A configuration as ordered sections of key/value lines, edited per test.
class config_text {
 public:
  using fields = std::vector<std::pair<std::string, std::string>>;

  config_text& section(const std::string& name) {
    sections_.emplace_back(name, fields());
    return *this;
  }
  /// Sets `key` in `section`, replacing an earlier value or appending.
  config_text& set(const std::string& section_name, const std::string& key,
                   const std::string& value) {
    fields& f = find(section_name);
    for (auto& field : f) {
      if (field.first == key) {
        field.second = value;
        return *this;
      }
    }
    f.emplace_back(key, value);
    return *this;
  }
  config_text& erase(const std::string& section_name, const std::string& key) {
    fields& f = find(section_name);
    for (auto it = f.begin(); it != f.end(); ++it) {
      if (it->first == key) {
        f.erase(it);
        return *this;
      }
    }
    ADD_FAILURE() << "no key " << key;
    return *this;
  }
  config_text& drop(const std::string& section_name) {
    for (auto it = sections_.begin(); it != sections_.end(); ++it) {
      if (it->first == section_name) {
        sections_.erase(it);
        return *this;
      }
    }
    ADD_FAILURE() << "no section " << section_name;
    return *this;
  }
  std::string text() const {
    std::string out;
    for (const auto& s : sections_) {
      out += "[" + s.first + "]\n";
      for (const auto& field : s.second) out += field.first + " = " + field.second + "\n";
    }
    return out;
  }

 private:
  fields& find(const std::string& name) {
    for (auto& s : sections_) {
      if (s.first == name) return s.second;
    }
    ADD_FAILURE() << "no section " << name;
    sections_.emplace_back(name, fields());
    return sections_.back().second;
  }

  std::vector<std::pair<std::string, fields>> sections_;
};

// Every key present, each with a value distinct from its default.
config_text full_config() {
  config_text c;
  c.section("basic")
      .set("basic", "baseline", "50.5")
      .set("basic", "ref_dist", "400")
      .set("basic", "cam_type", "1")
      .set("basic", "mirrored", "1")
      .set("basic", "mipi_channel_status", "3");
  c.section("rectify")
      .set("rectify", "distort_type", "1")
      .set("rectify", "rotate_type", "2")
      .set("rectify", "src_img_scale", "0.5")
      .set("rectify", "src_img_left_chop", "4")
      .set("rectify", "src_img_right_chop", "5")
      .set("rectify", "src_img_top_chop", "6")
      .set("rectify", "src_img_bottom_chop", "7")
      .set("rectify", "dst_focal_scale", "1.25")
      .set("rectify", "dst_res_fixed", "1")
      .set("rectify", "lut_sample_bit", "3")
      .set("rectify", "lut_extend_ratio", "1.5")
      .set("rectify", "ir_l_comp_coeff", "0.01")
      .set("rectify", "ir_r_comp_coeff", "0.02")
      .set("rectify", "ldm_comp_coeff", "0.03")
      .set("rectify", "ir_l_virtual_cx_offset", "1.5")
      .set("rectify", "ir_r_virtual_cx_offset", "-1.5")
      .set("rectify", "ir_virtual_cy_offset", "2.5")
      .set("rectify", "rectify_start_rows_buff_reserved", "{32,48}")
      .set("rectify", "start_row_lut_enable", "1");
  c.section("d2d")
      .set("d2d", "disp_offset", "0.25")
      .set("d2d", "invalid_disp", "-1")
      .set("d2d", "d2d_params_unit", "0.125")
      .set("d2d", "depth_mode", "2");
  c.section("d2c")
      .set("d2c", "clip_left_w_depth", "1")
      .set("d2c", "clip_top_h_depth", "2")
      .set("d2c", "clip_right_w_depth", "3")
      .set("d2c", "clip_bottom_h_depth", "4")
      .set("d2c", "depth_scale", "0.75")
      .set("d2c", "clip_left_w_valid", "5")
      .set("d2c", "clip_top_h_valid", "6")
      .set("d2c", "clip_right_w_valid", "7")
      .set("d2c", "clip_bottom_h_valid", "8")
      .set("d2c", "valid_scale", "0.5")
      .set("d2c", "clip_left_w_rgb", "9")
      .set("d2c", "clip_top_h_rgb", "10")
      .set("d2c", "clip_right_w_rgb", "11")
      .set("d2c", "clip_bottom_h_rgb", "-12")
      .set("d2c", "d2d_params_unit_in_R_en", "1");
  return c;
}

// Only the required keys.
config_text minimal_config() {
  config_text c;
  c.section("basic")
      .set("basic", "baseline", "50")
      .set("basic", "ref_dist", "400")
      .set("basic", "cam_type", "0")
      .set("basic", "mirrored", "0");
  c.section("rectify")
      .set("rectify", "distort_type", "0")
      .set("rectify", "rotate_type", "0")
      .set("rectify", "dst_focal_scale", "1.0");
  c.section("d2d").set("d2d", "invalid_disp", "0");  // a section needs one field
  c.section("d2c");
  for (const char* key :
       {"clip_left_w_depth", "clip_top_h_depth", "clip_right_w_depth", "clip_bottom_h_depth",
        "depth_scale", "clip_left_w_valid", "clip_top_h_valid", "clip_right_w_valid",
        "clip_bottom_h_valid", "valid_scale", "clip_left_w_rgb", "clip_top_h_rgb",
        "clip_right_w_rgb", "clip_bottom_h_rgb"}) {
    c.set("d2c", key, "0");
  }
  return c;
}

// A record whose every byte is 0xA5, so any field a load does not write
// is recognisable afterwards.
calib_input_config poisoned_config() {
  calib_input_config config;
  std::memset(&config, 0xA5, sizeof config);
  return config;
}

class CalibConfigLoader : public testing::Test {
 protected:
  void SetUp() override { module_calib_config() = poisoned_config(); }

  calib_input_config& config() { return module_calib_config(); }

  int load(const std::string& text) {
    int result = 12345;
    last_ =
        capture_console([&] { result = soc_convert::load_input_configs_content(text.c_str()); });
    return result;
  }
  int load_path(const std::string& path) {
    int result = 12345;
    last_ = capture_console([&] { result = soc_convert::load_input_configs_path(path.c_str()); });
    return result;
  }

  console_output last_;
};

const calib_input_config kPoison = poisoned_config();

// Whether a field still holds the poison pattern (was not written).
template <typename T>
bool untouched(const T& field, const T& poison_field) {
  return std::memcmp(&field, &poison_field, sizeof field) == 0;
}
#define EXPECT_UNTOUCHED(field) EXPECT_TRUE(untouched(config().field, kPoison.field)) << #field

TEST_F(CalibConfigLoader, FullConfigurationStoresEveryKey) {
  ASSERT_EQ(load(full_config().text()), 0);
  EXPECT_EQ(last_.out, "startrows buff reserved: 32, 48\n");
  EXPECT_EQ(last_.err, "");
  const calib_input_config& c = config();
  EXPECT_EQ(c.baseline, 50.5f);
  EXPECT_EQ(c.ref_dist, 400.0f);
  EXPECT_EQ(c.cam_type, 1u);
  EXPECT_EQ(c.mirrored, 1);
  EXPECT_EQ(c.mipi_channel_status, 3);
  EXPECT_EQ(c.distort_type, 1);
  EXPECT_EQ(c.rotate_type, 2);
  EXPECT_EQ(c.src_img_scale, 0.5f);
  EXPECT_EQ(c.src_img_left_chop, 4);
  EXPECT_EQ(c.src_img_right_chop, 5);
  EXPECT_EQ(c.src_img_top_chop, 6);
  EXPECT_EQ(c.src_img_bottom_chop, 7);
  EXPECT_EQ(c.dst_focal_scale, 1.25f);
  EXPECT_EQ(c.dst_res_fixed, 1);
  EXPECT_EQ(c.lut_sample_bit, 3);
  EXPECT_EQ(c.lut_extend_ratio, 1.5f);
  EXPECT_EQ(c.ir_l_comp_coeff, 0.01f);
  EXPECT_EQ(c.ir_r_comp_coeff, 0.02f);
  EXPECT_EQ(c.ldm_comp_coeff, 0.03f);
  EXPECT_EQ(c.ir_l_virtual_cx_offset, 1.5f);
  EXPECT_EQ(c.ir_r_virtual_cx_offset, -1.5f);
  EXPECT_EQ(c.ir_virtual_cy_offset, 2.5f);
  EXPECT_EQ(c.rectify_start_rows_buff_reserved[0], 32);
  EXPECT_EQ(c.rectify_start_rows_buff_reserved[1], 48);
  EXPECT_EQ(c.start_row_lut_enable, 1);
  EXPECT_EQ(c.disp_offset, 0.25f);
  EXPECT_EQ(c.invalid_disp, -1);
  EXPECT_EQ(c.d2d_params_unit, 0.125f);
  EXPECT_EQ(c.depth_mode, 2);
  EXPECT_EQ(c.clip_left_w_depth, 1);
  EXPECT_EQ(c.clip_top_h_depth, 2);
  EXPECT_EQ(c.clip_right_w_depth, 3);
  EXPECT_EQ(c.clip_bottom_h_depth, 4);
  EXPECT_EQ(c.depth_scale, 0.75f);
  EXPECT_EQ(c.clip_left_w_valid, 5);
  EXPECT_EQ(c.clip_top_h_valid, 6);
  EXPECT_EQ(c.clip_right_w_valid, 7);
  EXPECT_EQ(c.clip_bottom_h_valid, 8);
  EXPECT_EQ(c.valid_scale, 0.5f);
  EXPECT_EQ(c.clip_left_w_rgb, 9);
  EXPECT_EQ(c.clip_top_h_rgb, 10);
  EXPECT_EQ(c.clip_right_w_rgb, 11);
  EXPECT_EQ(c.clip_bottom_h_rgb, -12);
  EXPECT_EQ(c.d2d_params_unit_in_R_en, 1);
}

TEST_F(CalibConfigLoader, AbsentOptionalKeysTakeTheirDefaults) {
  ASSERT_EQ(load(minimal_config().text()), 0);
  EXPECT_EQ(last_.out, "startrows buff reserved: 64, 64\n");
  EXPECT_EQ(last_.err, "");
  const calib_input_config& c = config();
  EXPECT_EQ(c.mipi_channel_status, 0);
  EXPECT_EQ(c.src_img_scale, 1.0f);
  EXPECT_EQ(c.src_img_left_chop, 0);
  EXPECT_EQ(c.src_img_right_chop, 0);
  EXPECT_EQ(c.src_img_top_chop, 0);
  EXPECT_EQ(c.src_img_bottom_chop, 0);
  EXPECT_EQ(c.dst_res_fixed, 0);
  EXPECT_EQ(c.ir_l_comp_coeff, 0.0f);
  EXPECT_EQ(c.ir_r_comp_coeff, 0.0f);
  EXPECT_EQ(c.ldm_comp_coeff, 0.0f);
  EXPECT_EQ(c.ir_l_virtual_cx_offset, 0.0f);
  EXPECT_EQ(c.ir_r_virtual_cx_offset, 0.0f);
  EXPECT_EQ(c.ir_virtual_cy_offset, 0.0f);
  EXPECT_EQ(c.rectify_start_rows_buff_reserved[0], 64);
  EXPECT_EQ(c.rectify_start_rows_buff_reserved[1], 64);
  EXPECT_EQ(c.start_row_lut_enable, 0);
  EXPECT_EQ(c.disp_offset, 0.0f);
  EXPECT_EQ(c.d2d_params_unit, 1.0f);
  EXPECT_EQ(c.depth_mode, 0);  // from cam_type 0
  EXPECT_EQ(c.d2d_params_unit_in_R_en, 0);
  // Not required with distort_type 0, so never looked at.
  EXPECT_UNTOUCHED(lut_sample_bit);
  EXPECT_UNTOUCHED(lut_extend_ratio);
}

TEST_F(CalibConfigLoader, DefaultsOverwriteTheValuesOfAnEarlierLoad) {
  ASSERT_EQ(load(full_config().text()), 0);
  ASSERT_EQ(config().mipi_channel_status, 3);
  ASSERT_EQ(load(minimal_config().text()), 0);
  EXPECT_EQ(config().mipi_channel_status, 0);
  EXPECT_EQ(config().src_img_scale, 1.0f);
  EXPECT_EQ(config().rectify_start_rows_buff_reserved[0], 64);
  EXPECT_EQ(config().d2d_params_unit, 1.0f);
  EXPECT_EQ(config().d2d_params_unit_in_R_en, 0);
  // The LUT keys of the first load stay: distort_type 0 does not read them.
  EXPECT_EQ(config().lut_sample_bit, 3);
  EXPECT_EQ(config().lut_extend_ratio, 1.5f);
}

TEST_F(CalibConfigLoader, PathFormLoadsTheSameAsTheTextForm) {
  deflash_test::temp_dir dir;
  const std::string path = dir.write("module.ini", full_config().text());
  ASSERT_EQ(load_path(path), 0);
  EXPECT_EQ(last_.out, "startrows buff reserved: 32, 48\n");
  EXPECT_EQ(last_.err, "");
  const calib_input_config from_file = config();
  module_calib_config() = poisoned_config();
  ASSERT_EQ(load(full_config().text()), 0);
  EXPECT_EQ(std::memcmp(&from_file, &config(), sizeof from_file), 0);
}

TEST_F(CalibConfigLoader, PathFormReadsCrLfFiles) {
  std::string text = full_config().text();
  std::string crlf;
  for (char ch : text) crlf += ch == '\n' ? std::string("\r\n") : std::string(1, ch);
  deflash_test::temp_dir dir;
  ASSERT_EQ(load_path(dir.write("crlf.ini", crlf)), 0);
  EXPECT_EQ(config().baseline, 50.5f);
  EXPECT_EQ(config().clip_bottom_h_rgb, -12);
}

TEST_F(CalibConfigLoader, OnlyBasicSectionFailsBeforeReadingAnything) {
  config_text c = full_config();
  c.drop("rectify").drop("d2d").drop("d2c");
  deflash_test::temp_dir dir;
  EXPECT_EQ(load_path(dir.write("basic_only.ini", c.text())), -2);
  EXPECT_EQ(last_.err, "rectify section not found!\n");
  EXPECT_EQ(last_.out, "");
  EXPECT_UNTOUCHED(baseline);
  EXPECT_UNTOUCHED(cam_type);
  EXPECT_UNTOUCHED(mipi_channel_status);
}

TEST_F(CalibConfigLoader, EachMissingSectionHasItsMessage) {
  for (const char* name : {"basic", "rectify", "d2d", "d2c"}) {
    config_text c = full_config();
    c.drop(name);
    EXPECT_EQ(load(c.text()), -2) << name;
    EXPECT_EQ(last_.err, std::string(name) + " section not found!\n");
    EXPECT_EQ(last_.out, "");
  }
  EXPECT_UNTOUCHED(baseline);
}

TEST_F(CalibConfigLoader, FirstMissingSectionIsReported) {
  config_text c = full_config();
  c.drop("d2c").drop("rectify");
  EXPECT_EQ(load(c.text()), -2);
  EXPECT_EQ(last_.err, "rectify section not found!\n");
}

TEST_F(CalibConfigLoader, EmptySectionCountsAsMissing) {
  config_text c = full_config();
  c.drop("d2d");
  EXPECT_EQ(load(c.text() + "[d2d]\n"), -2);
  EXPECT_EQ(last_.err, "d2d section not found!\n");
  EXPECT_UNTOUCHED(baseline);
}

TEST_F(CalibConfigLoader, SectionNamesAreCaseSensitive) {
  std::string text = full_config().text();
  text.replace(text.find("[basic]"), 7, "[Basic]");
  EXPECT_EQ(load(text), -2);
  EXPECT_EQ(last_.err, "basic section not found!\n");
}

TEST_F(CalibConfigLoader, EmptyTextReportsTheBasicSection) {
  EXPECT_EQ(load(""), -2);
  EXPECT_EQ(last_.err, "basic section not found!\n");
  EXPECT_EQ(last_.out, "");
}

TEST_F(CalibConfigLoader, ExtraSectionsAndKeysAreIgnored) {
  config_text c = full_config();
  c.set("basic", "unknown_key", "not a number");
  c.section("extra").set("extra", "x", "y");
  EXPECT_EQ(load(c.text()), 0);
  EXPECT_EQ(last_.err, "");
}

struct required_key {
  const char* section;
  const char* key;
};

constexpr required_key kRequiredKeys[] = {
    {"basic", "baseline"},          {"basic", "ref_dist"},         {"basic", "cam_type"},
    {"basic", "mirrored"},          {"rectify", "distort_type"},   {"rectify", "rotate_type"},
    {"rectify", "dst_focal_scale"}, {"rectify", "lut_sample_bit"}, {"rectify", "lut_extend_ratio"},
    {"d2c", "clip_left_w_depth"},   {"d2c", "clip_top_h_depth"},   {"d2c", "clip_right_w_depth"},
    {"d2c", "clip_bottom_h_depth"}, {"d2c", "depth_scale"},        {"d2c", "clip_left_w_valid"},
    {"d2c", "clip_top_h_valid"},    {"d2c", "clip_right_w_valid"}, {"d2c", "clip_bottom_h_valid"},
    {"d2c", "valid_scale"},         {"d2c", "clip_left_w_rgb"},    {"d2c", "clip_top_h_rgb"},
    {"d2c", "clip_right_w_rgb"},    {"d2c", "clip_bottom_h_rgb"},
};

TEST_F(CalibConfigLoader, EachMissingRequiredKeyHasItsMessage) {
  for (const required_key& k : kRequiredKeys) {
    config_text c = full_config();  // distort_type 1: the LUT keys are required
    c.erase(k.section, k.key);
    EXPECT_EQ(load(c.text()), -2) << k.key;
    EXPECT_EQ(last_.err,
              std::string("Field \"") + k.key + "\" not found in section \"" + k.section + "\"\n");
  }
}

TEST_F(CalibConfigLoader, MissingBaselineMessageReadsAsWritten) {
  config_text c = full_config();
  c.erase("basic", "baseline");
  EXPECT_EQ(load(c.text()), -2);
  EXPECT_EQ(last_.err, "Field \"baseline\" not found in section \"basic\"\n");
  EXPECT_EQ(last_.out, "");
}

TEST_F(CalibConfigLoader, FirstMissingKeyInReadingOrderIsReported) {
  config_text c = full_config();
  c.erase("basic", "mirrored").erase("basic", "ref_dist").erase("rectify", "distort_type");
  EXPECT_EQ(load(c.text()), -2);
  EXPECT_EQ(last_.err, "Field \"ref_dist\" not found in section \"basic\"\n");
  EXPECT_EQ(config().baseline, 50.5f);  // read before the failure
  EXPECT_UNTOUCHED(cam_type);
}

TEST_F(CalibConfigLoader, MissingKeyLeavesEarlierSectionsLoaded) {
  config_text c = full_config();
  c.erase("d2c", "valid_scale");
  EXPECT_EQ(load(c.text()), -2);
  EXPECT_EQ(last_.err, "Field \"valid_scale\" not found in section \"d2c\"\n");
  EXPECT_EQ(last_.out, "startrows buff reserved: 32, 48\n");
  EXPECT_EQ(config().baseline, 50.5f);
  EXPECT_EQ(config().start_row_lut_enable, 1);
  EXPECT_EQ(config().depth_mode, 2);
  EXPECT_EQ(config().clip_bottom_h_valid, 8);  // read just before
  EXPECT_EQ(config().depth_scale, 0.75f);
  EXPECT_UNTOUCHED(valid_scale);
  EXPECT_UNTOUCHED(clip_left_w_rgb);
  EXPECT_UNTOUCHED(d2d_params_unit_in_R_en);
}

TEST_F(CalibConfigLoader, MissingRectifyKeyStopsBeforeLaterSections) {
  config_text c = full_config();
  c.erase("rectify", "dst_focal_scale");
  EXPECT_EQ(load(c.text()), -2);
  EXPECT_EQ(last_.err, "Field \"dst_focal_scale\" not found in section \"rectify\"\n");
  EXPECT_EQ(last_.out, "");  // the reserved-rows line comes later in the section
  EXPECT_EQ(config().src_img_bottom_chop, 7);
  EXPECT_UNTOUCHED(dst_focal_scale);
  EXPECT_UNTOUCHED(dst_res_fixed);
  EXPECT_UNTOUCHED(disp_offset);
}

TEST_F(CalibConfigLoader, CamTypeOutOfRangeIsAConversionError) {
  config_text c = full_config();
  c.set("basic", "cam_type", "256");
  EXPECT_EQ(load(c.text()), -3);
  EXPECT_EQ(last_.out, "Caught an exception: field is out of UInt8 range: 256\n");
  EXPECT_EQ(last_.err, "");
  EXPECT_EQ(config().ref_dist, 400.0f);  // stored before the failing key
  EXPECT_UNTOUCHED(cam_type);
}

TEST_F(CalibConfigLoader, TrailingCommentAfterAValueIsAConversionError) {
  config_text c = full_config();
  c.set("basic", "baseline", "50.0 ; mm");
  EXPECT_EQ(load(c.text()), -3);
  EXPECT_EQ(last_.out, "Caught an exception: 50.0 ; mm is not a float\n");
  EXPECT_EQ(last_.err, "");
  EXPECT_UNTOUCHED(baseline);
}

TEST_F(CalibConfigLoader, NegativeUnsignedValueIsAConversionError) {
  config_text c = full_config();
  c.set("basic", "mirrored", "-1");
  EXPECT_EQ(load(c.text()), -3);
  EXPECT_EQ(last_.out, "Caught an exception: detect negative while parse unsigned\n");
}

TEST_F(CalibConfigLoader, ConversionErrorLeavesEarlierSectionsLoaded) {
  config_text c = full_config();
  c.set("d2d", "invalid_disp", "2147483648");
  EXPECT_EQ(load(c.text()), -3);
  EXPECT_EQ(last_.out,
            "startrows buff reserved: 32, 48\n"
            "Caught an exception: field is out of Int32 range: 2147483648\n");
  EXPECT_EQ(config().start_row_lut_enable, 1);
  EXPECT_EQ(config().disp_offset, 0.25f);
  EXPECT_UNTOUCHED(invalid_disp);
  EXPECT_UNTOUCHED(d2d_params_unit);
}

TEST_F(CalibConfigLoader, SyntaxErrorIsReportedOnStandardOutput) {
  const std::string text =
      "[basic]\nbaseline = 50\nref_dist = 400\ncam_type = 0\n"
      "mirrored = 0\n[rectify]\ndistort_type 0\n";
  EXPECT_EQ(load(text), -3);
  EXPECT_EQ(last_.out, "Caught an exception: l7: ini parsing failed, no '=' found\n");
  EXPECT_EQ(last_.err, "");
  EXPECT_UNTOUCHED(baseline);  // the document is complete before any key is read
}

TEST_F(CalibConfigLoader, SyntaxErrorInAFileIsReportedOnStandardOutput) {
  deflash_test::temp_dir dir;
  EXPECT_EQ(load_path(dir.write("bad.ini", std::string("x=1\n"))), -3);
  EXPECT_EQ(last_.out, "Caught an exception: l1: ini parsing failed, field has no section\n");
  EXPECT_EQ(last_.err, "");
}

TEST_F(CalibConfigLoader, LutKeysAreNotReadForDistortTypeZero) {
  config_text c = full_config();
  c.set("rectify", "distort_type", "0").erase("rectify", "lut_sample_bit");
  c.set("rectify", "lut_extend_ratio", "not a float");
  EXPECT_EQ(load(c.text()), 0);
  EXPECT_EQ(last_.err, "");
  EXPECT_UNTOUCHED(lut_sample_bit);
  EXPECT_UNTOUCHED(lut_extend_ratio);
}

TEST_F(CalibConfigLoader, LutKeysAreNotReadForDistortTypeThreeAndAbove) {
  for (const char* distort_type : {"3", "255"}) {
    config_text c = full_config();
    c.set("rectify", "distort_type", distort_type)
        .erase("rectify", "lut_sample_bit")
        .erase("rectify", "lut_extend_ratio");
    EXPECT_EQ(load(c.text()), 0) << distort_type;
    EXPECT_UNTOUCHED(lut_sample_bit);
    EXPECT_UNTOUCHED(lut_extend_ratio);
  }
}

TEST_F(CalibConfigLoader, LutKeysAreRequiredForDistortTypeTwo) {
  config_text c = full_config();
  c.set("rectify", "distort_type", "2").erase("rectify", "lut_sample_bit");
  EXPECT_EQ(load(c.text()), -2);
  EXPECT_EQ(last_.err, "Field \"lut_sample_bit\" not found in section \"rectify\"\n");
  EXPECT_EQ(config().distort_type, 2);
}

TEST_F(CalibConfigLoader, LutKeysAreReadForDistortTypeOneAndTwo) {
  for (const char* distort_type : {"1", "2"}) {
    module_calib_config() = poisoned_config();
    config_text c = full_config();
    c.set("rectify", "distort_type", distort_type)
        .set("rectify", "lut_sample_bit", "-4")
        .set("rectify", "lut_extend_ratio", "1.75");
    EXPECT_EQ(load(c.text()), 0) << distort_type;
    EXPECT_EQ(config().lut_sample_bit, -4);
    EXPECT_EQ(config().lut_extend_ratio, 1.75f);
  }
}

TEST_F(CalibConfigLoader, LutExtendRatioIsRequiredAfterLutSampleBit) {
  config_text c = full_config();
  c.erase("rectify", "lut_extend_ratio");
  EXPECT_EQ(load(c.text()), -2);
  EXPECT_EQ(last_.err, "Field \"lut_extend_ratio\" not found in section \"rectify\"\n");
  EXPECT_EQ(config().lut_sample_bit, 3);
}

TEST_F(CalibConfigLoader, LutSampleBitUsesTheIntRangeMessage) {
  config_text c = full_config();
  c.set("rectify", "lut_sample_bit", "4294967296");
  EXPECT_EQ(load(c.text()), -3);
  EXPECT_EQ(last_.out, "Caught an exception: field is out of Int range: 4294967296\n");
}

TEST_F(CalibConfigLoader, ChopValuesAreTruncatedTowardZero) {
  config_text c = full_config();
  c.set("rectify", "src_img_left_chop", "12.9")
      .set("rectify", "src_img_right_chop", "0.99")
      .set("rectify", "src_img_top_chop", "1e2")
      .set("rectify", "src_img_bottom_chop", "-0.5");
  ASSERT_EQ(load(c.text()), 0);
  EXPECT_EQ(config().src_img_left_chop, 12);
  EXPECT_EQ(config().src_img_right_chop, 0);
  EXPECT_EQ(config().src_img_top_chop, 100);
  EXPECT_EQ(config().src_img_bottom_chop, 0);
}

TEST_F(CalibConfigLoader, ChopValuesKeepTheirLow16Bits) {
  config_text c = full_config();
  c.set("rectify", "src_img_left_chop", "-1.5")
      .set("rectify", "src_img_right_chop", "70000")
      .set("rectify", "src_img_top_chop", "65535.9")
      .set("rectify", "src_img_bottom_chop", "1e10");
  ASSERT_EQ(load(c.text()), 0);
  EXPECT_EQ(config().src_img_left_chop, 65535);
  EXPECT_EQ(config().src_img_right_chop, 70000 - 65536);
  EXPECT_EQ(config().src_img_top_chop, 65535);
  EXPECT_EQ(config().src_img_bottom_chop, 0);  // beyond 32 bits: the indefinite integer
}

TEST_F(CalibConfigLoader, NonFiniteChopValuesGiveZero) {
  config_text c = full_config();
  c.set("rectify", "src_img_left_chop", "nan")
      .set("rectify", "src_img_right_chop", "inf")
      .set("rectify", "src_img_top_chop", "-inf");
  ASSERT_EQ(load(c.text()), 0);
  EXPECT_EQ(config().src_img_left_chop, 0);
  EXPECT_EQ(config().src_img_right_chop, 0);
  EXPECT_EQ(config().src_img_top_chop, 0);
}

TEST_F(CalibConfigLoader, ChopWithTextIsAFloatConversionError) {
  config_text c = full_config();
  c.set("rectify", "src_img_top_chop", "12 px");
  EXPECT_EQ(load(c.text()), -3);
  EXPECT_EQ(last_.out, "Caught an exception: 12 px is not a float\n");
}

TEST_F(CalibConfigLoader, ZeroD2dParamsUnitBecomesOne) {
  config_text c = full_config();
  c.set("d2d", "d2d_params_unit", "0");
  ASSERT_EQ(load(c.text()), 0);
  EXPECT_EQ(config().d2d_params_unit, 1.0f);
}

TEST_F(CalibConfigLoader, NegativeD2dParamsUnitIsKept) {
  config_text c = full_config();
  c.set("d2d", "d2d_params_unit", "-0.5");
  ASSERT_EQ(load(c.text()), 0);
  EXPECT_EQ(config().d2d_params_unit, -0.5f);
}

TEST_F(CalibConfigLoader, AbsentD2dParamsUnitIsOne) {
  config_text c = full_config();
  c.erase("d2d", "d2d_params_unit");
  ASSERT_EQ(load(c.text()), 0);
  EXPECT_EQ(config().d2d_params_unit, 1.0f);
}

TEST_F(CalibConfigLoader, TinyD2dParamsUnitIsComparedInDouble) {
  struct unit_case {
    const char* text;
    float expected;
  };
  // The float nearest 0.00001 lies just below the double 0.00001.
  for (const unit_case& u :
       {unit_case{"0.000001", 1.0f}, unit_case{"-0.000009", 1.0f}, unit_case{"0.00001", 1.0f},
        unit_case{"-0.00001", 1.0f}, unit_case{"0.00002", 0.00002f},
        unit_case{"-0.0000101", -0.0000101f}}) {
    config_text c = full_config();
    c.set("d2d", "d2d_params_unit", u.text);
    ASSERT_EQ(load(c.text()), 0) << u.text;
    EXPECT_EQ(config().d2d_params_unit, u.expected) << u.text;
  }
}

TEST_F(CalibConfigLoader, AbsentDepthModeFollowsCamType) {
  struct mode_case {
    const char* cam_type;
    int8_t expected;
  };
  for (const mode_case& m :
       {mode_case{"0", 0}, mode_case{"1", 0}, mode_case{"2", 1}, mode_case{"3", 1}}) {
    module_calib_config() = poisoned_config();
    config_text c = full_config();
    c.set("basic", "cam_type", m.cam_type).erase("d2d", "depth_mode");
    ASSERT_EQ(load(c.text()), 0) << m.cam_type;
    EXPECT_EQ(config().depth_mode, m.expected) << m.cam_type;
  }
}

TEST_F(CalibConfigLoader, AbsentDepthModeWithOtherCamTypeKeepsThePreviousLoad) {
  config_text first = full_config();
  first.set("d2d", "depth_mode", "5");
  ASSERT_EQ(load(first.text()), 0);
  ASSERT_EQ(config().depth_mode, 5);
  for (const char* cam_type : {"4", "7", "255"}) {
    config_text c = full_config();
    c.set("basic", "cam_type", cam_type).erase("d2d", "depth_mode");
    ASSERT_EQ(load(c.text()), 0) << cam_type;
    EXPECT_EQ(config().depth_mode, 5) << cam_type;
  }
}

TEST_F(CalibConfigLoader, ExplicitDepthModeWinsOverCamType) {
  config_text c = full_config();
  c.set("basic", "cam_type", "3").set("d2d", "depth_mode", "-1");
  ASSERT_EQ(load(c.text()), 0);
  EXPECT_EQ(config().depth_mode, -1);
}

TEST_F(CalibConfigLoader, DepthModeUsesTheInt8RangeMessage) {
  config_text c = full_config();
  c.set("d2d", "depth_mode", "128");
  EXPECT_EQ(load(c.text()), -3);
  EXPECT_EQ(last_.out,
            "startrows buff reserved: 32, 48\n"
            "Caught an exception: field is out of Int8 range: 128\n");
}

TEST_F(CalibConfigLoader, ReservedRowsListIsStoredAndLogged) {
  config_text c = full_config();
  c.set("rectify", "rectify_start_rows_buff_reserved", "{32,48}");
  ASSERT_EQ(load(c.text()), 0);
  EXPECT_EQ(config().rectify_start_rows_buff_reserved[0], 32);
  EXPECT_EQ(config().rectify_start_rows_buff_reserved[1], 48);
  EXPECT_EQ(last_.out, "startrows buff reserved: 32, 48\n");
}

TEST_F(CalibConfigLoader, ReservedRowsListAcceptsLenientForms) {
  for (const char* list : {"{ 0x40, 64 }", "{64,,64}", "{,64,0100,}", "{64x,64 rows}"}) {
    module_calib_config() = poisoned_config();
    config_text c = full_config();
    c.set("rectify", "rectify_start_rows_buff_reserved", list);
    ASSERT_EQ(load(c.text()), 0) << list;
    EXPECT_EQ(config().rectify_start_rows_buff_reserved[0], 64) << list;
    EXPECT_EQ(config().rectify_start_rows_buff_reserved[1], 64) << list;
    EXPECT_EQ(last_.out, "startrows buff reserved: 64, 64\n");
  }
}

TEST_F(CalibConfigLoader, ReservedRowsKeepTheLow8Bits) {
  config_text c = full_config();
  c.set("rectify", "rectify_start_rows_buff_reserved", "{256,-1}");
  ASSERT_EQ(load(c.text()), 0);
  EXPECT_EQ(config().rectify_start_rows_buff_reserved[0], 0);
  EXPECT_EQ(config().rectify_start_rows_buff_reserved[1], 255);
  EXPECT_EQ(last_.out, "startrows buff reserved: 0, 255\n");
}

TEST_F(CalibConfigLoader, ReservedRowsListOfOneValueFailsTheSection) {
  config_text c = full_config();
  c.set("rectify", "rectify_start_rows_buff_reserved", "{32}");
  EXPECT_EQ(load(c.text()), -2);
  // The log line carries no line end, and there is no section message.
  EXPECT_EQ(last_.out, "rectify_start_rows_buff_reserved to array {32} error");
  EXPECT_EQ(last_.err, "");
  EXPECT_EQ(config().rectify_start_rows_buff_reserved[0], 32);  // parsed in place
  EXPECT_UNTOUCHED(start_row_lut_enable);
  EXPECT_UNTOUCHED(disp_offset);
}

TEST_F(CalibConfigLoader, ReservedRowsListOfThreeValuesWritesOnlyTheTwoBytes) {
  config_text c = full_config();
  c.set("rectify", "rectify_start_rows_buff_reserved", "{1,2,3,4,5,6,7,8}");
  EXPECT_EQ(load(c.text()), -2);
  EXPECT_EQ(last_.out, "rectify_start_rows_buff_reserved to array {1,2,3,4,5,6,7,8} error");
  EXPECT_EQ(config().rectify_start_rows_buff_reserved[0], 1);
  EXPECT_EQ(config().rectify_start_rows_buff_reserved[1], 2);
  // The next field in the record holds its old bytes.
  EXPECT_UNTOUCHED(start_row_lut_enable);
}

TEST_F(CalibConfigLoader, ReservedRowsWithoutBracesFails) {
  for (const char* list : {"64,64", "{64,64", "64,64}", "{}", "", "{,}"}) {
    config_text c = full_config();
    c.set("rectify", "rectify_start_rows_buff_reserved", list);
    EXPECT_EQ(load(c.text()), -2) << list;
    EXPECT_EQ(last_.out,
              std::string("rectify_start_rows_buff_reserved to array ") + list + " error");
    EXPECT_EQ(last_.err, "");
  }
}

TEST_F(CalibConfigLoader, AbsentReservedRowsAreSixtyFour) {
  config_text c = full_config();
  c.erase("rectify", "rectify_start_rows_buff_reserved");
  ASSERT_EQ(load(c.text()), 0);
  EXPECT_EQ(config().rectify_start_rows_buff_reserved[0], 64);
  EXPECT_EQ(config().rectify_start_rows_buff_reserved[1], 64);
  EXPECT_EQ(last_.out, "startrows buff reserved: 64, 64\n");
}

TEST_F(CalibConfigLoader, NullTextIsRefused) {
  int result = 0;
  last_ = capture_console([&] { result = soc_convert::load_input_configs_content(nullptr); });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(last_.err, "Error: config param is invalid.\n");
  EXPECT_EQ(last_.out, "");
  EXPECT_UNTOUCHED(baseline);
}

TEST_F(CalibConfigLoader, NullPathIsRefusedLikeANullText) {
  int result = 0;
  last_ = capture_console([&] { result = soc_convert::load_input_configs_path(nullptr); });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(last_.err, "Error: config param is invalid.\n");
  EXPECT_EQ(last_.out, "");
}

TEST_F(CalibConfigLoader, MissingFileIsReported) {
  deflash_test::temp_dir dir;
  const std::string path = dir.file("missing.ini");
  EXPECT_EQ(load_path(path), -1);
  EXPECT_EQ(last_.err, "Cannot open file " + path + "\n");
  EXPECT_EQ(last_.out, "");
  EXPECT_UNTOUCHED(baseline);
}

// A path of exactly `length` bytes inside `dir`.
std::string path_of_length(const deflash_test::temp_dir& dir, std::size_t length) {
  const std::string prefix = dir.path() + "/";
  EXPECT_LT(prefix.size(), length);
  return prefix + std::string(length - prefix.size(), 'c');
}

TEST_F(CalibConfigLoader, PathOf256BytesIsAccepted) {
  deflash_test::temp_dir dir;
  const std::string path = path_of_length(dir, 256);
  ASSERT_EQ(path.size(), 256u);
  ASSERT_EQ(dir.write(path.substr(dir.path().size() + 1), full_config().text()), path);
  EXPECT_EQ(load_path(path), 0);
  EXPECT_EQ(last_.err, "");
  EXPECT_EQ(config().baseline, 50.5f);
}

TEST_F(CalibConfigLoader, PathOf257BytesIsRefusedWithoutOpeningIt) {
  deflash_test::temp_dir dir;
  const std::string path = path_of_length(dir, 257);
  ASSERT_EQ(path.size(), 257u);
  // The file exists and is valid: only the length refuses it.
  ASSERT_EQ(dir.write(path.substr(dir.path().size() + 1), full_config().text()), path);
  EXPECT_EQ(load_path(path), 4096);
  EXPECT_EQ(last_.err, "Error: File name exceeds the maximum length.\n");
  EXPECT_EQ(last_.out, "");
  EXPECT_UNTOUCHED(baseline);
}

TEST_F(CalibConfigLoader, LongMissingPathGivesTheLengthErrorNotTheOpenError) {
  const std::string path = "/nonexistent/" + std::string(400, 'x');
  EXPECT_EQ(load_path(path), 4096);
  EXPECT_EQ(last_.err, "Error: File name exceeds the maximum length.\n");
}

TEST_F(CalibConfigLoader, DirectoryPathIsAnEmptyDocumentOrCannotBeOpened) {
  deflash_test::temp_dir dir;
#ifdef _WIN32
  // The Windows C runtime refuses to open a directory as a file.
  EXPECT_EQ(load_path(dir.path()), -1);
  EXPECT_EQ(last_.err, "Cannot open file " + dir.path() + "\n");
#else
  // A directory opens for reading on POSIX systems but reads as nothing.
  EXPECT_EQ(load_path(dir.path()), -2);
  EXPECT_EQ(last_.err, "basic section not found!\n");
#endif
}

TEST_F(CalibConfigLoader, CommentsAndBlankLinesAreAllowedAnywhere) {
  const std::string text =
      "; module configuration\n\n" + full_config().text() + "# trailing comment\n% another\n";
  EXPECT_EQ(load(text), 0);
  EXPECT_EQ(last_.err, "");
}

TEST_F(CalibConfigLoader, LastOccurrenceOfAKeyWins) {
  const std::string text = full_config().text() + "[basic]\nbaseline = 42\n";
  ASSERT_EQ(load(text), 0);
  EXPECT_EQ(config().baseline, 42.0f);
}

// Example configurations shipped with the library.
TEST_F(CalibConfigLoader, ExampleCloseRangeConfigurationLoads) {
  ASSERT_EQ(load_path(std::string(DEFLASH_SOURCE_DIR) + "/examples/module/calib_close.ini"), 0);
  EXPECT_EQ(last_.err, "");
  EXPECT_EQ(last_.out, "startrows buff reserved: 64, 64\n");
  EXPECT_EQ(config().baseline, -50.0f);
  EXPECT_EQ(config().ref_dist, 400.0f);
  EXPECT_EQ(config().mipi_channel_status, 0);
  EXPECT_EQ(config().d2d_params_unit, 1.0f);
}

TEST_F(CalibConfigLoader, ExampleLongRangeConfigurationLoads) {
  ASSERT_EQ(load_path(std::string(DEFLASH_SOURCE_DIR) + "/examples/module/calib_long.ini"), 0);
  EXPECT_EQ(last_.err, "");
  EXPECT_EQ(last_.out, "startrows buff reserved: 64, 64\n");
  EXPECT_EQ(config().baseline, -50.0f);
  EXPECT_EQ(config().ref_dist, 1000.0f);
  EXPECT_EQ(config().mipi_channel_status, 1);
}

}  // namespace
}  // namespace deflash
