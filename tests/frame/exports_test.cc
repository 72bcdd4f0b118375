// The shared library exports the plain names unmangled and the typed names
// under their C++ signatures, and nothing of its internals.
#include <gtest/gtest.h>
#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <string>

#include "deflash.h"

namespace {

// The library as a host loads it: LoadLibrary and GetProcAddress on
// Windows, dlopen and dlsym elsewhere.
class SharedLibrary : public testing::Test {
 protected:
#ifdef _WIN32
  void SetUp() override {
    handle_ = LoadLibraryA(DEFLASH_LIBRARY_PATH);
    ASSERT_NE(handle_, nullptr) << "LoadLibrary failed: " << GetLastError();
  }
  void TearDown() override {
    if (handle_ != nullptr) FreeLibrary(handle_);
  }
  bool exports(const char* name) { return GetProcAddress(handle_, name) != nullptr; }
  template <typename Function>
  Function function(const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(handle_, name)));
  }

  HMODULE handle_ = nullptr;
#else
  void SetUp() override {
    handle_ = dlopen(DEFLASH_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle_, nullptr) << dlerror();
  }
  void TearDown() override {
    if (handle_ != nullptr) dlclose(handle_);
  }
  bool exports(const char* name) { return dlsym(handle_, name) != nullptr; }
  template <typename Function>
  Function function(const char* name) {
    return reinterpret_cast<Function>(dlsym(handle_, name));
  }

  void* handle_ = nullptr;
#endif
};

}  // namespace

TEST_F(SharedLibrary, ExportsThePlainFrameNamesUnmangled) {
  for (const char* name : {"get_soc_depth_driver_helper_version", "soc_driver_helper_get_version",
                           "get_soc_file_buffer_size", "set_soc_sn"}) {
    EXPECT_TRUE(exports(name)) << name;
  }
}

TEST_F(SharedLibrary, ExportsTheImageUpdatesUnmangled) {
  for (const char* name :
       {"update_soc_baseline_de", "update_soc_multi_baseline_de", "update_soc_multi_fb_d2c_de"}) {
    EXPECT_TRUE(exports(name)) << name;
  }
  EXPECT_FALSE(exports("_Z22update_soc_baseline_dePKcfS0_i"));
  EXPECT_FALSE(exports("_Z28update_soc_multi_baseline_dePKcPKfiS0_"));
  EXPECT_FALSE(exports("_Z26update_soc_multi_fb_d2c_dePKcPKfiS0_"));
}

TEST_F(SharedLibrary, ExportsTheCalibrationDebugCheckUnmangled) {
  EXPECT_TRUE(exports("check_soc_calib_debug"));
  EXPECT_FALSE(exports("_Z21check_soc_calib_debugPKhPtS0_S1_PKtS1_j"));
  EXPECT_FALSE(
      exports("_ZN7deflash19rectify_debug_imageERKNS_20debug_rectify_cameraERKNS_14debug_image_"
              "inERKNS_15debug_image_outE"));
}

TEST_F(SharedLibrary, ExportsTheDepthEngineConfigurationSurface) {
  EXPECT_TRUE(exports("gen_depth_engine_config_flash_file_de"));
  EXPECT_FALSE(exports("_Z37gen_depth_engine_config_flash_file_dePK15de_config_filesPKc"));
  for (const char* name :
       {"_Z34gen_depth_engine_config_flash_filePKc", "_Z23de_copy_dpu_mode_configP8dpu_modePj",
        "_Z17de_get_d2c_configRP12d2c_cfg_itemRiRj",
        "_Z20de_get_ir_pre_configRP15ir_pre_cfg_itemRiRj",
        "_Z21get_dpu_scheme_configP17dpu_scheme_config", "_Z21load_de_input_configsPKc",
        "_Z16load_d2c_configsPKc", "_Z19load_ir_pre_configsPKc"}) {
    EXPECT_TRUE(exports(name)) << name;
  }
  EXPECT_FALSE(exports("_ZN7deflash16module_de_configEv"));
}

TEST_F(SharedLibrary, ExportsTypedNamesUnderTheirCppSignatures) {
  // The typed names appear only in their mangled form.
  EXPECT_TRUE(exports("_ZN11soc_convert12get_cam_modeEPh"));
  EXPECT_TRUE(exports("_ZN11soc_convert27get_d2d_params_unit_in_R_enEPh"));
  EXPECT_TRUE(exports("_ZN11soc_convert21get_lut_enable_statusEv"));
  EXPECT_TRUE(exports("_ZN11soc_convert23get_mipi_channel_statusEPh"));
  EXPECT_TRUE(
      exports("_ZN11soc_convert37get_virtual_intrinsic_of_stereo_debugEP19DeCameraIntrinsic_S"));
  EXPECT_TRUE(exports("_ZN11soc_convert23load_input_configs_pathEPKc"));
  EXPECT_TRUE(exports("_ZN11soc_convert26load_input_configs_contentEPKc"));
}

TEST_F(SharedLibrary, ExportsTheRectificationRegisterNames) {
  for (const char* name :
       {"soc_set_rectify_params_brown", "soc_convert_rectify_params_to_register_elements",
        "de_copy_rectify_start_rows_register_section", "calc_start_rows_lut"}) {
    EXPECT_TRUE(exports(name)) << name;
  }
  EXPECT_TRUE(exports("_ZN11soc_convert24set_optimized_d2d_paramsEPNS_15DeDepthConfig_SEi"));
  EXPECT_TRUE(exports("_ZN11soc_convert28release_optimized_d2d_paramsEv"));
  EXPECT_FALSE(exports("_ZN7deflash22convert_float_to_fixedEdiiPKc"));
  EXPECT_FALSE(exports("_ZN7deflash18set_register_fieldEjjj"));
  EXPECT_FALSE(exports("_ZN7deflash17rectify_registersEv"));
}

TEST_F(SharedLibrary, HidesInternalFunctions) {
  EXPECT_FALSE(exports("_ZN7deflash5crc32EjPKvj"));
  EXPECT_FALSE(exports("_ZN7deflash3md5EPKvPhj"));
  EXPECT_FALSE(exports("_ZN7deflash11console_logEPKcz"));
}

TEST_F(SharedLibrary, VersionThroughTheLoadedLibrary) {
  using version_fn = const char* (*)();
  auto fn = function<version_fn>("soc_driver_helper_get_version");
  ASSERT_NE(fn, nullptr);
  EXPECT_EQ(std::string(fn()), "2.2.0.4");
}
