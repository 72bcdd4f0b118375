// The start-row flash image: one entry per distinct rectification mode.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "deflash/calib_image.h"
#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "support/calib_image_decoder.h"
#include "support/console_capture.h"
#include "support/flash_input.h"
#include "support/synthetic_module.h"

namespace {

using deflash_test::capture_console;
using deflash_test::decode_start_row_image;
using deflash_test::decoded_start_row_image;
using deflash_test::flash_input;
using deflash_test::synthetic_config_text;

constexpr int kBufferBytes = 64 * 1024;

struct generated {
  int result = 0;
  std::vector<uint8_t> image;
  std::vector<std::string> messages;
  deflash_test::console_output console;
};

generated generate(const SocCalibFlashInput_S* list, int size = kBufferBytes) {
  generated g;
  g.image.assign(static_cast<std::size_t>(std::max(size, 0)) + 16, 0xA5);
  std::function<void(const char*)> callback = [&](const char* m) { g.messages.emplace_back(m); };
  g.console = capture_console(
      [&] { g.result = gen_soc_start_row_param_de(list, g.image.data(), &callback, size); });
  return g;
}

decoded_start_row_image decode(const generated& g, int size = kBufferBytes) {
  decoded_start_row_image d;
  const std::vector<uint8_t> stated(g.image.begin(), g.image.begin() + size);
  EXPECT_EQ(decode_start_row_image(stated, &d), "");
  for (std::size_t i = static_cast<std::size_t>(size); i < g.image.size(); ++i) {
    EXPECT_EQ(g.image[i], 0xA5) << "byte past the stated size was written: " << i;
  }
  return d;
}

}  // namespace

TEST(StartRowImage, ArgumentChecksMatchTheCalibrationImage) {
  generated g = generate(nullptr);
  EXPECT_EQ(g.result, -2);
  EXPECT_EQ(g.console.out, "error: input config_input_file_list or file_buff_out is invalid\n");
  flash_input input({synthetic_config_text()});
  input.list.calib_params_num = 0;
  g = generate(&input.list);
  EXPECT_EQ(g.result, -6);
  EXPECT_EQ(g.messages,
            std::vector<std::string>{"error: calib params nums not match the config file num or "
                                     "calib_temperature_num\n"});
  input.list.calib_params_num = 1;
  input.list.config_file_list = nullptr;
  g = generate(&input.list);
  EXPECT_EQ(g.result, -2);
  EXPECT_EQ(g.console.out,
            "error: params error, calib_params_list or config_file_list or calib_temperature_list "
            "== nullptr\n");
}

TEST(StartRowImage, NoConfigurationGivesAnEmptyFortyEightByteSection) {
  flash_input input({});
  const generated g = generate(&input.list);
  ASSERT_EQ(g.result, 0);
  const decoded_start_row_image d = decode(g);
  EXPECT_EQ(d.length, 48u);
  EXPECT_TRUE(d.entries.empty());
  EXPECT_EQ(d.reference_address, 0u);
  EXPECT_EQ(d.reference_count, 0u);
}

TEST(StartRowImage, OneModeCarriesBothCamerasTables) {
  flash_input input({synthetic_config_text()});
  const generated g = generate(&input.list);
  ASSERT_EQ(g.result, 0) << g.console.out << g.console.err;
  const decoded_start_row_image d = decode(g);
  ASSERT_EQ(d.entries.size(), 1u);
  const auto& entry = d.entries[0];
  EXPECT_EQ(entry.rows, 800);
  EXPECT_EQ(d.length, 48u + 44u + 800u * 8u);
  EXPECT_EQ(d.reference_address, 0x52082000u);
  EXPECT_EQ(d.reference_count, 800u);
  EXPECT_EQ(entry.key,
            (std::vector<uint8_t>{0x00, 0x05, 0x20, 0x03, 0x00, 0x05, 0x20, 0x03, 0, 0, 0, 0}));
  // The end marker rows + 23 closes both tables, in sign-and-magnitude form.
  EXPECT_EQ(entry.target.back(), 823u);
  EXPECT_EQ(entry.reference.back(), 823u);
  // Start rows never decrease along the table (magnitudes of non-negative rows).
  for (std::size_t i = 1; i < entry.target.size(); ++i) {
    if ((entry.target[i - 1] & 0x800u) == 0) {
      EXPECT_GE(entry.target[i], entry.target[i - 1]) << i;
    }
  }
}

TEST(StartRowImage, SameSizesAndRangeGiveOneEntry) {
  flash_input input({synthetic_config_text({{"basic", "ref_dist", "400"}}),
                     synthetic_config_text({{"basic", "ref_dist", "1500"}})});
  const generated g = generate(&input.list);
  ASSERT_EQ(g.result, 0);
  EXPECT_EQ(decode(g).entries.size(), 1u);
}

TEST(StartRowImage, LongRangeGivesASecondEntry) {
  flash_input input({synthetic_config_text({{"basic", "mipi_channel_status", "0"}}),
                     synthetic_config_text({{"basic", "mipi_channel_status", "1"}})});
  const generated g = generate(&input.list);
  ASSERT_EQ(g.result, 0);
  const decoded_start_row_image d = decode(g);
  ASSERT_EQ(d.entries.size(), 2u);
  EXPECT_EQ(d.entries[1].key[8], 1);
  EXPECT_EQ(d.length, 48u + 2u * (44u + 800u * 8u));
}

TEST(StartRowImage, SourceHeightOf480GivesA3884ByteEntry) {
  // 800 rows cropped by 320 leave 480.
  flash_input input({synthetic_config_text({{"rectify", "src_img_top_chop", "320"}})});
  const generated g = generate(&input.list);
  ASSERT_EQ(g.result, 0) << g.console.out;
  const decoded_start_row_image d = decode(g);
  ASSERT_EQ(d.entries.size(), 1u);
  EXPECT_EQ(d.entries[0].rows, 480);
  EXPECT_EQ(deflash::load_u32_le(g.image.data() + 48 + 8), 3872u);
  EXPECT_EQ(d.length, 48u + 44u + 3840u);
}

TEST(StartRowImage, BufferTooSmallForTheEntryFails) {
  flash_input input({synthetic_config_text()});
  const int size = 48 + 44 + 800 * 8 - 1;
  const generated g = generate(&input.list, size);
  EXPECT_EQ(g.result, -2);
  EXPECT_NE(g.console.out.find("error: start-row entry of 6444 bytes at offset 48 does not fit the "
                               "output buffer of 6491 bytes\n"),
            std::string::npos)
      << g.console.out;
  EXPECT_EQ(g.messages.back(), "error: start-row image does not fit the output buffer\n");
  for (std::size_t i = static_cast<std::size_t>(size); i < g.image.size(); ++i) {
    ASSERT_EQ(g.image[i], 0xA5);
  }
}

TEST(StartRowImage, BufferTooSmallForTheHeaderFails) {
  flash_input input({});
  const generated g = generate(&input.list, 47);
  EXPECT_EQ(g.result, -2);
  EXPECT_EQ(g.console.out,
            "error: file_buff_out_size 47 cannot hold the start-row section header\n");
  for (const uint8_t byte : g.image) ASSERT_EQ(byte, 0xA5);
}

TEST(StartRowImage, ConfigurationFailureLeavesNoHeader) {
  flash_input input({synthetic_config_text(), "[basic]\n"});
  const generated g = generate(&input.list);
  EXPECT_EQ(g.result, -2);
  EXPECT_NE(g.console.out.find("error: load_input_configs, config_num=1,error_code=-2 \n"),
            std::string::npos);
  EXPECT_EQ(deflash::load_u32_le(g.image.data()), 0xFFFFFFFFu);
  EXPECT_EQ(deflash::load_u32_le(g.image.data() + 48), 0x46446115u);
}
