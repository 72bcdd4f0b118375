"""One behaviour for every front end: the bad inputs of the tool's catalogue
(tests/tools/bad_input_test.cc) whose operation the module has, each run
through the tool and through the module. Both must refuse it alike: exit code
1 as CalibrationError or LibraryError, 2 as UsageError, and the module's
lines are the tool's without "deflash: ", its options named as the module's
arguments."""

import os
import stat
import struct
import subprocess
import zlib

import pytest

import deflash

SOURCE = os.environ.get("DEFLASH_SOURCE_DIR",
                        os.path.join(os.path.dirname(__file__), "..", ".."))
MODULE = os.path.join(SOURCE, "examples", "module")
CALIBRATION = os.path.join(MODULE, "calibration.json")
CLOSE = os.path.join(MODULE, "calib_close.ini")
IMPLAUSIBLE = " (--allow-implausible lets it pass)"

#: The options these cases reach and the module's arguments for them.
ARGUMENTS = {"--allow-implausible": "allow_implausible=True", "--timestamp": "timestamp",
             "--dpu": "dpu", "--baseline": "baseline", "--fb pair": "pair", "--fb": "pair",
             "--index": "index"}


def text_of(name):
    with open(os.path.join(MODULE, name), encoding="utf-8") as f:
        return f.read()


def edited(name, old, new):
    text = text_of(name)
    assert old in text, old
    return text.replace(old, new, 1)


class Case:
    """A bad input: `tool` and `module` are made in the case's folder `d`;
    `environment` (with "$DIR") is set for both front ends."""

    def __init__(self, name, setup, code, line=None, environment=None):
        self.name = name
        self.setup = setup
        self.code = code
        self.line = line
        self.environment = environment or {}


def write(d, name, text):
    path = d / name
    path.write_bytes(text.encode("utf-8") if isinstance(text, str) else text)
    return str(path)


def calib(d, calibration, config, *, timestamp=None):
    """`calib` of one mode, and calibration_image with the same values."""
    args = ["calib", "--calibration", calibration, "--config", config, "--out",
            str(d / "calib.bin")]
    kwargs = {}
    if timestamp is not None:
        args.append(f"--timestamp={timestamp}")
        kwargs["timestamp"] = timestamp
    return args, lambda: deflash.calibration_image(calibration, [config], **kwargs)


def calib_json(d, text):
    return calib(d, write(d, "module.json", text), CLOSE)


def calib_config(d, text):
    return calib(d, CALIBRATION, write(d, "c.ini", text))


def module_json(old, new):
    return edited("calibration.json", old, new)


def close_ini(old, new):
    return edited("calib_close.ini", old, new)


def deconfig(d, dpu, d2c, ir_pre):
    args = ["deconfig", "--d2c", d2c, "--ir-pre", ir_pre, "--out", str(d / "de.bin")]
    for path in dpu:
        args += ["--dpu", path]
    return args, lambda: deflash.depth_engine_image(dpu, d2c, ir_pre)


def deconfig_dpu(d, text):
    return deconfig(d, [write(d, "dpu.ini", text)], os.path.join(MODULE, "d2c.ini"),
                    os.path.join(MODULE, "ir_pre.ini"))


def deconfig_d2c(d, text):
    return deconfig(d, [os.path.join(MODULE, "dpu_close.ini")], write(d, "d2c.ini", text),
                    os.path.join(MODULE, "ir_pre.ini"))


def deconfig_ir_pre(d, text):
    return deconfig(d, [os.path.join(MODULE, "dpu_close.ini")], os.path.join(MODULE, "d2c.ini"),
                    write(d, "ir.ini", text))


def folder(d, name):
    (d / name).mkdir()
    return str(d / name)


def fifo(d, name):
    os.mkfifo(d / name)
    return str(d / name)


def update(d, command, image, *values):
    """`update-baseline` or `update-fb` of `image` (bytes), and the module's
    update with the same values; the module names the image "image"."""
    path = write(d, "image.bin", image)
    args = [command, path, "--out", str(d / "out.bin")]
    if command == "update-baseline":
        args += ["--baseline", values[0]]
        return args, lambda: deflash.update_baseline(image, float(values[0]))
    pairs = []
    for pair in values:
        args += ["--fb", pair]
        pairs.append(tuple(float(v) for v in pair.split(":")))
    return args, lambda: deflash.update_multi_fb_d2c(image, pairs)


def update_at(d, image, baseline, index):
    """`update-baseline --index` of `image`, and the module's update of one entry."""
    path = write(d, "image.bin", image)
    return (["update-baseline", path, "--out", str(d / "out.bin"), "--baseline", baseline,
             f"--index={index}"],
            lambda: deflash.update_baseline(image, float(baseline), index))


def import_opencv(d, intrinsics_text):
    """`calib-json --from opencv` with the intrinsics file's text `intrinsics_text`."""
    opencv = os.path.join(EXAMPLES, "opencv")
    pair = [write(d, "intrinsics.yml", intrinsics_text), os.path.join(opencv, "extrinsics.yml")]
    rgb = [os.path.join(opencv, "ir_rgb.xml")]
    return (["calib-json", "--from", "opencv", "--ir-pair", *pair, "--ir-rgb", *rgb,
             "--temperatures", "35,35,38", "--out", str(d / "module.json")],
            lambda: deflash.import_calibration("opencv", temperatures=(35, 35, 38),
                                               ir_pair=pair, ir_rgb=rgb))


def dry_run_update(d, image):
    """`update-baseline --dry-run` of `image`, which writes into the
    temporary folder, and the module's update, which always does."""
    path = write(d, "image.bin", image)
    return (["update-baseline", path, "--baseline", "-60", "--dry-run"],
            lambda: deflash.update_baseline(image, -60.0))


EXAMPLES = os.path.join(SOURCE, "examples")


def example_edited(name, old, new):
    with open(os.path.join(EXAMPLES, name), encoding="utf-8") as f:
        text = f.read()
    assert old in text, old
    return text.replace(old, new, 1)


def import_kalibr(d, text):
    """`calib-json --from kalibr` of camchain `text`, and the module's import."""
    camchain = write(d, "camchain.yaml", text)
    return (["calib-json", "--from", "kalibr", camchain, "--temperatures", "35,35,38", "--out",
             str(d / "module.json")],
            lambda: deflash.import_calibration("kalibr", temperatures=(35, 35, 38),
                                               camchain=camchain))


def import_ros(d, left_text):
    """`calib-json --from ros` with the left IR file's text `left_text`."""
    ros = os.path.join(EXAMPLES, "ros")
    left = write(d, "left.yaml", left_text)
    pair = [left, os.path.join(ros, "ir_right.yaml")]
    rgb = [os.path.join(ros, "ir_rgb_left.yaml"), os.path.join(ros, "ir_rgb_rgb.yaml")]
    return (["calib-json", "--from", "ros", *pair, *rgb, "--temperatures", "35,35,38", "--out",
             str(d / "module.json")],
            lambda: deflash.import_calibration("ros", temperatures=(35, 35, 38), ir_pair=pair,
                                               ir_rgb=rgb))


def png_header_only(width, height):
    """A greyscale PNG whose header claims `width` x `height` pixels."""
    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(b"")) + chunk(b"IEND", b""))


def picture(d, name, data):
    """rectify-check with `data` as its left picture, and read_picture of it."""
    path = write(d, name, data)
    return (["rectify-check", "--calibration", CALIBRATION, "--config", CLOSE, "--left", path,
             "--right", os.path.join(MODULE, "scene_right.png"), "--out-dir",
             str(d / "checked")],
            lambda: deflash.read_picture(path))


def image_of(kind):
    if kind == "calibration":
        return deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1700000000)
    return deflash.start_row_image(CALIBRATION, [CLOSE])


CASES = [
    # The calibration file itself.
    Case("MissingCalibration", lambda d: calib(d, str(d / "absent.json"), CLOSE), 2,
         "$DIR/absent.json: cannot be read (No such file or directory)"),
    Case("CalibrationIsAFolder", lambda d: calib(d, folder(d, "module.json"), CLOSE), 2,
         "$DIR/module.json: cannot be read (it is a folder)"),
    Case("CalibrationIsAFifo", lambda d: calib(d, fifo(d, "module.json"), CLOSE), 2,
         "$DIR/module.json: cannot be read (not a regular file)"),
    Case("CalibrationIsAnEndlessDevice", lambda d: calib(d, "/dev/zero", CLOSE), 2,
         "/dev/zero: cannot be read (not a regular file)"),
    Case("CalibrationIsEmpty", lambda d: calib_json(d, ""), 1),
    Case("CalibrationIsTruncated",
         lambda d: calib_json(d, text_of("calibration.json")[:len(text_of("calibration.json")) // 2]),
         1),
    Case("CalibrationIsHuge", lambda d: calib_json(d, " " * (5 << 20)), 2,
         "$DIR/module.json: cannot be read (5242880 bytes, more than the 4194304 this kind of "
         "file may have)"),
    Case("CalibrationIsDeeplyNested", lambda d: calib_json(d, "[" * 100000), 1,
         "$DIR/module.json: not a calibration: nested deeper than 16 levels"),
    Case("CalibrationHasNonAsciiBytes", lambda d: calib(
        d, write(d, "module.json", b'{"left_ir\xff\xfe": 1}'), CLOSE), 1),
    Case("CalibrationHasAnUnknownKey", lambda d: calib_json(d, module_json('"fx"', '"fxx"')), 1,
         '$DIR/module.json: unknown key "left_ir.fxx"'),
    Case("FocalLengthZero",
         lambda d: calib_json(d, module_json('"fx": 643.52', '"fx": 0')), 1,
         "$DIR/module.json: left_ir.fx: 0 is not a positive focal length in pixels" +
         IMPLAUSIBLE),
    Case("FocalLengthNegative",
         lambda d: calib_json(d, module_json('"fx": 643.52', '"fx": -643.52')), 1),
    Case("FocalLengthDenormal",
         lambda d: calib_json(d, module_json('"fx": 643.52', '"fx": 1e-40')), 1),
    Case("PrincipalPointOutsideTheImage",
         lambda d: calib_json(d, module_json('"cx": 641.37', '"cx": 2000')), 1,
         "$DIR/module.json: left_ir.cx: 2000 lies outside the image (0 to 1280)" + IMPLAUSIBLE),
    Case("OnePixelImage", lambda d: calib_json(d, module_json(
        '"width": 1280,\n    "height": 800,\n    "fx": 643.52',
        '"width": 1,\n    "height": 1,\n    "fx": 643.52')), 1),
    Case("IdenticalCameras",
         lambda d: calib_json(d, module_json("[-50.012, 0.103, 0.207]", "[0, 0, 0]")), 1,
         "$DIR/module.json: right_ir_extrinsics.tx: baseline 0 mm is shorter than 1 mm" +
         IMPLAUSIBLE),
    Case("VerticalBaseline",
         lambda d: calib_json(d, module_json("[-50.012, 0.103, 0.207]", "[-5, -50, 0]")), 1,
         "$DIR/module.json: right_ir_extrinsics.tx: the baseline (-5, -50, 0) mm does not run "
         "mainly along x" + IMPLAUSIBLE),
    Case("DepthOnlyBaseline",
         lambda d: calib_json(d, module_json("[-50.012, 0.103, 0.207]", "[0, 0, 50]")), 1),
    Case("RationalDenominatorZeroInTheImage",
         lambda d: calib_json(d, module_json('"k4": 0.0021', '"k4": -1.0')), 1),

    # Configuration files.
    Case("MissingConfiguration", lambda d: calib(d, CALIBRATION, str(d / "c.ini")), 2,
         "$DIR/c.ini: cannot be read (No such file or directory)"),
    Case("ConfigurationIsAFolder", lambda d: calib(d, CALIBRATION, folder(d, "c.ini")), 2,
         "$DIR/c.ini: cannot be read (it is a folder)"),
    Case("ConfigurationIsAFifo", lambda d: calib(d, CALIBRATION, fifo(d, "c.ini")), 2,
         "$DIR/c.ini: cannot be read (not a regular file)"),
    Case("ConfigurationIsEmpty", lambda d: calib_config(d, ""), 1,
         "$DIR/c.ini: not a calibration configuration: section [basic] is missing or empty"),
    Case("ConfigurationSectionNotClosed", lambda d: calib_config(d, "[basic\nbaseline = 1\n"), 1,
         "$DIR/c.ini:1: ini parsing failed, section not closed"),
    Case("ConfigurationLineWithoutEquals",
         lambda d: calib_config(d, close_ini("ref_dist = ", "ref_dist ")), 1),
    Case("ConfigurationValueNotANumber", lambda d: calib_config(
        d, close_ini("src_img_scale = 1.0", "src_img_scale = banana")), 1),
    Case("ConfigurationMissingRequiredKey",
         lambda d: calib_config(d, close_ini("baseline = -50", "")), 1,
         "$DIR/c.ini: [basic]: required key baseline is missing"),
    Case("ScaleNotANumber", lambda d: calib_config(
        d, close_ini("src_img_scale = 1.0", "src_img_scale = nan")), 1),
    Case("ScaleHuge", lambda d: calib_config(
        d, close_ini("src_img_scale = 1.0", "src_img_scale = 1e30")), 1),
    Case("ChopThatWrapsToZero", lambda d: calib_config(
        d, close_ini("src_img_left_chop = 0", "src_img_left_chop = 65536")), 1),
    Case("ChopNegative", lambda d: calib_config(
        d, close_ini("src_img_left_chop = 0", "src_img_left_chop = -1")), 1),
    Case("ChopsLargerThanTheImage", lambda d: calib_config(
        d, close_ini("src_img_left_chop = 0", "src_img_left_chop = 1280")), 1),
    Case("CameraTypeNine", lambda d: calib_config(d, close_ini("cam_type = 0", "cam_type = 9")),
         1),
    Case("CameraTypeOutOfByteRange",
         lambda d: calib_config(d, close_ini("cam_type = 0", "cam_type = 256")), 1),
    Case("RotateTypeSeven",
         lambda d: calib_config(d, close_ini("rotate_type = 0", "rotate_type = 7")), 1),
    Case("ValidScaleZero",
         lambda d: calib_config(d, close_ini("valid_scale = 1.0", "valid_scale = 0")), 1),
    Case("DepthScaleNegative",
         lambda d: calib_config(d, close_ini("depth_scale = 1.0", "depth_scale = -1.0")), 1),
    Case("ClipLargerThanTheImage", lambda d: calib_config(
        d, close_ini("clip_left_w_rgb = 0", "clip_left_w_rgb = 5000")), 1),
    Case("AMegabyteLine", lambda d: calib_config(
        d, close_ini("ref_dist = ", "ref_dist = " + "9" * (1 << 20) + " ; ")), 1),

    # Option values.
    Case("TimestampThatWrapsTo1970",
         lambda d: calib(d, CALIBRATION, CLOSE, timestamp=4294967296), 2,
         "--timestamp 4294967296 does not fit the headers' 32-bit time stamp (at most "
         "4294967295)"),
    Case("TimestampNegative", lambda d: calib(d, CALIBRATION, CLOSE, timestamp=-1), 2,
         '--timestamp "-1" must be a non-negative whole number of seconds'),

    # Depth-engine configuration files.
    Case("EmptyDpuFile", lambda d: deconfig_dpu(d, ""), 1,
         "$DIR/dpu.ini: not a DPU configuration: section [mode] is missing or empty"),
    Case("CalibrationIniGivenAsDpu", lambda d: deconfig(
        d, [CLOSE], os.path.join(MODULE, "d2c.ini"), os.path.join(MODULE, "ir_pre.ini")), 1,
         CLOSE + ": not a DPU configuration: section [mode] is missing or empty"),
    Case("DpuVersionNotANumber", lambda d: deconfig_dpu(
        d, edited("dpu_close.ini", "version = ", "version = banana ; ")), 1),
    Case("DpuDescriptionTooLong", lambda d: deconfig_dpu(
        d, edited("dpu_close.ini", "dpu_desc = ", "dpu_desc = a_description_far_too_long_")), 1),
    Case("DpuDepthUnitUnknown", lambda d: deconfig_dpu(
        d, edited("dpu_close.ini", "depth_unit = ", "depth_unit = 0.5 ; ")), 1),
    Case("DpuResolutionOfThreeValues", lambda d: deconfig_dpu(
        d, edited("dpu_close.ini", "in_ir_res = {1280,800}", "in_ir_res = {1280,800,0}")), 1,
         '$DIR/dpu.ini:14: in_ir_res: "{1280,800,0}" is not a list of 2 whole numbers in braces, '
         "such as {1280,800}"),
    Case("DpuResolutionBeyondSixteenBits", lambda d: deconfig_dpu(
        d, edited("dpu_close.ini", "chop_out_res = {1280,800}", "chop_out_res = {70000,800}")),
         1, "$DIR/dpu.ini:16: chop_out_res: 70000 is outside 0 to 65535"),
    Case("DpuResolutionTooSmall", lambda d: deconfig_dpu(
        d, edited("dpu_close.ini", "in_ir_res = {1280,800}", "in_ir_res = {8,8}")), 1,
         "$DIR/dpu.ini:14: in_ir_res: 8 x 8 is smaller than 16 x 16 pixels" + IMPLAUSIBLE),
    Case("DpuDisparityNotANumber", lambda d: deconfig_dpu(
        d, edited("dpu_close.ini", "win_size = 7", "win_size = seven")), 1,
         "$DIR/dpu.ini:43: win_size: seven is not a long long"),
    Case("DpuListPieceNotANumber", lambda d: deconfig_dpu(
        d, edited("dpu_close.ini", "extend_ref = {64,0,0,0}", "extend_ref = {64,x,0,0}")), 1),
    Case("D2cScaleZero", lambda d: deconfig_d2c(d, edited("d2c.ini", "scale = 1.5", "scale = 0")),
         1, "$DIR/d2c.ini:22: scale: 0 is outside (0, 16]" + IMPLAUSIBLE),
    Case("D2cUnitWithoutItsEnable", lambda d: deconfig_d2c(
        d, edited("d2c.ini", "d2d_params_unit_in_R_en = 1\n", "")), 1,
         "$DIR/d2c.ini: [group1]: required key d2d_params_unit_in_R_en is missing"),
    Case("IrPreFifteenBoxWeights", lambda d: deconfig_ir_pre(
        d, edited("ir_pre.ini", "box_weight_16 = {1,", "box_weight_16 = {")), 1),
    Case("IrPreNegativeGain", lambda d: deconfig_ir_pre(
        d, edited("ir_pre.ini", "gain_range = {16,", "gain_range = {-16,")), 1,
         "$DIR/ir.ini:18: gain_range: -16 is outside 0 to 4294967295"),
    Case("D2cGroupsBeyondTheLimit", lambda d: deconfig(
        d, [os.path.join(MODULE, "dpu_close.ini")],
        write(d, "d2c.ini", "[basic]\nnum = 101\nversion = 1.0\n"),
        os.path.join(MODULE, "ir_pre.ini")), 1, "$DIR/d2c.ini:2: num: 101 is outside 1 to 100"),
    Case("IrPreGroupsBeyondTheLimit", lambda d: deconfig(
        d, [os.path.join(MODULE, "dpu_close.ini")], os.path.join(MODULE, "d2c.ini"),
        write(d, "ir.ini", "[basic]\nnum = 11\nversion = 1.0\n")), 1,
         "$DIR/ir.ini:2: num: 11 is outside 1 to 10"),
    Case("D2cGroupMissing", lambda d: deconfig(
        d, [os.path.join(MODULE, "dpu_close.ini")],
        write(d, "d2c.ini", "[basic]\nnum = 2\nversion = 1.0\n[group1]\ndesc = a\n"),
        os.path.join(MODULE, "ir_pre.ini")), 1,
         "$DIR/d2c.ini: not a D2C configuration: section [group2] is missing or empty"),
    Case("IrPreFileGivenAsD2c", lambda d: deconfig(
        d, [os.path.join(MODULE, "dpu_close.ini")], os.path.join(MODULE, "ir_pre.ini"),
        os.path.join(MODULE, "ir_pre.ini")), 1),
    Case("OverlongConfigurationPath", lambda d: deconfig(
        d, [os.path.join(MODULE, "dpu_close.ini")], "/" + "a" * 300,
        os.path.join(MODULE, "ir_pre.ini")), 2, "/" + "a" * 300 + ": path longer than 255 characters"),
    Case("D2cGroupCountZero", lambda d: deconfig(
        d, [os.path.join(MODULE, "dpu_close.ini")],
        write(d, "d2c.ini", "[basic]\nnum = 0\nversion = 1.0\n"),
        os.path.join(MODULE, "ir_pre.ini")), 1, "$DIR/d2c.ini:2: num: 0 is outside 1 to 100"),
    Case("DpuFileWithNonAsciiBytes", lambda d: deconfig(
        d, [write(d, "dpu.ini", b"[mode]\nversion = 1.0\ndpu_desc = \xff\xfe\xc3\xa9\n")],
        os.path.join(MODULE, "d2c.ini"), os.path.join(MODULE, "ir_pre.ini")), 1,
         "$DIR/dpu.ini: not a DPU configuration: section [basic] is missing or empty"),
    Case("DeconfigWithoutADpuFile", lambda d: deconfig(
        d, [], os.path.join(MODULE, "d2c.ini"), os.path.join(MODULE, "ir_pre.ini")), 2,
         "give at least one --dpu file: without one the image's DPU block stays erased flash, "
         "which inspect rejects"),
    Case("DpuFileIsAFolder", lambda d: deconfig(
        d, [folder(d, "dpu")], os.path.join(MODULE, "d2c.ini"),
        os.path.join(MODULE, "ir_pre.ini")), 2, "$DIR/dpu: cannot be read (it is a folder)"),

    # Updates of an image.
    Case("UpdateBaselineNotANumber",
         lambda d: update(d, "update-baseline", image_of("calibration"), "nan"), 2,
         "--baseline: not a finite number"),
    Case("UpdateBaselineInfinite",
         lambda d: update(d, "update-baseline", image_of("calibration"), "inf"), 2),
    Case("UpdateOfZeros", lambda d: update(d, "update-baseline", bytes(4096), "50"), 1,
         "$IMAGE: does not verify; nothing patched"),
    Case("UpdateFbOfAStartRowImage",
         lambda d: update(d, "update-fb", image_of("start-row"), "643.5:50"), 2,
         "$IMAGE: a start-row file; expected a calibration image (20480 or 24576 bytes)"),
    Case("UpdateFbNotANumber",
         lambda d: update(d, "update-fb", image_of("calibration"), "nan:50.5"), 2),
    Case("UpdateFbOfAnUnknownFocalLength",
         lambda d: update(d, "update-fb", image_of("calibration"), "1.0:51.0"), 1),
    Case("UpdateBaselineOfTheOtherSign",
         lambda d: update(d, "update-baseline", image_of("calibration"), "50"), 1),
    Case("UpdateBaselineBeyondAModule",
         lambda d: update(d, "update-baseline", image_of("calibration"), "-5000"), 2),
    Case("UpdateFbPairsOneMatchingNoEntry",
         lambda d: update(d, "update-fb", image_of("calibration"), "645:-50", "900:-50"), 1,
         "$IMAGE: --fb 900:-50 matches no depth-to-colour entry (within 6 of its focal length); "
         "the depth-to-colour entries' focal lengths are 645.07"),
    Case("UpdateFbFocalLengthZero",
         lambda d: update(d, "update-fb", image_of("calibration"), "0:-50"), 1,
         "$IMAGE: --fb 0:-50 matches no depth-to-colour entry (within 6 of its focal length); "
         "the depth-to-colour entries' focal lengths are 645.07"),

    Case("UpdateBaselineAtAnIndexBeyondTheEntries",
         lambda d: update_at(d, image_of("calibration"), "-60", 5), 1,
         "$IMAGE: has 1 depth-calculation entry (0); --index 5 names none"),
    Case("UpdateBaselineAtANegativeIndex",
         lambda d: update_at(d, image_of("calibration"), "-60", -1), 2,
         "--index -1 must be 0 or more; leave --index out to update every entry"),
    Case("UpdateBaselineBeyondFloat32",
         lambda d: update(d, "update-baseline", image_of("calibration"), "1e39"), 2,
         "--baseline: not a finite number"),

    # The temporary folder the updates write their scratch file into.
    Case("UpdateWithoutATemporaryFolder",
         lambda d: dry_run_update(d, image_of("calibration")), 2,
         "TMPDIR=$DIR/absent: cannot be used as the temporary folder (No such file or directory)",
         {"TMPDIR": "$DIR/absent"}),
    Case("UpdateWithATemporaryFolderThatIsAFile",
         lambda d: (write(d, "file", "not a folder"), dry_run_update(d, image_of("calibration")))[1],
         2, "TMPDIR=$DIR/file: cannot be used as the temporary folder (Not a directory)",
         {"TMPDIR": "$DIR/file"}),

    # Numbers the calibration record's floats cannot hold.
    Case("CalibrationNumberBeyondFloat32",
         lambda d: calib_json(d, module_json('"fx": 643.52', '"fx": 1e+39')), 1,
         "$DIR/module.json: left_ir.fx: 1e+39 does not fit the calibration record's 32-bit floats"),
    Case("CalibrationTranslationBeyondFloat32",
         lambda d: calib_json(d, module_json("[-50.012, 0.103, 0.207]", "[-50.012, 1e+39, 0.207]")),
         1, "$DIR/module.json: right_ir_extrinsics.translation: 1e+39 does not fit the calibration "
         "record's 32-bit floats"),
    Case("CalibrationNumberBeyondDouble",
         lambda d: calib_json(d, module_json('"k1": -0.0412', '"k1": -1e400')), 1,
         "$DIR/module.json: left_ir.k1: -1e400 does not fit the calibration record's 32-bit "
         "floats"),
    Case("ImportRosValueBeyondFloat", lambda d: import_ros(d, example_edited(
        "ros/ir_left.yaml", "[643.52, 0.0, 641.37", "[1e39, 0.0, 641.37")), 1,
         '$DIR/left.yaml:5: "camera_matrix": fx = 1e+39 does not fit the calibration record\'s '
         "32-bit floats"),
    Case("ImportKalibrTranslationBeyondFloat", lambda d: import_kalibr(d, example_edited(
        "kalibr/camchain.yaml", "-0.050012]", "-1e40]")), 1,
         '$DIR/camchain.yaml:10: "cam1.T_cn_cnm1": translation x = -1e+43 mm does not fit the '
         "calibration record's 32-bit floats"),
    Case("ImportKalibrIntrinsicsBeyondFloat", lambda d: import_kalibr(d, example_edited(
        "kalibr/camchain.yaml", "intrinsics: [643.52", "intrinsics: [1e39")), 1,
         '$DIR/camchain.yaml:3: "cam0.intrinsics": fx = 1e+39 does not fit the calibration '
         "record's 32-bit floats"),

    # YAML nested far deeper than a calibration file.
    Case("ImportKalibrNestedInBrackets",
         lambda d: import_kalibr(d, "cam0: " + "[" * 500 + "]" * 500), 1,
         "$DIR/camchain.yaml:1: not a calibration: nested too deeply"),
    Case("ImportKalibrNestedByIndentation", lambda d: import_kalibr(
        d, "cam0:\n" + "".join("  " * level + "a:\n" for level in range(1, 500))), 1,
         "$DIR/camchain.yaml:499: not a calibration: nested too deeply"),
    Case("ImportRosNestedInBraces",
         lambda d: import_ros(d, "camera_matrix: " + "{a: " * 500 + "1" + "}" * 500 + "\n"), 1,
         "$DIR/left.yaml:1: not a calibration: nested too deeply"),

    Case("ImportOpenCvNestedInBraces",
         lambda d: import_opencv(d, "%YAML:1.0\nM1: " + "{a: " * 500 + "1" + "}" * 500 + "\n"),
         1, "$DIR/intrinsics.yml:2: not a calibration: nested too deeply"),

    # Picture headers larger than any camera's picture.
    Case("PngHeaderTooLarge", lambda d: picture(d, "huge.png", png_header_only(100000, 100000)),
         1, "$DIR/huge.png: 100000x100000 pixels, more than any camera of a module has"),
    Case("PngHeaderTooWide", lambda d: picture(d, "wide.png", png_header_only(100000, 1)), 1,
         "$DIR/wide.png: 100000x1 pixels, more than any camera of a module has"),
    Case("PgmHeaderTooWide", lambda d: picture(d, "wide.pgm", b"P5\n1 100000\n255\n"), 1,
         "$DIR/wide.pgm: 1x100000 pixels, more than any camera of a module has"),
    Case("PgmHeaderTooLarge", lambda d: picture(d, "huge.pgm", b"P5\n100000 100000\n255\n"), 1,
         "$DIR/huge.pgm: 100000x100000 pixels, more than any camera of a module has"),
]

#: A calibration dict gives the file's refusal, named "calibration".
DICT_CASES = {
    "FocalLengthZero": ("left_ir", "fx", 0.0),
    "FocalLengthDenormal": ("left_ir", "fx", 1e-40),
    "PrincipalPointOutsideTheImage": ("left_ir", "cx", 2000),
    "VerticalBaseline": ("right_ir_extrinsics", "translation", [-5, -50, 0]),
    "IdenticalCameras": ("right_ir_extrinsics", "translation", [0, 0, 0]),
    "RationalDenominatorZeroInTheImage": ("left_ir", "k4", -1.0),
    "CalibrationNumberBeyondFloat32": ("left_ir", "fx", 1e39),
}


def module_side(call):
    """(exit code the tool would give, lines) of the module's call."""
    try:
        call()
    except deflash.UsageError as e:
        return 2, e.lines
    except deflash.LibraryError as e:
        return 1, e.lines
    except deflash.CalibrationError as e:
        return 1, e.lines
    return 0, []


def tool_side(args, environment=None):
    """(exit code, its own lines without "deflash: ") of the tool."""
    run = subprocess.run([os.environ["DEFLASH_CLI"], *args], capture_output=True,
                         stdin=subprocess.DEVNULL, env={**os.environ, **(environment or {})})
    err = run.stderr.decode("utf-8", "replace")
    lines = err.splitlines()
    assert all(line.startswith("deflash: ") for line in lines), err
    own = [line[len("deflash: "):] for line in lines]
    # The library's first failure line is the tool's summary of the console,
    # which the module routes to its logger.
    return run.returncode, [line for line in own if not line.startswith("library: ")]


def as_argument_names(line):
    for option, argument in ARGUMENTS.items():
        line = line.replace(option, argument)
    return line


@pytest.mark.parametrize("case", CASES, ids=[c.name for c in CASES])
def test_the_tool_and_the_module_refuse_alike(tmp_path, case):
    args, call = case.setup(tmp_path)
    before = sorted(os.listdir(tmp_path))
    environment = {name: value.replace("$DIR", str(tmp_path))
                   for name, value in case.environment.items()}
    code, tool_lines = tool_side(args, environment)
    assert code == case.code, tool_lines
    assert code != 0 and tool_lines
    saved = {name: os.environ.get(name) for name in environment}
    os.environ.update(environment)
    try:
        module_code, module_lines = module_side(call)
    finally:
        for name, value in saved.items():
            if value is None:
                del os.environ[name]
            else:
                os.environ[name] = value
    image_path = str(tmp_path / "image.bin")
    expected = [as_argument_names(line).replace(image_path, "image") for line in tool_lines]
    assert module_code == code
    assert module_lines == expected
    if case.line is not None:
        line = case.line.replace("$DIR", str(tmp_path))
        assert tool_lines[-1] == line.replace("$IMAGE", image_path)
        assert module_lines[-1] == as_argument_names(line).replace("$IMAGE", "image")
    # Neither front end left a file behind.
    assert sorted(os.listdir(tmp_path)) == before
    for name in before:
        if stat.S_ISREG(os.lstat(tmp_path / name).st_mode):
            assert not name.endswith(".tmp")


@pytest.mark.parametrize("name", sorted(DICT_CASES))
def test_a_calibration_dict_is_refused_as_its_file_is(tmp_path, name):
    case = next(c for c in CASES if c.name == name)
    args, _ = case.setup(tmp_path)
    code, tool_lines = tool_side(args)
    calibration = deflash.load_calibration(CALIBRATION)
    camera, key, value = DICT_CASES[name]
    calibration[camera][key] = value
    module_code, module_lines = module_side(
        lambda: deflash.calibration_image(calibration, [CLOSE]))
    assert module_code == code == 1
    json_path = str(tmp_path / "module.json")
    assert module_lines == [as_argument_names(line).replace(json_path, "calibration")
                            for line in tool_lines]


def test_the_catalogue_reaches_ninety_cases_through_both_front_ends():
    assert len(CASES) + len(DICT_CASES) >= 90
    assert len({c.name for c in CASES}) == len(CASES)
