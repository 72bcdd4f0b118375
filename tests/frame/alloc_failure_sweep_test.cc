// Every export that builds an image or updates one, with its first, second,
// third ... allocation failing, up to the first call that makes no more:
// the host always gets a result back, a failed call reports a failure and
// leaves no file behind, and a normal call afterwards still writes the
// reference bytes. Also: module state stays whole when an allocation fails.
// This executable replaces the global operator new
// (support/failing_allocator.cc).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "de_config/example_inputs.h"
#include "deflash/calib_image.h"
#include "deflash/de_config.h"
#include "deflash/frame.h"
#include "deflash/rectify.h"
#include "frame/byte_view.h"
#include "frame/byte_writer.h"
#include "frame/crc32.h"
#include "rectify/rectify_registers_state.h"
#include "support/console_capture.h"
#include "support/failing_allocator.h"
#include "support/flash_input.h"
#include "support/synthetic_module.h"
#include "support/temp_files.h"

namespace {

using deflash::kHeaderCrcOffset;
using deflash::kHeaderLengthOffset;
using deflash::kHeaderTimestampOffset;
using deflash_test::capture_console;
using deflash_test::fail_allocation_at;
using deflash_test::read_file;

// A sweep that has not met a whole call by then is a runaway, not a result.
constexpr long kMaxSweptAllocations = 100000;
constexpr int64_t kTimestamp = 1700000000;
constexpr int kMainBytes = 20480;
// The raw-calibration section with two items fits two 4096-byte pages.
constexpr int kRawBytes = 16384;
constexpr int kStartRowBytes = 16384;
constexpr std::size_t kDeImageBytes = 16384;
constexpr char kOutOfMemory[] = "error: out of memory\n";

// The host's log callback, allocating nothing while it runs: it counts the
// messages and the out-of-memory ones among them.
struct host_log {
  int messages = 0;
  int out_of_memory = 0;
  std::function<void(const char*)> callback = [this](const char* m) {
    ++messages;
    if (std::strcmp(m, kOutOfMemory) == 0) ++out_of_memory;
  };
};

struct sweep_outcome {
  long failed_calls = 0;  ///< calls whose armed allocation was reached
  std::string console;    ///< everything they printed on standard output
};

// Calls `call` with allocation 1, 2, ... failing until one call completes
// without reaching the armed allocation. `call` runs the export alone (the
// test's own code allocates nothing while the allocator is armed);
// `succeeded` then tells from what the export returned and left behind
// whether a host reads the call as a success. Every call must return (an
// exception through an export fails the test), and it must read as a
// failure exactly when its allocation failed.
template <typename Call, typename Succeeded>
sweep_outcome sweep_allocation_failures(Call call, Succeeded succeeded) {
  sweep_outcome outcome;
  for (long n = 1; n <= kMaxSweptAllocations; ++n) {
    bool failed_allocation = false;
    outcome.console += capture_console([&] {
                         fail_allocation_at(n);
                         call();
                         failed_allocation = deflash_test::disarm_allocation_failure();
                       }).out;
    if (!failed_allocation) {
      EXPECT_TRUE(succeeded()) << "the whole call failed";
      std::printf("%ld calls with one allocation failing, then one whole call\n",
                  outcome.failed_calls);
      return outcome;
    }
    ++outcome.failed_calls;
    EXPECT_FALSE(succeeded()) << "allocation " << n << " failed unreported";
    if (testing::Test::HasFailure()) return outcome;
  }
  ADD_FAILURE() << "no call completed within " << kMaxSweptAllocations << " allocations";
  return outcome;
}

// Temporary files a replacing write left in `dir` (named ".<target>.<tag>.tmp").
std::vector<std::string> temporary_files(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string name = entry.path().filename().string();
    if (name.size() > 4 && name.front() == '.' && name.compare(name.size() - 4, 4, ".tmp") == 0) {
      names.push_back(name);
    }
  }
  return names;
}

// Occurrences of `line` in `text`.
int count_lines(const std::string& text, const std::string& line) {
  int count = 0;
  for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) {
    ++count;
  }
  return count;
}

// Checks a section's own CRC, then blanks its time and CRC so that two
// images written at different times compare equal.
void mask_section_time(std::vector<uint8_t>& image, std::size_t offset) {
  ASSERT_GE(image.size(), offset + deflash::kSectionHeaderBytes);
  uint8_t* section = image.data() + offset;
  const uint32_t stored = deflash::load_u32_le(section + kHeaderCrcOffset);
  deflash::store_u32_le(section + kHeaderCrcOffset, 0);
  const uint32_t length = deflash::load_u32_le(section + kHeaderLengthOffset);
  ASSERT_LE(offset + length, image.size());
  EXPECT_EQ(deflash::crc32(0, section, length), stored) << "section at " << offset;
  deflash::store_u32_le(section + kHeaderTimestampOffset, 0);
}

// The synthetic module in two modes (close and long range) and the close
// mode again: two conversions per image and a repeated mode skipped.
class AllocationFailureSweep : public testing::Test {
 protected:
  AllocationFailureSweep()
      : input_({deflash_test::synthetic_config_text(),
                deflash_test::synthetic_config_text({{"basic", "mipi_channel_status", "1"}}),
                deflash_test::synthetic_config_text()}) {}

  // The buffers are the caller's and exist before the call.
  int generate_calibration(std::vector<uint8_t>& main, std::vector<uint8_t>& raw, host_log& log) {
    return gen_soc_calib_flash_param_de(&input_.list, main.data(), &log.callback, kMainBytes,
                                        kTimestamp, raw.data(), kRawBytes);
  }

  int generate_start_rows(std::vector<uint8_t>& image, host_log& log) {
    return gen_soc_start_row_param_de(&input_.list, image.data(), &log.callback, kStartRowBytes);
  }

  // The main calibration image of a normal call, written to a file.
  std::string calibration_file() {
    std::vector<uint8_t> main(kMainBytes), raw(kRawBytes);
    host_log log;
    capture_console([&] { EXPECT_EQ(generate_calibration(main, raw, log), 0); });
    return dir_.write("calib.bin", main);
  }

  // The focal length of the first depth-calculation entry of `image`.
  static float first_focal_length(const std::vector<uint8_t>& image) {
    return deflash::load_f32_le(image.data() + deflash::kDepthSection.offset +
                                deflash::kSectionHeaderBytes +
                                deflash::kDepthItemFocalLengthOffset);
  }

  // Sweeps one file update: `update` writes `out` and returns its result. A
  // failed update leaves no output file; the last one's output is returned.
  template <typename Update>
  std::vector<uint8_t> sweep_update(const char* name, const std::string& out, Update update) {
    int result = 0;
    const sweep_outcome sweep = sweep_allocation_failures(
        [&] {
          std::remove(out.c_str());
          result = update();
        },
        [&] {
          const bool written = deflash_test::file_exists(out);
          EXPECT_TRUE(result == 0 || !written) << "a failed update wrote its output";
          EXPECT_EQ(temporary_files(dir_.path()), std::vector<std::string>{});
          return result == 0 && written;
        });
    EXPECT_GT(sweep.failed_calls, 0);
    EXPECT_GT(count_lines(sweep.console, std::string("error: ") + name + ": out of memory\n"), 0);
    return read_file(out);
  }

  deflash_test::flash_input input_;
  deflash_test::temp_dir dir_;
};

}  // namespace

TEST_F(AllocationFailureSweep, CalibrationImage) {
  std::vector<uint8_t> reference_main(kMainBytes), reference_raw(kRawBytes);
  std::vector<uint8_t> main(kMainBytes), raw(kRawBytes);
  host_log log;
  capture_console([&] { ASSERT_EQ(generate_calibration(reference_main, reference_raw, log), 0); });

  int result = 0;
  const sweep_outcome sweep = sweep_allocation_failures(
      [&] { result = generate_calibration(main, raw, log); }, [&] { return result == 0; });
  EXPECT_GT(sweep.failed_calls, 100);
  // The configuration loader turns a failed allocation inside the INI layer
  // into its own result; every other one reaches the export's guard.
  EXPECT_GT(count_lines(sweep.console, "error: gen_soc_calib_flash_param_de: out of memory\n"), 0);
  EXPECT_GT(log.out_of_memory, 0);

  capture_console([&] { ASSERT_EQ(generate_calibration(main, raw, log), 0); });
  EXPECT_EQ(main, reference_main);
  // The raw section carries the current time.
  mask_section_time(raw, 0);
  mask_section_time(reference_raw, 0);
  EXPECT_EQ(raw, reference_raw);
}

TEST_F(AllocationFailureSweep, StartRowImage) {
  std::vector<uint8_t> reference(kStartRowBytes), image(kStartRowBytes);
  host_log log;
  capture_console([&] { ASSERT_EQ(generate_start_rows(reference, log), 0); });

  int result = 0;
  const sweep_outcome sweep = sweep_allocation_failures(
      [&] { result = generate_start_rows(image, log); }, [&] { return result == 0; });
  EXPECT_GT(sweep.failed_calls, 100);
  EXPECT_GT(count_lines(sweep.console, "error: gen_soc_start_row_param_de: out of memory\n"), 0);
  EXPECT_GT(log.out_of_memory, 0);

  capture_console([&] { ASSERT_EQ(generate_start_rows(image, log), 0); });
  EXPECT_EQ(image, reference);
}

TEST_F(AllocationFailureSweep, DepthEngineImage) {
  const deflash_test::example_inputs inputs(std::string(DEFLASH_SOURCE_DIR) + "/examples/module");
  const std::string out = dir_.file("de.bin");
  const std::vector<uint8_t> golden =
      read_file(std::string(DEFLASH_TEST_DATA_DIR) + "/de_config_example.bin");
  ASSERT_EQ(golden.size(), kDeImageBytes);

  bool returned = false;
  const sweep_outcome sweep = sweep_allocation_failures(
      [&] {
        std::remove(out.c_str());
        returned = gen_depth_engine_config_flash_file_de(&inputs.files(), out.c_str());
      },
      [&] {
        // Hosts read a failure as false, or as true with an empty file.
        const std::size_t size = read_file(out).size();
        EXPECT_TRUE(size == 0 || size == kDeImageBytes) << "a partial image: " << size;
        EXPECT_EQ(temporary_files(dir_.path()), std::vector<std::string>{});
        return returned && size == kDeImageBytes;
      });
  EXPECT_GT(sweep.failed_calls, 50);
  // The very first allocation fails before any file is opened.
  EXPECT_EQ(sweep.console.rfind("error: gen_depth_engine_config_flash_file_de: out of memory\n", 0),
            0u);

  capture_console(
      [&] { EXPECT_TRUE(gen_depth_engine_config_flash_file_de(&inputs.files(), out.c_str())); });
  EXPECT_EQ(read_file(out), golden);
}

TEST_F(AllocationFailureSweep, BaselineUpdate) {
  const std::string in = calibration_file();
  const std::string out = dir_.file("depth.bin");
  const auto update = [&] { return update_soc_baseline_de(in.c_str(), 42.5f, out.c_str(), -1); };
  capture_console([&] { ASSERT_EQ(update(), 0); });
  std::vector<uint8_t> reference = read_file(out);

  std::vector<uint8_t> updated = sweep_update("update_soc_baseline_de", out, update);
  mask_section_time(updated, 0);
  mask_section_time(reference, 0);
  EXPECT_EQ(updated, reference);
}

TEST_F(AllocationFailureSweep, MultiBaselineUpdate) {
  const std::string in = calibration_file();
  const std::string out = dir_.file("depth.bin");
  const float focal = first_focal_length(read_file(in));
  const float fb_set[4] = {focal, 41.0f, focal + 500.0f, 7.0f};
  const auto update = [&] {
    return update_soc_multi_baseline_de(in.c_str(), fb_set, 2, out.c_str());
  };
  capture_console([&] { ASSERT_EQ(update(), 0); });
  std::vector<uint8_t> reference = read_file(out);

  std::vector<uint8_t> updated = sweep_update("update_soc_multi_baseline_de", out, update);
  mask_section_time(updated, 0);
  mask_section_time(reference, 0);
  EXPECT_EQ(updated, reference);
}

TEST_F(AllocationFailureSweep, FocalLengthUpdate) {
  const std::string in = calibration_file();
  const std::string out = dir_.file("calib_fb.bin");
  const float focal = first_focal_length(read_file(in));
  const float fb_set[2] = {focal + 2.0f, 43.0f};
  const auto update = [&] {
    return update_soc_multi_fb_d2c_de(in.c_str(), fb_set, 1, out.c_str());
  };
  capture_console([&] { ASSERT_EQ(update(), 0); });
  std::vector<uint8_t> reference = read_file(out);

  std::vector<uint8_t> updated = sweep_update("update_soc_multi_fb_d2c_de", out, update);
  for (std::vector<uint8_t>* image : {&updated, &reference}) {
    mask_section_time(*image, deflash::kD2cSection.offset);
    mask_section_time(*image, deflash::kDepthSection.offset);
  }
  EXPECT_EQ(updated, reference);
}

// A camera prepared again whose new start-row table cannot be allocated
// keeps the table it had: nothing is freed before the new one exists.
TEST(AllocationFailure, PreparingACameraAgainKeepsItsTableWhenTheNewOneCannotBeAllocated) {
  deflash::reset_rectify_registers();
  const DeCameraIntrinsic_S source{600.0f, 600.0f, 320.0f, 200.0f, 640, 400};
  const DeCameraIntrinsic_S virtual_camera{500.0f, 500.0f, 320.0f, 200.0f, 640, 400};
  const float distortion[8] = {};
  const float rotation[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const uint8_t reserved[2] = {2, 3};
  const auto prepare = [&] {
    return soc_set_rectify_params_brown(CAMERA_ID_TARGET, &source, distortion, rotation,
                                        &virtual_camera, reserved, nullptr, nullptr);
  };
  ASSERT_EQ(prepare(), 0u);
  const deflash::rectify_camera_state& camera = deflash::rectify_registers().camera[1];
  const std::vector<int32_t> table(camera.start_rows_lut, camera.start_rows_lut + 400);

  uint32_t result = 0;
  bool failed_allocation = false;
  const std::string console = capture_console([&] {
                                fail_allocation_at(1);
                                result = prepare();
                                failed_allocation = deflash_test::disarm_allocation_failure();
                              }).out;
  ASSERT_TRUE(failed_allocation);
  EXPECT_EQ(result, 0xFFFFFFFFu);
  EXPECT_EQ(console, "error: soc_set_rectify_params_brown: out of memory\n");
  ASSERT_EQ(camera.start_rows_lut_rows, 400);
  EXPECT_EQ(std::vector<int32_t>(camera.start_rows_lut, camera.start_rows_lut + 400), table);
  deflash::reset_rectify_registers();
}
