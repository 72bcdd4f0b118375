// DPU parameters of the sections basic, disparity, extend_chop and gpm.
#ifndef DEFLASH_DE_CONFIG_DPU_PARAMS_H_
#define DEFLASH_DE_CONFIG_DPU_PARAMS_H_

#include <cstdint>

namespace deflash {

/// Codes of the depth units the DPU supports (0.1, 0.2, 0.4, 0.8, 1.6 mm).
constexpr int kDepthUnitCount = 5;

/// [basic]: each value in the width of its conversion.
struct dpu_basic_params {
  uint8_t cam_mode;
  uint8_t depth_mode;  ///< from cam_mode when the key is absent
  uint8_t scale_mode;
  bool upsample_enable;
  uint8_t rectify_mode;
  uint8_t distort_type;  ///< lowest bit becomes scheme flag bit 0
  bool rotate_90_en;
  bool rotate_clockwise;
  bool sbg_en;  ///< becomes scheme flag bit 1
  uint8_t sub_mode_sel;
  uint32_t start_rows;
  int32_t d2c_buffer_position;
  int32_t d2c_total_buffer_rows;
  uint8_t d2c_recovery_mode;
  float d2c_recovery_expand_width;
  int32_t depth_sign;
  uint8_t depth_unit;  ///< code 0..4 of the unit
};

/// [disparity]: matching, confidence, shadow and tiling settings.
struct dpu_disparity_params {
  int min_disparity;
  int pre_win_size;
  int win_size;
  int cost_strong_t;
  int cost_weak_t;
  int conf_region_t;
  int conf_strong_t;
  int conf_grow_t;
  int grow_disp_diff_thr;
  bool lrc_en;
  int lrc_thresh;
  bool shadow_en;
  int shadow_ring_base;
  int shadow_win_size;
  int shadow_smooth_size;
  int shadow_tex_thresh;
  int shadow_diff_per;
  int shadow_edge_preserving;
  int cost_shadow1_t;
  int cost_shadow2_t;
  int arm_len;
  bool arm_short_en;
  int arm_short_mask;
  int tile_width;
  int tile_overlap_x;
  int tile_overlap_x_fast;
  int tile_overlap_y;
  int tile_overlap_y_traverse;
  int max_see_num;
  int max_seed_try_num;
  int max_seed_valid_try_num;
  bool smooth_enable;
  int smooth_win_size;
  int sp_coef;
};

/// [extend_chop]: four values each (left, top, right, bottom).
struct dpu_extend_chop_params {
  uint32_t extend_tar[4];
  uint32_t extend_ref[4];
  uint32_t chop[4];
};

/// [gpm]: ground-plane model settings.
struct dpu_gpm_params {
  bool enable;
  int x_coordinate;
  int y_coordinate;
  int texture_t0;
  int texture_t1;
  int active_t;
  int ncost_t;
  int hist_dy_dist;
  int gp_enabled_cols;
  int gp_ref_dy_t;
};

/// Everything a DPU input file says beyond the mode and scheme records. Only
/// distort_type and sbg_en reach the image; the rest is checked and kept.
struct dpu_params {
  dpu_basic_params basic;
  dpu_disparity_params disparity;
  dpu_extend_chop_params extend_chop;
  dpu_gpm_params gpm;
};

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_DPU_PARAMS_H_
