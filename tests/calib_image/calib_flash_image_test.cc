// The calibration flash image: argument checks, de-duplication by key,
// time stamps, buffer limits, and every section decoded independently.
#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

#include "calib_image/calib_state.h"
#include "deflash/calib_image.h"
#include "deflash/frame.h"
#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "support/calib_image_decoder.h"
#include "support/console_capture.h"
#include "support/flash_input.h"
#include "support/synthetic_module.h"
#include "support/temp_files.h"

namespace {

using deflash::load_f32_le;
using deflash::load_u32_le;
using deflash_test::capture_console;
using deflash_test::config_override;
using deflash_test::decode_calib_section;
using deflash_test::decoded_section;
using deflash_test::flash_input;
using deflash_test::synthetic_config_text;

constexpr int kMainBytes = 20480;
constexpr int kRawBytes = 4 * 8192;

struct generated {
  int result = 0;
  std::vector<uint8_t> main;
  std::vector<uint8_t> raw;
  std::vector<std::string> messages;
  deflash_test::console_output console;
};

generated generate(const SocCalibFlashInput_S* list, int64_t timestamp = 1700000000,
                   bool with_raw = true, int main_size = kMainBytes, int raw_size = kRawBytes) {
  generated g;
  g.main.assign(static_cast<std::size_t>(std::max(main_size, 0)) + 16, 0xA5);
  g.raw.assign(static_cast<std::size_t>(std::max(raw_size, 0)) + 16, 0xA5);
  std::function<void(const char*)> callback = [&](const char* m) { g.messages.emplace_back(m); };
  g.console = capture_console([&] {
    g.result = gen_soc_calib_flash_param_de(list, g.main.data(), &callback, main_size, timestamp,
                                            with_raw ? g.raw.data() : nullptr, raw_size);
  });
  return g;
}

// Everything past the stated buffer size stays as it was.
void expect_guard_bytes_untouched(const generated& g, int main_size, int raw_size) {
  for (std::size_t i = static_cast<std::size_t>(main_size); i < g.main.size(); ++i) {
    ASSERT_EQ(g.main[i], 0xA5) << i;
  }
  for (std::size_t i = static_cast<std::size_t>(raw_size); i < g.raw.size(); ++i) {
    ASSERT_EQ(g.raw[i], 0xA5) << i;
  }
}

std::vector<uint8_t> stated(const std::vector<uint8_t>& buffer, int size) {
  return std::vector<uint8_t>(buffer.begin(), buffer.begin() + size);
}

struct decoded_image {
  decoded_section rectify, d2c, depth, raw;
};

decoded_image decode_all(const generated& g, bool with_raw = true) {
  decoded_image d;
  const auto main = stated(g.main, kMainBytes);
  EXPECT_EQ(decode_calib_section(main, deflash_test::kRectifyShape, &d.rectify), "");
  EXPECT_EQ(decode_calib_section(main, deflash_test::kD2cShape, &d.d2c), "");
  EXPECT_EQ(decode_calib_section(main, deflash_test::kDepthShape, &d.depth), "");
  if (with_raw) {
    EXPECT_EQ(decode_calib_section(stated(g.raw, kRawBytes), deflash_test::kRawShape, &d.raw), "");
  }
  return d;
}

const std::vector<std::string> kArgumentMessages = {
    "error: input config_input_file_list or file_buff_out is invalid\n",
    "error: calib params nums not match the config file num or calib_temperature_num\n",
    "error: params error, calib_params_list or config_file_list or calib_temperature_list == "
    "nullptr\n"};

}  // namespace

TEST(CalibFlashImage, NullInputListIsRejected) {
  const generated g = generate(nullptr);
  EXPECT_EQ(g.result, -2);
  EXPECT_EQ(g.console.out, kArgumentMessages[0]);
  EXPECT_EQ(g.messages, std::vector<std::string>{kArgumentMessages[0]});
  EXPECT_EQ(g.main[0], 0xA5);  // nothing written
}

TEST(CalibFlashImage, NullOutputBufferIsRejected) {
  flash_input input({synthetic_config_text()});
  std::vector<std::string> messages;
  std::function<void(const char*)> callback = [&](const char* m) { messages.emplace_back(m); };
  int result = 0;
  const auto out = capture_console([&] {
    result =
        gen_soc_calib_flash_param_de(&input.list, nullptr, &callback, kMainBytes, 0, nullptr, 0);
  });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(out.out, kArgumentMessages[0]);
}

TEST(CalibFlashImage, CountsThatDifferAreRejected) {
  flash_input input({synthetic_config_text()});
  input.list.calib_temperature_num = 2;
  const generated g = generate(&input.list);
  EXPECT_EQ(g.result, -6);
  EXPECT_EQ(g.console.out, kArgumentMessages[1]);
  EXPECT_EQ(g.messages, std::vector<std::string>{kArgumentMessages[1]});
}

TEST(CalibFlashImage, NullListsAreRejected) {
  flash_input input({synthetic_config_text()});
  input.list.calib_temperature_list = nullptr;
  const generated g = generate(&input.list);
  EXPECT_EQ(g.result, -2);
  EXPECT_EQ(g.console.out, kArgumentMessages[2]);
  EXPECT_EQ(g.messages, std::vector<std::string>{kArgumentMessages[2]});
}

TEST(CalibFlashImage, NoConfigurationGivesEmptySectionsAndErasedFlash) {
  flash_input input({});
  const uint8_t a[8] = {'S', 'N', '0', '0', '0', '0', '0', '1'};
  const uint8_t b[8] = {'B', 'A', 'T', 'C', 'H', '0', '4', '2'};
  const uint8_t c[8] = {'L', 'I', 'N', 'E', '-', '0', '0', '7'};
  set_soc_sn(a, b, c);
  const generated g = generate(&input.list, 1700000000, false);
  ASSERT_EQ(g.result, 0);
  const decoded_image d = decode_all(g, false);
  for (const decoded_section* s : {&d.rectify, &d.d2c, &d.depth}) {
    EXPECT_EQ(s->count, 0u);
    EXPECT_EQ(s->length, 60u);
    EXPECT_EQ(s->timestamp, 1700000000u);
    EXPECT_EQ(std::string(s->serial.begin(), s->serial.end()), "SN000001BATCH042LINE-007");
  }
  expect_guard_bytes_untouched(g, kMainBytes, kRawBytes);
}

TEST(CalibFlashImage, OneConfigurationFillsEveryTable) {
  flash_input input({synthetic_config_text()});
  const generated g = generate(&input.list);
  ASSERT_EQ(g.result, 0) << g.console.out << g.console.err;
  const decoded_image d = decode_all(g);
  EXPECT_EQ(d.rectify.count, 1u);
  EXPECT_EQ(d.d2c.count, 1u);
  EXPECT_EQ(d.depth.count, 1u);
  EXPECT_EQ(d.raw.count, 1u);
  // The rectification key: 1280x800 source, 1280x800 output, close range.
  const auto& item = d.rectify.items[0];
  EXPECT_EQ(std::vector<uint8_t>(item.begin() + 16, item.begin() + 28),
            (std::vector<uint8_t>{0x00, 0x05, 0x20, 0x03, 0x00, 0x05, 0x20, 0x03, 0, 0, 0, 0}));
  EXPECT_EQ(load_f32_le(item.data() + 244), 35.2f);  // left calibration temperature
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(d.raw.items[0].data() + 16)), "Close mode");
  expect_guard_bytes_untouched(g, kMainBytes, kRawBytes);
}

TEST(CalibFlashImage, ConfigurationsDifferingOutsideTheKeysGiveOneEntry) {
  flash_input input({synthetic_config_text({{"rectify", "ir_l_comp_coeff", "0.25"}}),
                     synthetic_config_text({{"rectify", "ir_l_comp_coeff", "0.75"}})});
  const generated g = generate(&input.list);
  ASSERT_EQ(g.result, 0);
  const decoded_image d = decode_all(g);
  EXPECT_EQ(d.rectify.count, 1u);
  EXPECT_EQ(d.d2c.count, 1u);
  EXPECT_EQ(d.depth.count, 1u);
  EXPECT_EQ(d.raw.count, 1u);
  // The first configuration's values stay; the later one's are dropped.
  EXPECT_EQ(load_f32_le(d.rectify.items[0].data() + 256), 0.25f);
}

TEST(CalibFlashImage, CloseAndLongModeGiveTwoEntriesInEveryTable) {
  flash_input input({synthetic_config_text({{"basic", "mipi_channel_status", "0"}}),
                     synthetic_config_text({{"basic", "mipi_channel_status", "1"}})});
  const generated g = generate(&input.list);
  ASSERT_EQ(g.result, 0);
  const decoded_image d = decode_all(g);
  EXPECT_EQ(d.rectify.count, 2u);
  EXPECT_EQ(d.d2c.count, 2u);
  EXPECT_EQ(d.depth.count, 2u);
  ASSERT_EQ(d.raw.count, 2u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(d.raw.items[0].data() + 16)), "Close mode");
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(d.raw.items[1].data() + 16)), "Long mode");
  EXPECT_EQ(load_u32_le(d.raw.items[1].data() + 32), 1u);
  EXPECT_EQ(load_u32_le(d.rectify.items[1].data() + 24), 1u);
}

TEST(CalibFlashImage, StatusTwoIsLongModeButNotLongRange) {
  flash_input input({synthetic_config_text({{"basic", "mipi_channel_status", "2"}})});
  const generated g = generate(&input.list);
  ASSERT_EQ(g.result, 0);
  const decoded_image d = decode_all(g);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(d.raw.items[0].data() + 16)), "Long mode");
  EXPECT_EQ(load_u32_le(d.raw.items[0].data() + 32), 0u);
}

TEST(CalibFlashImage, CallerTimeStampsMainSectionsButNotTheRawSection) {
  flash_input input({synthetic_config_text()});
  const auto before = static_cast<uint32_t>(std::time(nullptr));
  const generated g = generate(&input.list, 1700000000);
  const auto after = static_cast<uint32_t>(std::time(nullptr));
  ASSERT_EQ(g.result, 0);
  const decoded_image d = decode_all(g);
  EXPECT_EQ(d.rectify.timestamp, 1700000000u);
  EXPECT_EQ(d.d2c.timestamp, 1700000000u);
  EXPECT_EQ(d.depth.timestamp, 1700000000u);
  EXPECT_GE(d.raw.timestamp, before);
  EXPECT_LE(d.raw.timestamp, after);
}

TEST(CalibFlashImage, ZeroOrNegativeTimeStampMeansNow) {
  for (const int64_t timestamp : {int64_t{0}, int64_t{-5}}) {
    flash_input input({synthetic_config_text()});
    const auto before = static_cast<uint32_t>(std::time(nullptr));
    const generated g = generate(&input.list, timestamp, false);
    const auto after = static_cast<uint32_t>(std::time(nullptr));
    ASSERT_EQ(g.result, 0);
    const decoded_image d = decode_all(g, false);
    EXPECT_GE(d.depth.timestamp, before);
    EXPECT_LE(d.depth.timestamp, after);
    EXPECT_EQ(d.rectify.timestamp, d.depth.timestamp);
  }
}

TEST(CalibFlashImage, TextThatNamesNoFileIsTakenAsConfigurationText) {
  flash_input input({synthetic_config_text()});
  const generated g = generate(&input.list, 1700000000, false);
  ASSERT_EQ(g.result, 0);
  EXPECT_EQ(g.console.out.rfind("input config params is file content\n", 0), 0u);
  EXPECT_EQ(g.messages.front(), "input config params is file content\n");
}

TEST(CalibFlashImage, PathThatOpensIsLoadedAsAFile) {
  deflash_test::temp_dir dir;
  const std::string path = dir.write("close.ini", synthetic_config_text());
  flash_input input({path});
  const generated g = generate(&input.list, 1700000000, false);
  ASSERT_EQ(g.result, 0);
  EXPECT_EQ(g.console.out.rfind("input config params is file path\n", 0), 0u);
  EXPECT_EQ(g.messages.front(), "input config params is file path\n");
}

TEST(CalibFlashImage, ConfigurationFailureStopsTheLoop) {
  flash_input input({synthetic_config_text(), "[basic]\nbaseline = 50\n"});
  const generated g = generate(&input.list);
  EXPECT_EQ(g.result, -2);
  EXPECT_NE(g.console.out.find("error: load_input_configs, config_num=1,error_code=-2 \n"),
            std::string::npos);
  EXPECT_EQ(g.messages.back(), "error: load_input_configs failed\n");
  // The first configuration's items are there, but no headers.
  EXPECT_EQ(load_u32_le(g.main.data()), 0xFFFFFFFFu);
  EXPECT_NE(g.main[60], 0xFF);
}

TEST(CalibFlashImage, CalibrationIntakeFailureIsReported) {
  SocCalibParams_S calib = deflash_test::synthetic_calibration();
  calib.camera[0].width = 0.0f;
  flash_input input({synthetic_config_text()}, calib);
  const generated g = generate(&input.list);
  EXPECT_EQ(g.result, -2);
  EXPECT_NE(
      g.console.out.find("left camera params error \n"
                         "error: set_calibrate_params_multi for config number= 0, error code=-2\n"),
      std::string::npos)
      << g.console.out;
  EXPECT_EQ(g.messages.back(), "error: set_calibrate_params_multi failed\n");
}

TEST(CalibFlashImage, AlignmentFailureIsReported) {
  flash_input input({synthetic_config_text()});
  const float cold[3] = {25.0f, 25.0f, 0.0f};
  input.temperature_ptrs[0] = cold;
  const generated g = generate(&input.list);
  EXPECT_EQ(g.result, -2);
  EXPECT_NE(g.console.out.find(
                "ldm:0.000000error: align_ir_ir_rgb_params_to_register_converter for config "
                "number=0, error code=-2\n"),
            std::string::npos)
      << g.console.out;
  EXPECT_EQ(g.messages.back(), "error: align_ir_ir_rgb_params_to_register_converter failed\n");
}

TEST(CalibFlashImage, ShortMainBufferIsRefusedBeforeAnyWrite) {
  flash_input input({synthetic_config_text()});
  const generated g = generate(&input.list, 1700000000, false, kMainBytes - 1);
  EXPECT_EQ(g.result, -2);
  EXPECT_EQ(
      g.console.out,
      "error: file_buff_out_size 20479 is smaller than the calibration image (20480 bytes)\n");
  EXPECT_EQ(g.messages, std::vector<std::string>{
                            "error: file_buff_out_size is smaller than the calibration image\n"});
  for (const uint8_t byte : g.main) ASSERT_EQ(byte, 0xA5);
}

TEST(CalibFlashImage, RawItemThatDoesNotFitTheSecondBufferFails) {
  flash_input input({synthetic_config_text({{"basic", "mipi_channel_status", "0"}}),
                     synthetic_config_text({{"basic", "mipi_channel_status", "1"}})});
  // Room for the header and one 6288-byte item, not two.
  const int raw_size = 60 + 6288 + 100;
  const generated g = generate(&input.list, 1700000000, true, kMainBytes, raw_size);
  EXPECT_EQ(g.result, -2);
  EXPECT_NE(g.console.out.find(
                "error: no room for entry 2 of calibration table 0x16 in the output buffer\n"),
            std::string::npos);
  EXPECT_EQ(g.messages.back(), "error: calibration table does not fit the output buffer\n");
  expect_guard_bytes_untouched(g, kMainBytes, raw_size);
}

TEST(CalibFlashImage, MoreThanTenDistinctEntriesInOneTableFail) {
  std::vector<std::string> texts;
  for (int i = 1; i <= 11; ++i) {
    texts.push_back(synthetic_config_text({{"basic", "ref_dist", std::to_string(i * 100)}}));
  }
  flash_input input(texts);
  const generated g = generate(&input.list, 1700000000, false);
  EXPECT_EQ(g.result, -2);
  EXPECT_NE(g.console.out.find("error: more than 10 distinct entries for calibration table 0x0A\n"),
            std::string::npos);
  EXPECT_EQ(g.messages.back(), "error: too many distinct entries for one calibration table\n");
  // Ten items were written; the eleventh slot is still erased.
  EXPECT_EQ(g.main[0x4000 + 60 + 10 * 60], 0xFF);
  EXPECT_NE(g.main[0x4000 + 60 + 9 * 60], 0xFF);
}

TEST(CalibFlashImage, TenDistinctEntriesFit) {
  std::vector<std::string> texts;
  for (int i = 1; i <= 10; ++i) {
    texts.push_back(synthetic_config_text({{"basic", "ref_dist", std::to_string(i * 100)}}));
  }
  flash_input input(texts);
  const generated g = generate(&input.list, 1700000000, false);
  ASSERT_EQ(g.result, 0);
  EXPECT_EQ(decode_all(g, false).depth.count, 10u);
}

TEST(CalibFlashImage, EncodingTwiceGivesTheSameBytes) {
  flash_input input({synthetic_config_text({{"basic", "mipi_channel_status", "0"}}),
                     synthetic_config_text({{"basic", "mipi_channel_status", "1"}})});
  const generated first = generate(&input.list, 1700000000, false);
  const generated second = generate(&input.list, 1700000000, false);
  ASSERT_EQ(first.result, 0);
  EXPECT_EQ(first.main, second.main);
}

TEST(CalibFlashImage, BufferSizeIs20480WithoutTheOptionalSection) {
  SocCalibFlashInput_S list{};
  uint32_t size = 0;
  get_soc_file_buffer_size(&list, &size);
  EXPECT_EQ(size, 20480u);
  list.optional_section = "optional";
  get_soc_file_buffer_size(&list, &size);
  EXPECT_EQ(size, 20480u);  // the flag is clear
}

TEST(CalibFlashImage, BufferSizeNeedsBothFlagAndRequest) {
  deflash::module_calib_image().d2c.optional_section_flag = 1;
  SocCalibFlashInput_S list{};
  uint32_t size = 0;
  get_soc_file_buffer_size(&list, &size);
  EXPECT_EQ(size, 20480u);
  list.optional_section = "";
  get_soc_file_buffer_size(&list, &size);
  EXPECT_EQ(size, 20480u);
  list.optional_section = "optional";
  get_soc_file_buffer_size(&list, &size);
  EXPECT_EQ(size, 24576u);
  deflash::module_calib_image().d2c.optional_section_flag = 0;
}
