// Tests of the rectification register tables and start-row sections: the
// preparation of each camera, the conversion with its messages, and the
// hand-over of the start-row sections.
#include "rectify/register_elements.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "deflash/rectify.h"
#include "deflash/result_codes.h"
#include "rectify/rectify_registers_state.h"
#include "support/console_capture.h"

namespace {

using deflash::rectify_register_table;
using deflash::rectify_registers;
using deflash::register_element;
using deflash_test::capture_console;

constexpr uint32_t kInvalid = 0xFFFFFFFEu;
constexpr uint32_t kOutOfRange = DRIVER_HELPER_PARAM_OUT_OF_RANGE;

struct message_sink {
  std::vector<std::string> messages;
};

void collect(void* ctx, const char* msg) {
  static_cast<message_sink*>(ctx)->messages.emplace_back(msg);
}

// For the converter that decides on the context: messages sent without one.
std::vector<std::string>& context_free_messages() {
  static std::vector<std::string> messages;
  return messages;
}

void collect_without_context(void*, const char* msg) { context_free_messages().emplace_back(msg); }

// One camera's inputs to the preparation.
struct camera_setup {
  DeCameraIntrinsic_S src;
  std::array<float, 8> distortion;
  std::array<float, 9> rotation;
  DeCameraIntrinsic_S dst;
  std::array<uint8_t, 2> reserved;
};

constexpr std::array<float, 9> kIdentityRotation = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// Virtual camera with focal length 512 and integral centre: the matrix terms
// are exact binary fractions, so their register codes are easy to state.
camera_setup target_setup() {
  return {{600.0f, 600.0f, 640.0f, 400.0f, 1280, 800},
          {-0.05f, 0.02f, -0.001f, 0.0f, 0.0f, 0.0f, 1e-4f, -1e-4f},
          kIdentityRotation,
          {512.0f, 512.0f, 640.0f, 400.0f, 1280, 800},
          {2, 3}};
}

camera_setup ref_setup() {
  camera_setup setup = target_setup();
  setup.src.fx = 610.0f;
  setup.src.fy = 610.0f;
  setup.src.cx = 630.0f;
  setup.src.cy = 405.0f;
  return setup;
}

uint32_t prepare(int32_t cam_id, const camera_setup& s, message_sink* sink = nullptr) {
  return soc_set_rectify_params_brown(cam_id, &s.src, s.distortion.data(), s.rotation.data(),
                                      &s.dst, s.reserved.data(), sink,
                                      sink != nullptr ? collect : nullptr);
}

// Every test starts from a freshly loaded library.
class RectifyRegisters : public testing::Test {
 protected:
  void SetUp() override {
    deflash::reset_rectify_registers();
    context_free_messages().clear();
  }
  void TearDown() override { deflash::reset_rectify_registers(); }

  void prepare_pair() {
    ASSERT_EQ(prepare(CAMERA_ID_TARGET, target_setup()), 0u);
    ASSERT_EQ(prepare(CAMERA_ID_REF, ref_setup()), 0u);
  }

  // Replaces a prepared camera's start rows by `rows`.
  void set_start_rows(int32_t cam_id, const std::vector<int32_t>& rows) {
    const auto count = static_cast<int32_t>(rows.size());
    int32_t* lut = deflash::replace_start_rows_lut(cam_id, count);
    for (int32_t i = 0; i < count; ++i) lut[i] = rows[static_cast<std::size_t>(i)];
    rectify_registers().start_rows_count = count;
  }

  std::array<register_element, 24> table_copy(int32_t cam_id) {
    std::array<register_element, 24> copy{};
    const register_element* table = rectify_register_table(cam_id);
    for (std::size_t i = 0; i < copy.size(); ++i) copy[i] = table[i];
    return copy;
  }

  message_sink sink_;
};

void expect_same_values(const std::array<register_element, 24>& before,
                        const register_element* after, std::size_t first, std::size_t last) {
  for (std::size_t i = first; i <= last; ++i) {
    EXPECT_EQ(after[i].value, before[i].value) << "element " << i;
  }
}

}  // namespace

TEST_F(RectifyRegisters, TargetTableAddressesAndMasks) {
  const std::array<uint32_t, 24> addresses = {
      0x52000010, 0x52000020, 0x52000024, 0x52000028, 0x5200002C, 0x52000030,
      0x52000034, 0x52000038, 0x5200003C, 0x52000040, 0x52000050, 0x52000054,
      0x52000058, 0x5200005C, 0x52000060, 0x52000064, 0x52000068, 0x5200006C,
      0x52000070, 0x52000080, 0x52000084, 0x52000088, 0x5200008C, 0};
  const register_element* table = rectify_register_table(CAMERA_ID_TARGET);
  for (std::size_t i = 0; i < 24; ++i) {
    EXPECT_EQ(table[i].address, addresses[i]) << i;
    const uint32_t mask = i == 0 ? 0x0FFF0FFFu : i == 23 ? 0u : 0xFFFFFFFFu;
    EXPECT_EQ(table[i].mask, mask) << i;
    EXPECT_EQ(table[i].value, 0u) << i;
  }
}

TEST_F(RectifyRegisters, ReferenceTableAddressesAndMasks) {
  const std::array<uint32_t, 24> addresses = {
      0x52080010, 0x52080020, 0x52080024, 0x52080028, 0x5208002C, 0x52080030,
      0x52080034, 0x52080038, 0x5208003C, 0x52080040, 0x52080050, 0x52080054,
      0x52080058, 0x5208005C, 0x52080060, 0x52080064, 0x52080068, 0x5208006C,
      0x52080070, 0x52080080, 0x52080084, 0x52080088, 0x5208008C, 0};
  const register_element* table = rectify_register_table(CAMERA_ID_REF);
  for (std::size_t i = 0; i < 24; ++i) {
    EXPECT_EQ(table[i].address, addresses[i]) << i;
    const uint32_t mask = i == 0 ? 0x0FFF0FFFu : i == 23 ? 0u : 0xFFFFFFFFu;
    EXPECT_EQ(table[i].mask, mask) << i;
    EXPECT_EQ(table[i].value, 0u) << i;
  }
}

TEST_F(RectifyRegisters, ConvertingBeforeAnyPreparationIsRefused) {
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), kInvalid);
  });
  EXPECT_EQ(out.err, "need to set rectify params! \n");
  EXPECT_EQ(out.out, "");
  EXPECT_EQ(sink_.messages, std::vector<std::string>{"need to set rectify params! \n"});
}

TEST_F(RectifyRegisters, PreparedPairFillsBothTables) {
  prepare_pair();
  const auto out = capture_console(
      [&] { EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), 0u); });
  EXPECT_EQ(out.out, "");
  EXPECT_EQ(out.err, "");
  EXPECT_TRUE(sink_.messages.empty());

  const register_element* target = rectify_register_table(CAMERA_ID_TARGET);
  EXPECT_EQ(target[0].value, 0x03200500u);  // 1280 | 800 << 16
  // Distortion terms at 24 fraction bits: k1, k2, k3, 2p1, 3p2, p2, 2p2, p1, 3p1.
  const std::array<uint32_t, 9> kk = {0xFFF33333, 0x00051EB8, 0xFFFFBE77, 0x00000D1B, 0xFFFFEC57,
                                      0xFFFFF972, 0xFFFFF2E5, 0x0000068E, 0x000013A9};
  for (std::size_t j = 0; j < 9; ++j) EXPECT_EQ(target[1 + j].value, kk[j]) << "k" << j;
  // M = K_dst^-1: 1/512 at 39 bits, -640/512 and -400/512 at 30 bits, 1 at 31 bits.
  const std::array<uint32_t, 9> r = {0x40000000, 0, 0xB0000000, 0,         0x40000000,
                                     0xCE000000, 0, 0,          0x80000000};
  for (std::size_t j = 0; j < 9; ++j) EXPECT_EQ(target[10 + j].value, r[j]) << "r" << j;
  EXPECT_EQ(target[19].value, 600u << 20);
  EXPECT_EQ(target[20].value, 600u << 20);
  EXPECT_EQ(target[21].value, 640u << 20);
  EXPECT_EQ(target[22].value, 400u << 20);
  EXPECT_EQ(target[23].value, 0u);

  const register_element* ref = rectify_register_table(CAMERA_ID_REF);
  EXPECT_EQ(ref[0].value, 0x03200500u);
  EXPECT_EQ(ref[1].value, 0xFFF33333u);
  EXPECT_EQ(ref[10].value, 0x40000000u);
  EXPECT_EQ(ref[19].value, 610u << 20);
  EXPECT_EQ(ref[21].value, 630u << 20);
  EXPECT_EQ(ref[22].value, 405u << 20);
  EXPECT_EQ(ref[23].address, 0u);
}

TEST_F(RectifyRegisters, MatrixDividesInSinglePrecisionAndOffsetsInDouble) {
  camera_setup s = target_setup();
  s.rotation = {0.8f, -0.6f, 0.0f, 0.6f, 0.8f, 0.0f, 0.0f, 0.0f, 1.0f};
  s.dst = {500.0f, 400.0f, 320.0f, 240.0f, 1280, 800};
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  const double* m = deflash::rectify_matrix(CAMERA_ID_TARGET);
  const double m0 = static_cast<double>(0.8f / 500.0f);
  const double m1 = static_cast<double>(0.6f / 400.0f);
  const double m3 = static_cast<double>(-0.6f / 500.0f);
  const double m4 = static_cast<double>(0.8f / 400.0f);
  EXPECT_EQ(m[0], m0);
  EXPECT_EQ(m[1], m1);
  EXPECT_EQ(m[2], 0.0 - m0 * 320.0 - m1 * 240.0);
  EXPECT_EQ(m[3], m3);
  EXPECT_EQ(m[4], m4);
  EXPECT_EQ(m[5], 0.0 - m3 * 320.0 - m4 * 240.0);
  EXPECT_EQ(m[6], 0.0);
  EXPECT_EQ(m[7], 0.0);
  EXPECT_EQ(m[8], 1.0);
  EXPECT_NE(m[0], 0.8 / 500.0);  // the float quotient, not the double one

  // M * K_dst = R^T: the matrix undoes the virtual camera, then the rotation.
  const double k[9] = {500, 0, 320, 0, 400, 240, 0, 0, 1};
  const double rt[9] = {0.8, 0.6, 0, -0.6, 0.8, 0, 0, 0, 1};
  constexpr double kFloatRotationTolerance = 1e-6;  // rotation and quotients are float32
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      double sum = 0;
      for (int n = 0; n < 3; ++n) sum += m[3 * i + n] * k[3 * n + j];
      EXPECT_NEAR(sum, rt[3 * i + j], kFloatRotationTolerance) << i << "," << j;
    }
  }
}

TEST_F(RectifyRegisters, DistortionTermsAreSinglePrecisionProducts) {
  camera_setup s = target_setup();
  s.distortion = {0.25f, -0.125f, 0.0625f, 9.0f, 9.0f, 9.0f, 0.1f, 0.3f};
  s.distortion[3] = s.distortion[4] = s.distortion[5] = 0.0f;
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  const double* kk = deflash::rectify_kk(CAMERA_ID_TARGET);
  EXPECT_EQ(kk[0], 0.25);
  EXPECT_EQ(kk[1], -0.125);
  EXPECT_EQ(kk[2], 0.0625);
  EXPECT_EQ(kk[3], static_cast<double>(2.0f * 0.1f));
  EXPECT_EQ(kk[4], static_cast<double>(3.0f * 0.3f));
  EXPECT_EQ(kk[5], static_cast<double>(0.3f));
  EXPECT_EQ(kk[6], static_cast<double>(2.0f * 0.3f));
  EXPECT_EQ(kk[7], static_cast<double>(0.1f));
  EXPECT_EQ(kk[8], static_cast<double>(3.0f * 0.1f));
  EXPECT_NE(kk[8], 3.0 * static_cast<double>(0.1f));
}

TEST_F(RectifyRegisters, PreparationMarksOnlyItsCamera) {
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, target_setup()), 0u);
  EXPECT_EQ(rectify_registers().brown_params_set[1], 1);
  EXPECT_EQ(rectify_registers().brown_params_set[0], 0);
  // Any id other than the target's is the reference camera.
  ASSERT_EQ(prepare(7, ref_setup()), 0u);
  EXPECT_EQ(rectify_registers().brown_params_set[0], 1);
  EXPECT_EQ(rectify_registers().camera[0].rectify_src_intrinsic.fx, 610.0f);
  EXPECT_EQ(rectify_registers().start_rows_count, 800);
  EXPECT_NE(rectify_registers().camera[0].start_rows_lut, nullptr);
  EXPECT_EQ(rectify_registers().camera[0].start_rows_lut[799], 823);
}

TEST_F(RectifyRegisters, VirtualFocalLengthJustAboveTheLimitPasses) {
  camera_setup s = target_setup();
  s.dst.fx = 0.0001f;
  EXPECT_EQ(prepare(CAMERA_ID_TARGET, s, &sink_), 0u);
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(RectifyRegisters, VirtualFocalLengthOfOneHundredThousandthFails) {
  // 1e-5 as a float is 9.99999975e-6, below the double 1e-5.
  for (const bool on_fy : {false, true}) {
    deflash::reset_rectify_registers();
    message_sink sink;
    camera_setup s = target_setup();
    (on_fy ? s.dst.fy : s.dst.fx) = 1e-5f;
    s.src.fx = 777.0f;
    const auto out =
        capture_console([&] { EXPECT_EQ(prepare(CAMERA_ID_TARGET, s, &sink), kInvalid); });
    EXPECT_EQ(out.out, "dst_intrin.fx or dst_intrin.fy value error!\n");
    EXPECT_EQ(out.err, "");
    EXPECT_EQ(sink.messages,
              std::vector<std::string>{"dst_intrin.fx or dst_intrin.fy value error! \n"});
    // The source intrinsics were already taken; nothing else was.
    EXPECT_EQ(rectify_registers().camera[1].rectify_src_intrinsic.fx, 777.0f);
    EXPECT_EQ(rectify_registers().brown_params_set[1], 0);
    EXPECT_EQ(rectify_registers().camera[1].start_rows_lut, nullptr);
  }
}

TEST_F(RectifyRegisters, StartRowFailureIsReportedPerCamera) {
  // A source height of 40000 is negative to the start-row computation, so the
  // row count does not match it.
  struct failure_case {
    int32_t cam_id;
    const char* message;
  };
  for (const failure_case& c :
       {failure_case{CAMERA_ID_TARGET, "calc_start_rows_lut error! camid = CAMERA_ID_TARGET \n"},
        failure_case{CAMERA_ID_REF, "calc_start_rows_lut error! camid = CAMERA_ID_REF \n"},
        failure_case{5, "calc_start_rows_lut error! camid = CAMERA_ID_REF \n"}}) {
    message_sink sink;
    camera_setup s = target_setup();
    s.src.height = 40000;
    const auto out = capture_console([&] { EXPECT_EQ(prepare(c.cam_id, s, &sink), kInvalid); });
    EXPECT_EQ(out.out, c.message);
    EXPECT_EQ(sink.messages, std::vector<std::string>{c.message});
    EXPECT_EQ(rectify_registers().brown_params_set[deflash::camera_slot(c.cam_id)], 0);
  }
}

TEST_F(RectifyRegisters, NullReserveBytesFailTheStartRows) {
  const camera_setup s = target_setup();
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_set_rectify_params_brown(CAMERA_ID_TARGET, &s.src, s.distortion.data(),
                                           s.rotation.data(), &s.dst, nullptr, nullptr, nullptr),
              kInvalid);
  });
  EXPECT_EQ(out.out, "calc_start_rows_lut error! camid = CAMERA_ID_TARGET \n");
}

TEST_F(RectifyRegisters, NullCameraDescriptionsAreRefusedSilently) {
  const camera_setup s = target_setup();
  const float* d = s.distortion.data();
  const float* r = s.rotation.data();
  const uint8_t* res = s.reserved.data();
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_set_rectify_params_brown(1, nullptr, d, r, &s.dst, res, nullptr, nullptr),
              kInvalid);
    EXPECT_EQ(soc_set_rectify_params_brown(1, &s.src, nullptr, r, &s.dst, res, nullptr, nullptr),
              kInvalid);
    EXPECT_EQ(soc_set_rectify_params_brown(1, &s.src, d, nullptr, &s.dst, res, nullptr, nullptr),
              kInvalid);
    EXPECT_EQ(soc_set_rectify_params_brown(1, &s.src, d, r, nullptr, res, nullptr, nullptr),
              kInvalid);
  });
  EXPECT_EQ(out.out, "");
  EXPECT_EQ(rectify_registers().brown_params_set[1], 0);
}

TEST_F(RectifyRegisters, StartRowsAreSignAndMagnitude) {
  prepare_pair();
  set_start_rows(CAMERA_ID_TARGET, {-5, 5, -2047, 0, 2047, -24, 823});
  DeRectifyStartRowsSection_S section{0, 7, nullptr};
  std::vector<uint32_t> values(7, 0xABCDu);
  section.values = values.data();
  const auto out = capture_console([&] {
    EXPECT_EQ(deflash::convert_rectify_start_rows_float_to_register(CAMERA_ID_TARGET, &section, 7),
              0u);
  });
  EXPECT_EQ(section.address, 0x52002000u);
  EXPECT_EQ(values, (std::vector<uint32_t>{0x805, 0x005, 0xFFF, 0x000, 0x7FF, 0x818, 0x337}));
  EXPECT_EQ(out.out, "");
}

TEST_F(RectifyRegisters, StartRowOf2048OverflowsAndIsReported) {
  prepare_pair();
  set_start_rows(CAMERA_ID_REF, {1, 2048, 3});
  DeRectifyStartRowsSection_S section{0, 3, nullptr};
  std::vector<uint32_t> values(3, 0);
  section.values = values.data();
  const auto out = capture_console([&] {
    EXPECT_EQ(deflash::convert_rectify_start_rows_float_to_register(CAMERA_ID_REF, &section, 3),
              kOutOfRange);
  });
  EXPECT_EQ(section.address, 0x52082000u);
  EXPECT_EQ(values, (std::vector<uint32_t>{1, 0xFFFFFFFF, 3}));  // later rows still written
  EXPECT_EQ(out.out,
            "current lut value: 2048.00000000000000000000; dingdianhua value: "
            "2048.00000000000000000000; m_fp: 2048; return value: 0; max value: 2047 \n"
            "error code 01: value overflow in start_rows \n");
}

TEST_F(RectifyRegisters, StartRowOfMinus2048WrapsTo0x7FFUnreported) {
  prepare_pair();
  set_start_rows(CAMERA_ID_TARGET, {-2048});
  DeRectifyStartRowsSection_S section{0, 1, nullptr};
  uint32_t value = 0;
  section.values = &value;
  const auto out = capture_console([&] {
    EXPECT_EQ(deflash::convert_rectify_start_rows_float_to_register(CAMERA_ID_TARGET, &section, 1),
              0u);
  });
  EXPECT_EQ(value, 0x7FFu);
  // The fixed-point routine still prints its overflow lines.
  EXPECT_EQ(out.out,
            "current lut value: 2048.00000000000000000000; dingdianhua value: "
            "2048.00000000000000000000; m_fp: 2048; return value: 0; max value: 2047 \n"
            "error code 01: value overflow in start_rows \n");
}

TEST_F(RectifyRegisters, MissingStartRowBuffersAreRefused) {
  prepare_pair();
  const auto no_section = capture_console([&] {
    EXPECT_EQ(deflash::convert_rectify_start_rows_float_to_register(1, nullptr, 800), kInvalid);
  });
  EXPECT_EQ(no_section.err, "cam_id= 1,start_rows is null!\n");
  deflash::release_start_rows_lut(CAMERA_ID_REF);
  DeRectifyStartRowsSection_S section{0, 1, nullptr};
  uint32_t value = 0;
  section.values = &value;
  const auto no_lut = capture_console([&] {
    EXPECT_EQ(deflash::convert_rectify_start_rows_float_to_register(0, &section, 1), kInvalid);
  });
  EXPECT_EQ(no_lut.err, "cam_id= 0, start_rows_lut is null!\n");
  EXPECT_EQ(no_lut.out, "");
}

TEST_F(RectifyRegisters, TargetStartRowOverflowStopsTheConversion) {
  prepare_pair();
  set_start_rows(CAMERA_ID_TARGET, {0, 2048});
  set_start_rows(CAMERA_ID_REF, {0, 1});
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), kOutOfRange);
  });
  EXPECT_EQ(out.out,
            "current lut value: 2048.00000000000000000000; dingdianhua value: "
            "2048.00000000000000000000; m_fp: 2048; return value: 0; max value: 2047 \n"
            "error code 01: value overflow in start_rows \n"
            "convert_rectify_start_rows_float_to_register error! camera id = 1,err = 4096 \n");
  EXPECT_EQ(
      sink_.messages,
      std::vector<std::string>{
          "convert_rectify_start_rows_float_to_register error! camera id = CAMERA_ID_TARGET\n"});
  // The tables are converted; the start-row tables stay for another try.
  EXPECT_NE(rectify_registers().camera[1].start_rows_lut, nullptr);
  EXPECT_EQ(rectify_registers().start_rows_sections[1].values[1], 0xFFFFFFFFu);
}

TEST_F(RectifyRegisters, ReferenceStartRowOverflowUsesItsOwnFormat) {
  prepare_pair();
  set_start_rows(CAMERA_ID_TARGET, {0, 1});
  set_start_rows(CAMERA_ID_REF, {0, 4000});
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), kOutOfRange);
  });
  EXPECT_EQ(out.out,
            "current lut value: 4000.00000000000000000000; dingdianhua value: "
            "4000.00000000000000000000; m_fp: 4000; return value: 1952; max value: 2047 \n"
            "error code 01: value overflow in start_rows \n"
            "convert_rectify_start_rows_float_to_register error!,camera id = 0 ,err = 4096\n");
  EXPECT_EQ(sink_.messages,
            std::vector<std::string>{
                "convert_rectify_start_rows_float_to_register error! camera id = CAMERA_ID_REF\n"});
}

TEST_F(RectifyRegisters, DistortionTermOf128FillsTheSignBit) {
  camera_setup s = target_setup();
  s.distortion[0] = 128.0f;
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  ASSERT_EQ(prepare(CAMERA_ID_REF, ref_setup()), 0u);
  const auto out = capture_console(
      [&] { EXPECT_EQ(soc_convert_rectify_params_to_register_elements(nullptr, nullptr), 0u); });
  EXPECT_EQ(out.out, "");
  EXPECT_EQ(rectify_register_table(CAMERA_ID_TARGET)[1].value, 0x80000000u);
}

TEST_F(RectifyRegisters, DistortionTermOf256FailsButTheOthersAreWritten) {
  camera_setup s = target_setup();
  s.distortion[0] = 256.0f;
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  ASSERT_EQ(prepare(CAMERA_ID_REF, ref_setup()), 0u);
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), kOutOfRange);
  });
  EXPECT_EQ(out.out,
            "current lut value: 256.00000000000000000000; dingdianhua value: "
            "4294967296.00000000000000000000; m_fp: 4294967296; return value: 0; "
            "max value: 4294967295 \n"
            "error code 01: value overflow in rectify_k0 \n"
            "soc_convert_rectify_kk_float_to_register error!,camera id = 1 \n");
  EXPECT_EQ(sink_.messages,
            (std::vector<std::string>{
                "error: rectify_k0 DRIVER_HELPER_PARAM_OUT_OF_RANGE, rectify_k0=256.000000000\n",
                "soc_convert_rectify_kk_float_to_register error!camera id = CAMERA_ID_TARGET\n"}));
  const register_element* target = rectify_register_table(CAMERA_ID_TARGET);
  EXPECT_EQ(target[1].value, 0xFFFFFFFFu);
  EXPECT_EQ(target[2].value, 0x00051EB8u);  // k2 still converted
  EXPECT_EQ(target[9].value, 0x000013A9u);  // and the last term
  // The reference camera was not reached.
  EXPECT_EQ(rectify_register_table(CAMERA_ID_REF)[19].value, 0u);
}

TEST_F(RectifyRegisters, DistortionMessagesNeedAContextNotJustAFunction) {
  camera_setup s = target_setup();
  s.distortion[1] = -300.0f;
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  ASSERT_EQ(prepare(CAMERA_ID_REF, ref_setup()), 0u);
  capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(nullptr, collect_without_context),
              kOutOfRange);
  });
  // Only the conversion's own message arrives: the term's message is sent
  // only when a context is given.
  EXPECT_EQ(context_free_messages(),
            std::vector<std::string>{
                "soc_convert_rectify_kk_float_to_register error!camera id = CAMERA_ID_TARGET\n"});
}

TEST_F(RectifyRegisters, DistortionFailureWithAContextButNoFunctionOnlyPrints) {
  camera_setup s = target_setup();
  s.distortion[1] = -300.0f;
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, nullptr), kOutOfRange);
  });
  EXPECT_NE(out.out.find("error code 01: value overflow in rectify_k1 \n"), std::string::npos);
  EXPECT_NE(out.out.find("soc_convert_rectify_kk_float_to_register error!,camera id = 1 \n"),
            std::string::npos);
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(RectifyRegisters, ReferenceDistortionFailureNamesTheReference) {
  camera_setup s = ref_setup();
  s.distortion[7] = 100.0f;  // 3 * p2 = 300 does not fit below 256
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, target_setup()), 0u);
  ASSERT_EQ(prepare(CAMERA_ID_REF, s), 0u);
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), kOutOfRange);
  });
  EXPECT_NE(out.out.find("error code 01: value overflow in rectify_k4 \n"), std::string::npos);
  EXPECT_NE(out.out.find("soc_convert_rectify_kk_float_to_register error!,camera id = 0 \n"),
            std::string::npos);
  EXPECT_EQ(sink_.messages,
            (std::vector<std::string>{
                "error: rectify_k4 DRIVER_HELPER_PARAM_OUT_OF_RANGE, rectify_k4=300.000000000\n",
                "soc_convert_rectify_kk_float_to_register error!camera id = CAMERA_ID_REF\n"}));
  EXPECT_EQ(rectify_register_table(CAMERA_ID_REF)[6].value, 100u << 24);  // p2 itself fits
  EXPECT_EQ(rectify_register_table(CAMERA_ID_REF)[7].value, 200u << 24);  // and so does 2 * p2
}

TEST_F(RectifyRegisters, MatrixFailureStopsTheCommonPart) {
  prepare_pair();
  capture_console(
      [&] { ASSERT_EQ(soc_convert_rectify_params_to_register_elements(nullptr, nullptr), 0u); });
  const auto before = table_copy(CAMERA_ID_TARGET);

  // A virtual centre five focal lengths off-axis: the offset r2 is about -5,
  // beyond the -4 that 30 fraction bits allow in 32 bits.
  camera_setup s = target_setup();
  s.dst = {200.0f, 512.0f, 1000.0f, 400.0f, 1280, 800};
  s.src.fx = 700.0f;
  s.src.width = 1000;
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), kOutOfRange);
  });
  EXPECT_EQ(out.out,
            "current lut value: -4.99999988824129104614; dingdianhua value: "
            "-5368709000.00000000000000000000; m_fp: 18446744072635809912; "
            "return value: 3221225592; max value: 4294967295 \n"
            "error code 01: value overflow in rectify_r2 \n"
            "soc_convert_rectify_commom_float_to_register error!,camera id = 1 \n");
  EXPECT_EQ(
      sink_.messages,
      (std::vector<std::string>{
          "error: rectify_r2 DRIVER_HELPER_PARAM_OUT_OF_RANGE, rectify_r2=-4.999999888\n",
          "soc_convert_rectify_commom_float_to_register error!camera id = CAMERA_ID_TARGET\n"}));
  const register_element* after = rectify_register_table(CAMERA_ID_TARGET);
  EXPECT_EQ(after[10].value, 0xA3D70A00u);  // r0 = (1/200) at 39 bits, written before r2
  EXPECT_EQ(after[11].value, 0u);
  // r2 onwards, the intrinsics and the size word keep their values.
  expect_same_values(before, after, 12, 22);
  EXPECT_EQ(after[0].value, before[0].value);
}

TEST_F(RectifyRegisters, ReferenceMatrixFailureNamesTheReference) {
  camera_setup s = ref_setup();
  s.dst = {100.0f, 512.0f, 640.0f, 400.0f, 1280, 800};  // r0 = 1/100 is too large
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, target_setup()), 0u);
  ASSERT_EQ(prepare(CAMERA_ID_REF, s), 0u);
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), kOutOfRange);
  });
  EXPECT_NE(out.out.find("error code 01: value overflow in rectify_r0 \n"
                         "soc_convert_rectify_commom_float_to_register error!,camera id = 0 \n"),
            std::string::npos)
      << out.out;
  EXPECT_EQ(sink_.messages,
            (std::vector<std::string>{
                "error: rectify_r0 DRIVER_HELPER_PARAM_OUT_OF_RANGE, rectify_r0=0.010000000\n",
                "soc_convert_rectify_commom_float_to_register error!camera id = CAMERA_ID_REF\n"}));
  EXPECT_EQ(rectify_register_table(CAMERA_ID_TARGET)[19].value, 600u << 20);  // target done
}

TEST_F(RectifyRegisters, IntrinsicOverflowNamesTheRegister) {
  camera_setup s = target_setup();
  s.src.fy = 5000.0f;  // 5000 * 2^20 passes 2^32
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  ASSERT_EQ(prepare(CAMERA_ID_REF, ref_setup()), 0u);
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), kOutOfRange);
  });
  EXPECT_NE(out.out.find("error code 01: value overflow in rectify_fy \n"
                         "soc_convert_rectify_commom_float_to_register error!,camera id = 1 \n"),
            std::string::npos)
      << out.out;
  EXPECT_EQ(
      sink_.messages,
      (std::vector<std::string>{
          "rectify_fy error! err = DRIVER_HELPER_PARAM_OUT_OF_RANGE \n",
          "soc_convert_rectify_commom_float_to_register error!camera id = CAMERA_ID_TARGET\n"}));
  const register_element* table = rectify_register_table(CAMERA_ID_TARGET);
  EXPECT_EQ(table[19].value, 600u << 20);  // fx written before fy
  EXPECT_EQ(table[21].value, 0u);          // cx not reached
  EXPECT_EQ(table[0].value, 0u);           // nor the size word
}

TEST_F(RectifyRegisters, IntrinsicRoundingToMinusOneIsOutOfRangeWithoutOverflowLines) {
  // -2^-20 is -1 at 20 fraction bits: the legitimate code 0xFFFFFFFF that
  // callers read as failure.
  camera_setup s = target_setup();
  s.src.cx = -1.0f / 1048576.0f;
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), kOutOfRange);
  });
  EXPECT_EQ(out.out, "soc_convert_rectify_commom_float_to_register error!,camera id = 1 \n");
  EXPECT_EQ(sink_.messages.front(), "rectify_cx error! err = DRIVER_HELPER_PARAM_OUT_OF_RANGE \n");
}

TEST_F(RectifyRegisters, WidthOf5000KeepsItsLowTwelveBits) {
  camera_setup s = target_setup();
  s.src.width = 5000;
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  ASSERT_EQ(prepare(CAMERA_ID_REF, ref_setup()), 0u);
  const auto out = capture_console(
      [&] { EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), 0u); });
  EXPECT_EQ(out.out, "");
  EXPECT_EQ(out.err, "");
  EXPECT_TRUE(sink_.messages.empty());
  EXPECT_EQ(rectify_register_table(CAMERA_ID_TARGET)[0].value, (800u << 16) | 904u);
}

TEST_F(RectifyRegisters, OnlyTheReferencePreparedStillConvertsTheTargetTable) {
  ASSERT_EQ(prepare(CAMERA_ID_REF, ref_setup()), 0u);
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(&sink_, collect), kInvalid);
  });
  // The target's common part ran on its zero state; its start rows are missing.
  EXPECT_EQ(out.err, "cam_id= 1, start_rows_lut is null!\n");
  EXPECT_EQ(out.out,
            "convert_rectify_start_rows_float_to_register error! camera id = 1,err = -2 \n");
  EXPECT_EQ(
      sink_.messages,
      std::vector<std::string>{
          "convert_rectify_start_rows_float_to_register error! camera id = CAMERA_ID_TARGET\n"});
  EXPECT_EQ(rectify_register_table(CAMERA_ID_REF)[19].value, 610u << 20);
}

TEST_F(RectifyRegisters, ConversionFreesTheStartRowTablesAndFillsTheSections) {
  prepare_pair();
  const std::vector<int32_t> target_rows(rectify_registers().camera[1].start_rows_lut,
                                         rectify_registers().camera[1].start_rows_lut + 800);
  capture_console(
      [&] { ASSERT_EQ(soc_convert_rectify_params_to_register_elements(nullptr, nullptr), 0u); });
  EXPECT_EQ(rectify_registers().camera[0].start_rows_lut, nullptr);
  EXPECT_EQ(rectify_registers().camera[1].start_rows_lut, nullptr);
  const DeRectifyStartRowsSection_S& target = rectify_registers().start_rows_sections[1];
  EXPECT_EQ(target.address, 0x52002000u);
  EXPECT_EQ(target.count, 800u);
  EXPECT_EQ(rectify_registers().start_rows_sections[0].address, 0x52082000u);
  for (std::size_t i = 0; i < 800; ++i) {
    const int32_t row = target_rows[i];
    const uint32_t expected =
        row < 0 ? 0x800u | static_cast<uint32_t>(-row) : static_cast<uint32_t>(row);
    EXPECT_EQ(target.values[i], expected) << i;
  }
  EXPECT_EQ(target.values[799], 823u);

  // Converting again without preparing finds no start rows.
  const auto again = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(nullptr, nullptr), kInvalid);
  });
  EXPECT_EQ(again.err, "cam_id= 1, start_rows_lut is null!\n");
}

TEST_F(RectifyRegisters, UnreachedFirstRowIsWrittenAs0x818) {
  camera_setup s = target_setup();
  s.src = {512.0f, 512.0f, 640.0f, 400.0f, 1280, 800};
  s.distortion = {};
  s.dst = {512.0f, 512.0f, 640.0f, 410.0f, 1280, 800};  // first ten rows above the sensor
  s.reserved = {0, 1};
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, s), 0u);
  ASSERT_EQ(prepare(CAMERA_ID_REF, ref_setup()), 0u);
  ASSERT_EQ(soc_convert_rectify_params_to_register_elements(nullptr, nullptr), 0u);
  EXPECT_EQ(rectify_registers().start_rows_sections[1].values[0], 0x818u);
  EXPECT_EQ(rectify_registers().start_rows_sections[1].values[799], 0x337u);
}

TEST_F(RectifyRegisters, SectionsAreHandedOverAndFreed) {
  prepare_pair();
  capture_console(
      [&] { ASSERT_EQ(soc_convert_rectify_params_to_register_elements(nullptr, nullptr), 0u); });
  const std::vector<uint32_t> target_codes(rectify_registers().start_rows_sections[1].values,
                                           rectify_registers().start_rows_sections[1].values + 800);
  const std::vector<uint32_t> ref_codes(rectify_registers().start_rows_sections[0].values,
                                        rectify_registers().start_rows_sections[0].values + 800);
  std::vector<uint32_t> target_out(800, 0);
  std::vector<uint32_t> ref_out(800, 0);
  DeRectifyStartRowsSection_S sections[2] = {{0, 0, target_out.data()}, {0, 0, ref_out.data()}};
  EXPECT_EQ(de_copy_rectify_start_rows_register_section(sections, 2), 0u);
  EXPECT_EQ(sections[0].address, 0x52002000u);
  EXPECT_EQ(sections[0].count, 800u);
  EXPECT_EQ(sections[1].address, 0x52082000u);
  EXPECT_EQ(sections[1].count, 800u);
  EXPECT_EQ(target_out, target_codes);
  EXPECT_EQ(ref_out, ref_codes);
  EXPECT_EQ(rectify_registers().start_rows_sections[0].values, nullptr);
  EXPECT_EQ(rectify_registers().start_rows_sections[1].values, nullptr);

  // Nothing left to hand over until the next conversion: refused, untouched.
  std::vector<uint32_t> untouched(800, 0x5A5A5A5Au);
  DeRectifyStartRowsSection_S again[2] = {{1, 2, untouched.data()}, {3, 4, untouched.data()}};
  EXPECT_EQ(de_copy_rectify_start_rows_register_section(again, 2), kInvalid);
  EXPECT_EQ(untouched, std::vector<uint32_t>(800, 0x5A5A5A5Au));
  EXPECT_EQ(again[0].address, 1u);
}

TEST_F(RectifyRegisters, HandOverNeedsExactlyTwoSections) {
  for (const int8_t num : {int8_t{1}, int8_t{3}, int8_t{0}, int8_t{-2}}) {
    DeRectifyStartRowsSection_S sections[3] = {};
    const auto out = capture_console(
        [&] { EXPECT_EQ(de_copy_rectify_start_rows_register_section(sections, num), kInvalid); });
    EXPECT_EQ(out.err, "start_rows_reg_section_num != 2 ! \n");
    EXPECT_EQ(out.out, "");
  }
  EXPECT_EQ(de_copy_rectify_start_rows_register_section(nullptr, 2), kInvalid);
}

TEST_F(RectifyRegisters, PreparingACameraTwiceReplacesItsStartRows) {
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, target_setup()), 0u);
  camera_setup smaller = target_setup();
  smaller.src = {300.0f, 300.0f, 320.0f, 240.0f, 640, 480};
  smaller.dst = {256.0f, 256.0f, 320.0f, 240.0f, 640, 480};
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, smaller), 0u);
  EXPECT_EQ(rectify_registers().camera[1].start_rows_lut_rows, 480);
  EXPECT_EQ(rectify_registers().camera[1].start_rows_lut[479], 503);
  EXPECT_EQ(rectify_registers().start_rows_count, 480);
}

TEST_F(RectifyRegisters, CameraWithFewerRowsThanTheSharedCountIsRefused) {
  camera_setup small = target_setup();
  small.src = {300.0f, 300.0f, 320.0f, 240.0f, 640, 480};
  small.dst = {256.0f, 256.0f, 320.0f, 240.0f, 640, 480};
  ASSERT_EQ(prepare(CAMERA_ID_TARGET, small), 0u);
  ASSERT_EQ(prepare(CAMERA_ID_REF, ref_setup()), 0u);  // the shared count becomes 800
  const auto out = capture_console([&] {
    EXPECT_EQ(soc_convert_rectify_params_to_register_elements(nullptr, nullptr), kInvalid);
  });
  EXPECT_EQ(out.err, "cam_id= 1, start_rows_lut has 480 rows, 800 needed!\n");
  EXPECT_EQ(out.out,
            "convert_rectify_start_rows_float_to_register error! camera id = 1,err = -2 \n");
}
