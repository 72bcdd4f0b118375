// Scenes with a known answer for the row-error measurement: pictures rendered
// through the example module's true calibration, rectified by the library's
// debug check with a calibration that may be wrong by a known amount, and the
// row offset the geometry predicts for any point of the left picture.
#ifndef DEFLASH_TESTS_HOST_MEASURE_SCENE_RIG_H_
#define DEFLASH_TESTS_HOST_MEASURE_SCENE_RIG_H_

#include <string>
#include <vector>

#include "deflash/calib_records.h"
#include "example_scene.h"
#include "host/files/gray_image.h"
#include "host/inputs/calibration_json.h"
#include "host/measure/row_error.h"

namespace measure_test {

/// The example module's calibration as its calibration.json gives it.
deflash_host::module_calibration example_calibration();

/// The example module's close-range configuration file.
std::string close_config();

struct source_pair {
  deflash_host::gray_image left;
  deflash_host::gray_image right;
};

/// examples/module/scene_left.png and scene_right.png.
source_pair example_pictures();

/// `world` seen by the left and right IR cameras of `truth` (8-bit).
source_pair render_pair(const example_scene::scene& world, const SocCalibParams_S& truth);

/// A printed random target on `planes` (example_scene planes, marks unused):
/// smooth value noise whose blobs are about `feature_mm` across, seen by the
/// left and right IR cameras of `truth` (8-bit).
source_pair render_target(const std::vector<example_scene::textured_plane>& planes,
                          double feature_mm, const SocCalibParams_S& truth);

struct rectified_pair {
  deflash_host::gray_image left;
  deflash_host::gray_image right;
  soc_convert::DeStereoRectifyParams_S rectify{};
  bool converted = false;
};

/// Converts `used` with the close-range configuration and rectifies `sources`
/// with the debug check, as rectify-check does.
rectified_pair rectify_with(const deflash_host::module_calibration& used,
                            const source_pair& sources);

/// A view of an 8- or 16-bit picture for the measurement.
deflash_host::gray_view view_of(const deflash_host::gray_image& image);

/// The row offset (right row minus left row) of the scene point that the
/// left rectified pixel (x, y) shows, when the rectification `used` is
/// applied to cameras posed as in `truth`; false when the ray meets nothing.
bool predicted_dy(const example_scene::scene& world, const SocCalibParams_S& truth,
                  const soc_convert::DeStereoRectifyParams_S& used, double x, double y, double& dy);

/// Predicted figures at the places the measurement matched.
struct prediction {
  std::size_t points = 0;
  double mean_abs = 0.0;
  double mean_signed = 0.0;
  deflash_host::row_error_figures figures;  ///< of the predicted offsets
};

prediction predict(const example_scene::scene& world, const SocCalibParams_S& truth,
                   const soc_convert::DeStereoRectifyParams_S& used,
                   const std::vector<deflash_host::row_match>& matches, int width, int height);

/// Deterministic Gaussian noise of `sigma` grey levels added to an 8-bit picture.
void add_noise(deflash_host::gray_image& image, double sigma, unsigned seed);

/// Every pixel v becomes mean + (v - mean) * contrast, scaled by `brightness`,
/// rounded; 0 stays 0 (nothing seen there).
void rescale(deflash_host::gray_image& image, double mean, double contrast, double brightness);

}  // namespace measure_test

#endif  // DEFLASH_TESTS_HOST_MEASURE_SCENE_RIG_H_
