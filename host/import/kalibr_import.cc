// Imports a module calibration from a Kalibr camchain: cam0 the left IR,
// cam1 the right IR and cam2 the RGB camera, each cam's T_cn_cnm1 chained
// back to the left IR camera.
#include "host/base/quoted_text.h"
#include "host/import/camera_import.h"
#include "import_sources.h"
#include "yaml_camera.h"

namespace deflash_host {
namespace {

constexpr int kModuleCameras = 3;

bool read_camera(const yaml_map& cam, SocCalibCamera_S& camera, std::string& error) {
  std::string model;
  std::string distortion_model;
  std::vector<double> intrinsics;
  std::vector<double> distortion;
  std::vector<double> resolution;
  std::string what;
  if (!cam.text("camera_model", model, error)) return false;
  if (model != "pinhole") {
    error = cam.where("camera_model") + quoted_text(model) +
            " is not supported; the camera model is pinhole";
    return false;
  }
  if (!cam.text("distortion_model", distortion_model, error)) return false;
  if (distortion_model == "equidistant") {
    error = cam.where("distortion_model") +
            "\"equidistant\" (fisheye) distortion cannot be carried by the camera model; "
            "calibrate with radtan";
    return false;
  }
  if (distortion_model != "radtan") {
    error = cam.where("distortion_model") + quoted_text(distortion_model) +
            " is not supported; the camera model takes radtan";
    return false;
  }
  if (!cam.numbers("intrinsics", 4, intrinsics, error) ||
      !cam.numbers("distortion_coeffs", 4, distortion, error) ||
      !cam.numbers("resolution", 2, resolution, error)) {
    return false;
  }
  const std::vector<double> matrix = {intrinsics[0], 0.0, intrinsics[2], 0.0, intrinsics[1],
                                      intrinsics[3], 0.0, 0.0,           1.0};
  const image_size size{static_cast<int>(resolution[0]), static_cast<int>(resolution[1])};
  if (!set_intrinsics(matrix, camera, what)) {
    error = cam.where("intrinsics") + what;
    return false;
  }
  if (!map_distortion(distortion, camera.distortion, what)) {
    error = cam.where("distortion_coeffs") + what;
    return false;
  }
  if (size.width != resolution[0] || size.height != resolution[1] ||
      !set_image_size(size, camera, what)) {
    error = cam.where("resolution") + "must be two whole numbers from 1 to 65535";
    return false;
  }
  return true;
}

}  // namespace

bool import_kalibr(const import_request& request, SocCalibParams_S& params, std::string& error) {
  if (request.files.size() != 1) {
    error = "a Kalibr import takes one camchain file";
    return false;
  }
  const std::string& path = request.files[0];
  YAML::Node root;
  if (!yaml_map::load(path, root, error)) return false;
  const yaml_map chain(root, path, "");
  if (chain.has("cam3")) {
    error = chain.where("cam3") +
            "the module has three cameras: cam0 left IR, cam1 right IR, "
            "cam2 RGB";
    return false;
  }
  const double scale = millimetres_per(request.unit, length_unit::metre);
  rigid_transform from_left;  // camera n from cam0, built up along the chain
  float* extrinsics[kModuleCameras] = {nullptr, params.right_extrinsics, params.rgb_extrinsics};
  for (int n = 0; n < kModuleCameras; ++n) {
    const std::string name = "cam" + std::to_string(n);
    if (!chain.has(name.c_str())) {
      error = path;
      error +=
          ": \"" + name + "\" is missing; the module needs cam0 left IR, cam1 right IR, cam2 RGB";
      return false;
    }
    const yaml_map cam(root[name], path, name + ".");
    if (!cam.node().IsMap()) {
      error = chain.where(name.c_str()) + "must be a map";
      return false;
    }
    if (!read_camera(cam, params.camera[n], error)) return false;
    if (n == 0) continue;
    rigid_transform step;
    if (!cam.transform_4x4("T_cn_cnm1", step, error)) return false;
    // X_n = T_n,n-1 · X_n-1, so T_n,0 = T_n,n-1 · T_n-1,0.
    from_left.translation = step.rotation * from_left.translation + step.translation;
    from_left.rotation = step.rotation * from_left.rotation;
    std::string what;
    if (!set_extrinsics(from_left, scale, extrinsics[n], what)) {
      error = cam.where("T_cn_cnm1") + what;
      return false;
    }
  }
  return true;
}

}  // namespace deflash_host
