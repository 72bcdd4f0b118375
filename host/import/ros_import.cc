// Imports a module calibration from ROS CameraInfo files of two stereo
// calibrations (IR pair, left IR / RGB pair), the extrinsics taken from the
// rectification and projection matrices or from a transform file.
#include <Eigen/Core>

#include "host/base/quoted_text.h"
#include "host/import/camera_import.h"
#include "import_sources.h"
#include "yaml_camera.h"

namespace deflash_host {
namespace {

using row_major_3x3 = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

/// One camera of a stereo calibration: its record entry plus the
/// rectification rotation and the projection matrix's offset column.
struct camera_info {
  SocCalibCamera_S camera{};
  Eigen::Matrix3d rectification = Eigen::Matrix3d::Identity();
  /// (P[0][3] / P[0][0], P[1][3] / P[1][1], 0): the camera's offset in the
  /// rectified frame, in the calibration's length unit.
  Eigen::Vector3d rectified_offset = Eigen::Vector3d::Zero();
};

bool read_camera_info(const std::string& path, camera_info& out, std::string& error) {
  YAML::Node root;
  if (!yaml_map::load(path, root, error)) return false;
  const yaml_map info(root, path, "");
  std::string model;
  std::vector<double> k;
  std::vector<double> d;
  std::vector<double> r;
  std::vector<double> p;
  image_size size;
  std::string what;
  if (!info.side("image_width", size.width, error) ||
      !info.side("image_height", size.height, error) ||
      !info.numbers("camera_matrix", 9, k, error) || !info.text("distortion_model", model, error) ||
      !info.numbers("distortion_coefficients", 0, d, error) ||
      !info.numbers("rectification_matrix", 9, r, error) ||
      !info.numbers("projection_matrix", 12, p, error)) {
    return false;
  }
  const std::size_t expected = model == "plumb_bob" ? 5 : model == "rational_polynomial" ? 8 : 0;
  if (expected == 0) {
    error = info.where("distortion_model") + quoted_text(model) +
            " is not supported; the camera model takes plumb_bob or rational_polynomial";
    return false;
  }
  if (d.size() != expected) {
    error = info.where("distortion_coefficients") + "has " + std::to_string(d.size()) + " terms; " +
            model + " has " + std::to_string(expected);
    return false;
  }
  if (!set_intrinsics(k, out.camera, what)) {
    error = info.where("camera_matrix") + what;
    return false;
  }
  if (!map_distortion(d, out.camera.distortion, what)) {
    error = info.where("distortion_coefficients") + what;
    return false;
  }
  if (!set_image_size(size, out.camera, what)) {
    error = path + ": " + what;
    return false;
  }
  if (p[0] == 0.0 || p[5] == 0.0) {
    error = info.where("projection_matrix") + "has a zero focal length";
    return false;
  }
  out.rectification = row_major_3x3(r.data());
  out.rectified_offset = Eigen::Vector3d(p[3] / p[0], p[7] / p[5], 0.0);
  return true;
}

/// A transform file: `rotation` (3x3) and `translation` (3), X_second =
/// rotation · X_first + translation.
bool read_transform(const std::string& path, rigid_transform& out, std::string& error) {
  YAML::Node root;
  std::vector<double> r;
  std::vector<double> t;
  if (!yaml_map::load(path, root, error)) return false;
  const yaml_map file(root, path, "");
  if (!file.numbers("rotation", 9, r, error) || !file.numbers("translation", 3, t, error)) {
    return false;
  }
  out.rotation = row_major_3x3(r.data());
  out.translation = Eigen::Vector3d(t.data());
  return true;
}

/// Reads one stereo pair: its two cameras and the second camera's transform
/// from the first.
bool read_pair(const char* option, const std::vector<std::string>& files, camera_info& first,
               camera_info& second, rigid_transform& transform, std::string& error) {
  if (files.size() != 2 && files.size() != 3) {
    error = std::string(option) +
            " takes the two CameraInfo files of the pair, then optionally a transform file";
    return false;
  }
  if (!read_camera_info(files[0], first, error) || !read_camera_info(files[1], second, error)) {
    return false;
  }
  if (files.size() == 3) return read_transform(files[2], transform, error);
  // Both rectified frames share one orientation and the projection matrices
  // place the second camera at o = (Tx/fx, Ty/fy, 0) in it (Tx = -fx·B), so
  // R2·X2 = R1·X1 + o2 - o1 and X2 = R2ᵀ·R1·X1 + R2ᵀ·(o2 - o1).
  const Eigen::Matrix3d r2_t = second.rectification.transpose();
  transform.rotation = r2_t * first.rectification;
  transform.translation = r2_t * (second.rectified_offset - first.rectified_offset);
  return true;
}

bool set_pair_extrinsics(const std::vector<std::string>& files, const rigid_transform& transform,
                         double scale, float* out, std::string& error) {
  std::string what;
  if (set_extrinsics(transform, scale, out, what)) return true;
  const bool translation = what.rfind("translation", 0) == 0;
  if (files.size() == 3) {
    error = files[2] + (translation ? ": \"translation\": " : ": \"rotation\": ") + what;
  } else {
    error = files[1] +
            (translation ? ": the translation from \"projection_matrix\" "
                         : ": the rotation from \"rectification_matrix\" ") +
            what;
  }
  return false;
}

}  // namespace

bool import_ros(const import_request& request, SocCalibParams_S& params, std::string& error) {
  camera_info left;
  camera_info right;
  camera_info left_again;
  camera_info rgb;
  rigid_transform right_from_left;
  rigid_transform rgb_from_left;
  const double scale = millimetres_per(request.unit, length_unit::metre);
  if (!read_pair("--ir-pair", request.ir_pair, left, right, right_from_left, error) ||
      !read_pair("--ir-rgb", request.ir_rgb, left_again, rgb, rgb_from_left, error)) {
    return false;
  }
  params.camera[kCameraLeftIr] = left.camera;
  params.camera[kCameraRightIr] = right.camera;
  params.camera[kCameraRgb] = rgb.camera;
  return set_pair_extrinsics(request.ir_pair, right_from_left, scale, params.right_extrinsics,
                             error) &&
         set_pair_extrinsics(request.ir_rgb, rgb_from_left, scale, params.rgb_extrinsics, error);
}

}  // namespace deflash_host
