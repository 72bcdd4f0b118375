// Imports a module calibration from OpenCV stereo calibrations saved with
// FileStorage: the IR pair and the left IR / RGB pair.
#include <Eigen/Geometry>

#include "host/import/camera_import.h"
#include "import_sources.h"
#include "stored_values.h"

namespace deflash_host {
namespace {

/// The keys a value may be stored under, first the stereo sample's own.
struct key_aliases {
  const char* what;
  std::vector<const char*> keys;
};

const key_aliases kCameraMatrix1{"camera matrix of the first camera",
                                 {"M1", "K1", "cameraMatrix1"}};
const key_aliases kDistortion1{"distortion of the first camera", {"D1", "distCoeffs1"}};
const key_aliases kCameraMatrix2{"camera matrix of the second camera",
                                 {"M2", "K2", "cameraMatrix2"}};
const key_aliases kDistortion2{"distortion of the second camera", {"D2", "distCoeffs2"}};
const key_aliases kRotation{"rotation", {"R"}};
const key_aliases kTranslation{"translation", {"T"}};
const key_aliases kImageSize{"image size", {"image_size", "imageSize"}};

std::string joined(const std::vector<std::string>& files) {
  std::string text;
  for (const std::string& file : files) text += (text.empty() ? "" : ", ") + file;
  return text;
}

/// One stereo calibration: the merged keys of its files.
class stereo_pair {
 public:
  stereo_pair(const char* option, const std::vector<std::string>& files)
      : option_(option), files_(files) {}

  bool read(std::string& error) {
    if (files_.empty()) {
      error = std::string("give the files of the ") + option_ + " calibration";
      return false;
    }
    for (const std::string& file : files_) {
      if (!read_opencv_storage(file, values_, error)) return false;
    }
    return true;
  }

  /// The entry under one of `aliases`; `found` stays null when `optional`
  /// and absent. Refuses an entry that is no numbers, and two aliases at once.
  bool find(const key_aliases& aliases, bool optional, const stored_value*& found, std::string& key,
            std::string& error) const {
    found = nullptr;
    for (const char* alias : aliases.keys) {
      const auto entry = values_.find(alias);
      if (entry == values_.end()) continue;
      if (found != nullptr) {
        error = entry->second.where(alias) + "the " + aliases.what + " is also given as \"" + key +
                "\"";
        return false;
      }
      found = &entry->second;
      key = alias;
    }
    if (found == nullptr) {
      if (optional) return true;
      std::string names;
      for (std::size_t i = 0; i < aliases.keys.size(); ++i) {
        names += std::string(i == 0                         ? ""
                             : i + 1 == aliases.keys.size() ? " or "
                                                            : ", ") +
                 "\"" + aliases.keys[i] + "\"";
      }
      error = joined(files_) + ": no " + aliases.what + " (" + names + ") in the " + option_ +
              " calibration";
      return false;
    }
    if (!found->problem.empty()) {
      error = found->where(key) + found->problem;
      return false;
    }
    return true;
  }

  bool camera(const key_aliases& matrix_keys, const key_aliases& distortion_keys,
              SocCalibCamera_S& camera, std::string& error) const {
    const stored_value* matrix = nullptr;
    const stored_value* distortion = nullptr;
    std::string matrix_key;
    std::string distortion_key;
    std::string what;
    if (!find(matrix_keys, false, matrix, matrix_key, error) ||
        !find(distortion_keys, false, distortion, distortion_key, error)) {
      return false;
    }
    if (!set_intrinsics(matrix->values, camera, what)) {
      error = matrix->where(matrix_key) + what;
      return false;
    }
    if (!map_distortion(distortion->values, camera.distortion, what)) {
      error = distortion->where(distortion_key) + what;
      return false;
    }
    return true;
  }

  /// X_second = R · X_first + T; R as a 3x3 matrix or a rotation vector.
  bool transform(rigid_transform& out, std::string& error) const {
    const stored_value* rotation = nullptr;
    const stored_value* translation = nullptr;
    std::string key;
    if (!find(kRotation, false, rotation, key, error)) return false;
    if (rotation->values.size() == 9) {
      out.rotation = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>(rotation->values.data());
    } else if (rotation->values.size() == 3) {
      const Eigen::Vector3d vector(rotation->values.data());
      const double angle = vector.norm();
      out.rotation = angle == 0.0 ? Eigen::Matrix3d::Identity()
                                  : Eigen::AngleAxisd(angle, vector / angle).matrix();
    } else {
      error = rotation->where(key) + "has " + std::to_string(rotation->values.size()) +
              " elements; a rotation is a 3x3 matrix or a 3-element rotation vector";
      return false;
    }
    rotation_key_ = rotation->where(key);
    if (!find(kTranslation, false, translation, key, error)) return false;
    if (translation->values.size() != 3) {
      error = translation->where(key) + "has " + std::to_string(translation->values.size()) +
              " elements; a translation has 3";
      return false;
    }
    out.translation = Eigen::Vector3d(translation->values.data());
    return true;
  }

  /// Where R was found, for messages about its angles.
  const std::string& rotation_key() const { return rotation_key_; }

  /// The size stored in the files, or `given`; both must agree when both exist.
  bool size(const image_size& given, const char* size_option, image_size& out,
            std::string& error) const {
    const stored_value* stored = nullptr;
    std::string key;
    if (!find(kImageSize, true, stored, key, error)) return false;
    out = given;
    if (stored == nullptr) {
      if (given.given()) return true;
      error = joined(files_) + ": no image size (\"image_size\" or \"imageSize\"); give " +
              size_option + " WxH";
      return false;
    }
    const std::vector<double>& v = stored->values;
    if (v.size() != 2 || v[0] != static_cast<int>(v[0]) || v[1] != static_cast<int>(v[1])) {
      error = stored->where(key) + "must be two whole numbers, width and height";
      return false;
    }
    const image_size from_file{static_cast<int>(v[0]), static_cast<int>(v[1])};
    if (given.given() && (given.width != from_file.width || given.height != from_file.height)) {
      error = stored->where(key) + "says " + std::to_string(from_file.width) + "x" +
              std::to_string(from_file.height) + " but " + size_option + " says " +
              std::to_string(given.width) + "x" + std::to_string(given.height);
      return false;
    }
    out = from_file;
    return true;
  }

  std::string files() const { return joined(files_); }

 private:
  const char* option_;
  std::vector<std::string> files_;
  stored_values values_;
  mutable std::string rotation_key_;
};

bool set_pair_size(const stereo_pair& pair, const image_size& size, SocCalibCamera_S& camera,
                   std::string& error) {
  std::string what;
  if (set_image_size(size, camera, what)) return true;
  error = pair.files() + ": " + what;
  return false;
}

bool set_pair_extrinsics(const stereo_pair& pair, double scale, float* out, std::string& error) {
  rigid_transform transform;
  std::string what;
  if (!pair.transform(transform, error)) return false;
  if (set_extrinsics(transform, scale, out, what)) return true;
  error = pair.rotation_key() + what;
  return false;
}

}  // namespace

bool import_opencv(const import_request& request, SocCalibParams_S& params, std::string& error) {
  stereo_pair ir("--ir-pair", request.ir_pair);
  stereo_pair rgb("--ir-rgb", request.ir_rgb);
  const double scale = millimetres_per(request.unit, length_unit::millimetre);
  image_size ir_size;
  image_size rgb_size;
  SocCalibCamera_S* cameras = params.camera;
  return ir.read(error) && rgb.read(error) &&
         ir.camera(kCameraMatrix1, kDistortion1, cameras[kCameraLeftIr], error) &&
         ir.camera(kCameraMatrix2, kDistortion2, cameras[kCameraRightIr], error) &&
         ir.size(request.ir_size, "--ir-size", ir_size, error) &&
         set_pair_size(ir, ir_size, cameras[kCameraLeftIr], error) &&
         set_pair_size(ir, ir_size, cameras[kCameraRightIr], error) &&
         set_pair_extrinsics(ir, scale, params.right_extrinsics, error) &&
         // The pair's first camera is the left IR camera again; the IR
         // pair's calibration of it is the one the module keeps.
         rgb.camera(kCameraMatrix2, kDistortion2, cameras[kCameraRgb], error) &&
         rgb.size(request.rgb_size, "--rgb-size", rgb_size, error) &&
         set_pair_size(rgb, rgb_size, cameras[kCameraRgb], error) &&
         set_pair_extrinsics(rgb, scale, params.rgb_extrinsics, error);
}

}  // namespace deflash_host
