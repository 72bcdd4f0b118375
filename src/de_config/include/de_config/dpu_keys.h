// The keys of a DPU input file, one table per section, for the loader that
// reads them into dpu_params, the tool's check of the file and the tests.
#ifndef DEFLASH_DE_CONFIG_DPU_KEYS_H_
#define DEFLASH_DE_CONFIG_DPU_KEYS_H_

#include "de_config/dpu_params.h"

namespace deflash {

/// Sections every DPU input file must have, in the order the loader checks them.
inline constexpr const char* kDpuRequiredSections[] = {"mode", "basic", "disparity", "extend_chop",
                                                       "gpm"};

/// A required key of `Params`' section: a whole number (as_int) into
/// `number`, or a flag (as_bool) into `flag`; the other member is null.
template <typename Params>
struct dpu_field_key {
  const char* name;
  int Params::*number;
  bool Params::*flag;
};

template <typename Params>
constexpr dpu_field_key<Params> dpu_number(const char* name, int Params::*field) {
  return {name, field, nullptr};
}

template <typename Params>
constexpr dpu_field_key<Params> dpu_flag(const char* name, bool Params::*field) {
  return {name, nullptr, field};
}

/// [disparity]: matching, confidence, shadow and tiling, in field order.
inline constexpr dpu_field_key<dpu_disparity_params> kDpuDisparityKeys[] = {
    dpu_number("min_disparity", &dpu_disparity_params::min_disparity),
    dpu_number("pre_win_size", &dpu_disparity_params::pre_win_size),
    dpu_number("win_size", &dpu_disparity_params::win_size),
    dpu_number("cost_strong_t", &dpu_disparity_params::cost_strong_t),
    dpu_number("cost_weak_t", &dpu_disparity_params::cost_weak_t),
    dpu_number("conf_region_t", &dpu_disparity_params::conf_region_t),
    dpu_number("conf_strong_t", &dpu_disparity_params::conf_strong_t),
    dpu_number("conf_grow_t", &dpu_disparity_params::conf_grow_t),
    dpu_number("grow_disp_diff_thr", &dpu_disparity_params::grow_disp_diff_thr),
    dpu_flag("lrc_en", &dpu_disparity_params::lrc_en),
    dpu_number("lrc_thresh", &dpu_disparity_params::lrc_thresh),
    dpu_flag("shadow_en", &dpu_disparity_params::shadow_en),
    dpu_number("shadow_ring_base", &dpu_disparity_params::shadow_ring_base),
    dpu_number("shadow_win_size", &dpu_disparity_params::shadow_win_size),
    dpu_number("shadow_smooth_size", &dpu_disparity_params::shadow_smooth_size),
    dpu_number("shadow_tex_thresh", &dpu_disparity_params::shadow_tex_thresh),
    dpu_number("shadow_diff_per", &dpu_disparity_params::shadow_diff_per),
    dpu_number("shadow_edge_preserving", &dpu_disparity_params::shadow_edge_preserving),
    dpu_number("cost_shadow1_t", &dpu_disparity_params::cost_shadow1_t),
    dpu_number("cost_shadow2_t", &dpu_disparity_params::cost_shadow2_t),
    dpu_number("arm_len", &dpu_disparity_params::arm_len),
    dpu_flag("arm_short_en", &dpu_disparity_params::arm_short_en),
    dpu_number("arm_short_mask", &dpu_disparity_params::arm_short_mask),
    dpu_number("tile_width", &dpu_disparity_params::tile_width),
    dpu_number("tile_overlap_x", &dpu_disparity_params::tile_overlap_x),
    dpu_number("tile_overlap_x_fast", &dpu_disparity_params::tile_overlap_x_fast),
    dpu_number("tile_overlap_y", &dpu_disparity_params::tile_overlap_y),
    dpu_number("tile_overlap_y_traverse", &dpu_disparity_params::tile_overlap_y_traverse),
    dpu_number("max_see_num", &dpu_disparity_params::max_see_num),
    dpu_number("max_seed_try_num", &dpu_disparity_params::max_seed_try_num),
    dpu_number("max_seed_valid_try_num", &dpu_disparity_params::max_seed_valid_try_num),
    dpu_flag("smooth_enable", &dpu_disparity_params::smooth_enable),
    dpu_number("smooth_win_size", &dpu_disparity_params::smooth_win_size),
    dpu_number("sp_coef", &dpu_disparity_params::sp_coef),
};

/// [gpm]: the ground-plane model, in field order.
inline constexpr dpu_field_key<dpu_gpm_params> kDpuGpmKeys[] = {
    dpu_flag("enable", &dpu_gpm_params::enable),
    dpu_number("x_coordinate", &dpu_gpm_params::x_coordinate),
    dpu_number("y_coordinate", &dpu_gpm_params::y_coordinate),
    dpu_number("texture_t0", &dpu_gpm_params::texture_t0),
    dpu_number("texture_t1", &dpu_gpm_params::texture_t1),
    dpu_number("active_t", &dpu_gpm_params::active_t),
    dpu_number("ncost_t", &dpu_gpm_params::ncost_t),
    dpu_number("hist_dy_dist", &dpu_gpm_params::hist_dy_dist),
    dpu_number("gp_enabled_cols", &dpu_gpm_params::gp_enabled_cols),
    dpu_number("gp_ref_dy_t", &dpu_gpm_params::gp_ref_dy_t),
};

/// [extend_chop]: four edges each (left, top, right, bottom).
inline constexpr const char* kDpuEdgeKeys[] = {"extend_tar", "extend_ref", "chop"};

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_DPU_KEYS_H_
