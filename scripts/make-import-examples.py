#!/usr/bin/python3
"""Writes examples/opencv, examples/ros and examples/kalibr: the example
module's calibration (examples/module/calibration.json) in the files those
calibration tools write, so that importing any of them gives the module back.

Numbers are written with repr(), the shortest text that reads back as the
same double, so the importers see the very values computed here.
"""
import json
import math
import os

import numpy as np

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
MODULE = json.load(open(os.path.join(ROOT, "examples/module/calibration.json")))


def rotation(angles):
    """Rz(a2) @ Rx(a0) @ Ry(a1), the module's angle convention."""
    a0, a1, a2 = angles
    rx = np.array([[1, 0, 0], [0, math.cos(a0), -math.sin(a0)], [0, math.sin(a0), math.cos(a0)]])
    ry = np.array([[math.cos(a1), 0, math.sin(a1)], [0, 1, 0], [-math.sin(a1), 0, math.cos(a1)]])
    rz = np.array([[math.cos(a2), -math.sin(a2), 0], [math.sin(a2), math.cos(a2), 0], [0, 0, 1]])
    return rz @ rx @ ry


def camera_matrix(cam):
    return [cam["fx"], 0.0, cam["cx"], 0.0, cam["fy"], cam["cy"], 0.0, 0.0, 1.0]


def distortion(cam):
    """k1 k2 p1 p2 k3, then k4 k5 k6 when the camera has them."""
    terms = [cam["k1"], cam["k2"], cam["p1"], cam["p2"], cam["k3"]]
    if any(key in cam for key in ("k4", "k5", "k6")):
        terms += [cam.get("k4", 0.0), cam.get("k5", 0.0), cam.get("k6", 0.0)]
    return terms


def numbers(values):
    return ", ".join(repr(float(v)) for v in values)


def transform(name):
    e = MODULE[name]
    return rotation(e["angles"]), np.array(e["translation"], dtype=float)


def write(path, text):
    with open(os.path.join(ROOT, path), "w") as f:
        f.write(text)


def opencv_matrix(name, rows, cols, values):
    return (f"{name}: !!opencv-matrix\n   rows: {rows}\n   cols: {cols}\n   dt: d\n"
            f"   data: [ {numbers(values)} ]\n")


def opencv_xml_matrix(name, rows, cols, values):
    return (f"<{name} type_id=\"opencv-matrix\">\n  <rows>{rows}</rows>\n  <cols>{cols}</cols>\n"
            f"  <dt>d</dt>\n  <data>\n    {' '.join(repr(float(v)) for v in values)}</data></{name}>\n")


def make_opencv():
    left, right, rgb = MODULE["left_ir"], MODULE["right_ir"], MODULE["rgb"]
    r, t = transform("right_ir_extrinsics")
    # The IR pair as the stereo sample writes it: intrinsics and extrinsics apart.
    write("examples/opencv/intrinsics.yml",
          "%YAML:1.0\n---\n" + opencv_matrix("M1", 3, 3, camera_matrix(left)) +
          opencv_matrix("D1", 1, len(distortion(left)), distortion(left)) +
          opencv_matrix("M2", 3, 3, camera_matrix(right)) +
          opencv_matrix("D2", 1, len(distortion(right)), distortion(right)) +
          f"image_size: [ {left['width']}, {left['height']} ]\n")
    write("examples/opencv/extrinsics.yml",
          "%YAML:1.0\n---\n" + opencv_matrix("R", 3, 3, r.flatten()) +
          opencv_matrix("T", 3, 1, t))
    # The left IR / RGB pair in one XML file, under the long key names.
    r, t = transform("rgb_extrinsics")
    write("examples/opencv/ir_rgb.xml",
          "<?xml version=\"1.0\"?>\n<opencv_storage>\n" +
          opencv_xml_matrix("cameraMatrix1", 3, 3, camera_matrix(left)) +
          opencv_xml_matrix("distCoeffs1", 1, len(distortion(left)), distortion(left)) +
          opencv_xml_matrix("cameraMatrix2", 3, 3, camera_matrix(rgb)) +
          opencv_xml_matrix("distCoeffs2", 1, len(distortion(rgb)), distortion(rgb)) +
          opencv_xml_matrix("R", 3, 3, r.flatten()) + opencv_xml_matrix("T", 3, 1, t) +
          f"<imageSize>\n  {rgb['width']} {rgb['height']}</imageSize>\n</opencv_storage>\n")


def aligning_rotation(t):
    """A rotation taking direction t onto the x axis (the sign of t's x)."""
    a = t / np.linalg.norm(t)
    b = np.array([math.copysign(1.0, t[0]), 0.0, 0.0])
    axis = np.cross(a, b)
    s = np.linalg.norm(axis)
    c = float(a @ b)
    k = np.array([[0, -axis[2], axis[1]], [axis[2], 0, -axis[0]], [-axis[1], axis[0], 0]]) / s
    return np.eye(3) + s * k + (1 - c) * (k @ k)


def camera_info(name, cam, rect, projection):
    d = distortion(cam)
    model = "rational_polynomial" if len(d) == 8 else "plumb_bob"
    return (f"image_width: {cam['width']}\nimage_height: {cam['height']}\ncamera_name: {name}\n"
            f"camera_matrix:\n  rows: 3\n  cols: 3\n  data: [{numbers(camera_matrix(cam))}]\n"
            f"distortion_model: {model}\n"
            f"distortion_coefficients:\n  rows: 1\n  cols: {len(d)}\n  data: [{numbers(d)}]\n"
            f"rectification_matrix:\n  rows: 3\n  cols: 3\n  data: [{numbers(rect.flatten())}]\n"
            f"projection_matrix:\n  rows: 3\n  cols: 4\n  data: [{numbers(projection.flatten())}]\n")


def make_ros_pair(first_name, first, second_name, second, extrinsics, prefix):
    r, t = transform(extrinsics)
    t = t / 1000.0  # ROS works in metres
    r2 = aligning_rotation(t)  # second rectified from second raw
    r1 = r2 @ r                # first rectified from first raw: R2ᵀ·R1 = R
    offset = r2 @ t            # (Tx/f, 0, 0) up to rounding
    f = max(first["fx"], first["fy"], second["fx"], second["fy"])
    cx, cy = first["cx"], first["cy"]
    p1 = np.array([[f, 0, cx, 0], [0, f, cy, 0], [0, 0, 1, 0]], dtype=float)
    p2 = np.array([[f, 0, cx, f * offset[0]], [0, f, cy, 0], [0, 0, 1, 0]], dtype=float)
    write(f"examples/ros/{prefix}_{first_name}.yaml", camera_info(first_name, first, r1, p1))
    write(f"examples/ros/{prefix}_{second_name}.yaml", camera_info(second_name, second, r2, p2))


def make_ros():
    make_ros_pair("left", MODULE["left_ir"], "right", MODULE["right_ir"],
                  "right_ir_extrinsics", "ir")
    make_ros_pair("left", MODULE["left_ir"], "rgb", MODULE["rgb"], "rgb_extrinsics", "ir_rgb")


def kalibr_camera(index, cam, to_previous):
    d = distortion(cam)
    text = f"cam{index}:\n"
    if to_previous is not None:
        text += "  T_cn_cnm1:\n" + "".join(
            f"  - [{numbers(row)}]\n" for row in to_previous)
    return text + (f"  camera_model: pinhole\n"
                   f"  intrinsics: [{numbers([cam['fx'], cam['fy'], cam['cx'], cam['cy']])}]\n"
                   f"  distortion_model: radtan\n  distortion_coeffs: [{numbers(d[:4])}]\n"
                   f"  resolution: [{cam['width']}, {cam['height']}]\n"
                   f"  rostopic: /module/{['left_ir', 'right_ir', 'rgb'][index]}/image_raw\n")


def rigid(r, t):
    m = np.eye(4)
    m[:3, :3] = r
    m[:3, 3] = t
    return m


def make_kalibr():
    right = rigid(*transform("right_ir_extrinsics"))
    rgb = rigid(*transform("rgb_extrinsics"))
    right[:3, 3] /= 1000.0
    rgb[:3, 3] /= 1000.0
    # Kalibr's radtan has no k3..k6: this example drops them, so its images
    # differ from the module's (see examples/kalibr/README.md).
    write("examples/kalibr/camchain.yaml",
          kalibr_camera(0, MODULE["left_ir"], None) +
          kalibr_camera(1, MODULE["right_ir"], right) +
          kalibr_camera(2, MODULE["rgb"], rgb @ np.linalg.inv(right)))


make_opencv()
make_ros()
make_kalibr()
