"""deflash: depth-engine flash images from a stereo camera module's calibration.

The calibration is a dict in the shape of the tool's calibration JSON
(docs/calibration-json.md), a path to such a file, or the result of
import_calibration(). Images come back as bytes. Every failure raises a
subclass of deflash.Error; what the library prints on the console goes to the
"deflash" logger instead.
"""

from __future__ import annotations

import json
import logging
import os
import tempfile
from typing import Any, Iterable, Mapping, Optional, Sequence, Tuple, Union

from . import _deflash

__all__ = [
    "Error", "LibraryError", "CalibrationError", "version", "calibration_image",
    "calibration_images", "start_row_image", "depth_engine_image", "update_baseline",
    "update_multi_baseline", "update_multi_fb_d2c", "import_calibration", "load_calibration",
    "rotation_angles", "check_calib_debug", "inspect", "diff", "read_picture", "write_picture",
    "MeasurementError", "measure_rectification", "DEFAULT_MAX_ROW_ERROR",
]

logger = logging.getLogger("deflash")
# A library logs; the application decides where the lines go.
logger.addHandler(logging.NullHandler())

PathLike = Union[str, "os.PathLike[str]"]
Calibration = Union[Mapping[str, Any], PathLike]

#: Result names of the library's codes.
RESULT_NAMES = {
    0: "DRIVER_HELPER_OK",
    -1: "DRIVER_HELPER_FAIL",
    -2: "DRIVER_HELPER_INVALID_PARAM",
    -6: "DRIVER_HELPER_NUM_NOT_MATCH",
    4096: "DRIVER_HELPER_PARAM_OUT_OF_RANGE",
}

#: Size of a depth-engine configuration image.
DEPTH_ENGINE_IMAGE_BYTES = 16384


class Error(Exception):
    """Base of every deflash failure.

    ``code`` is the library's result code (None when the library was not
    reached); ``message`` is the library's own failure text or the reader's.
    """

    def __init__(self, message: str, code: Optional[int] = None):
        super().__init__(message)
        self.code = code
        self.message = message


class LibraryError(Error):
    """The library refused the input; ``code`` is its non-zero result."""

    def __str__(self) -> str:
        name = RESULT_NAMES.get(self.code, "no name")
        return f"result {self.code} ({name}): {self.message}"


class CalibrationError(Error, ValueError):
    """A calibration (dict, JSON file or imported files) was refused before
    the library saw it."""


class MeasurementError(Error, ValueError):
    """A rectified pair gave no row-error measurement: too few points matched
    (a dark, blank or untextured pair, or pictures of different scenes;
    ``matches`` is their count), or the pictures or the limit were unusable
    (``matches`` is 0)."""

    def __init__(self, message: str, matches: int = 0):
        super().__init__(message)
        self.matches = matches


#: The limit on the mean row error when none is given, in rectified pixels.
DEFAULT_MAX_ROW_ERROR = 0.5


def _log_console(out: str, err: str) -> None:
    """Routes the library's console lines into the "deflash" logger."""
    for line in out.splitlines():
        if line.strip():
            level = logging.ERROR if "error" in line.lower() else logging.INFO
            logger.log(level, "%s", line.rstrip())
    for line in err.splitlines():
        if line.strip():
            logger.warning("%s", line.rstrip())


def _failure_text(out: str, err: str) -> str:
    """The library's failure lines, the last error line first among them."""
    lines = [l.strip() for l in (out + "\n" + err).splitlines() if l.strip()]
    errors = [l for l in lines if "error" in l.lower()]
    return errors[-1] if errors else (lines[-1] if lines else "no message")


def _check(code: int, out: str, err: str) -> None:
    _log_console(out, err)
    if code != 0:
        raise LibraryError(_failure_text(out, err), code)


def _plain(value: Any) -> Any:
    """numpy scalars and arrays as the Python numbers and lists JSON takes."""
    if hasattr(value, "tolist"):
        return value.tolist()
    raise TypeError(f"{type(value).__name__} is not a number or a list of numbers")


def _calibration_text(calibration: Calibration) -> Tuple[str, str]:
    """The calibration JSON text and a name for messages."""
    if isinstance(calibration, Mapping):
        try:
            return json.dumps(calibration, default=_plain), "calibration"
        except (TypeError, ValueError) as e:
            raise CalibrationError(f"calibration: {e}") from None
    path = os.fspath(calibration)
    try:
        with open(path, "r", encoding="utf-8") as f:
            return f.read(), path
    except OSError as e:
        raise CalibrationError(f"{path}: cannot be read ({e.strerror})") from None


def _config_paths(configs: Iterable[PathLike]) -> list:
    paths = [os.fspath(c) for c in configs]
    for path in paths:
        # The library would take a path it cannot open as INI text.
        if not os.path.isfile(path):
            raise CalibrationError(f"{path}: configuration file cannot be read")
    return paths


def version() -> str:
    """The library's version string."""
    return _deflash.version()


def rotation_angles(matrix: Any) -> Tuple[float, float, float]:
    """The angles (a0, a1, a2) in radians with matrix = Rz(a2)·Rx(a0)·Ry(a1),
    the convention of a calibration's "angles"; ``matrix`` is 3x3 (nested
    lists or a numpy array). A matrix the angles do not recompose to within
    1e-6 (no rotation) raises CalibrationError."""
    rows = _plain(matrix) if hasattr(matrix, "tolist") else matrix
    flat = [float(v) for row in rows for v in row]
    try:
        a0, a1, a2 = _deflash.rotation_angles(flat)
    except ValueError as e:
        raise CalibrationError(str(e)) from None
    return a0, a1, a2


def inspect(image: bytes) -> dict:
    """Decodes and verifies a file deflash writes (calibration, raw-calibration,
    start-row, depth-engine image or a section file of the updates): the same
    document as ``deflash inspect --json`` (docs/inspect-json.md); its "ok" is
    False when a CRC, digest or other check failed. Bytes of no known kind
    raise Error."""
    try:
        return json.loads(_deflash.inspect_json(bytes(image)))
    except ValueError as e:
        raise Error(str(e)) from None


def diff(old: bytes, new: bytes) -> dict:
    """Field-level differences of two files of the same kind, items matched by
    digest: {"schema", "kind", "equal", "differences": [{"section", "item",
    "field", "old", "new"}]}, as ``deflash diff --json`` prints without the
    file names. Files of no known kind, or of two kinds, raise Error."""
    try:
        return json.loads(_deflash.diff_json(bytes(old), bytes(new)))
    except ValueError as e:
        raise Error(str(e)) from None


def load_calibration(calibration: Calibration) -> dict:
    """Reads and checks a calibration (dict or JSON file) as the tool does and
    returns it as a dict."""
    text, source = _calibration_text(calibration)
    try:
        _deflash.check_calibration(text, source)
    except ValueError as e:
        raise CalibrationError(str(e)) from None
    return json.loads(text)


def calibration_images(calibration: Calibration, configs: Sequence[PathLike], *,
                       timestamp: int = 0, serial: Optional[bytes] = None
                       ) -> Tuple[bytes, bytes]:
    """The calibration image and the raw-calibration image (its section
    rounded up to a 4096-byte flash page) for the camera modes in
    ``configs``. ``timestamp`` 0 stamps the current time; ``serial`` is the
    24-byte module serial number (zeros when None)."""
    text, source = _calibration_text(calibration)
    try:
        code, image, raw, out, err = _deflash.calibration_image(
            text, source, _config_paths(configs), int(timestamp),
            None if serial is None else bytes(serial), True)
    except ValueError as e:
        raise CalibrationError(str(e)) from None
    _check(code, out, err)
    return image, raw


def calibration_image(calibration: Calibration, configs: Sequence[PathLike], *,
                      timestamp: int = 0, serial: Optional[bytes] = None) -> bytes:
    """The calibration image (20480 bytes) for the camera modes in ``configs``."""
    text, source = _calibration_text(calibration)
    try:
        code, image, _, out, err = _deflash.calibration_image(
            text, source, _config_paths(configs), int(timestamp),
            None if serial is None else bytes(serial), False)
    except ValueError as e:
        raise CalibrationError(str(e)) from None
    _check(code, out, err)
    return image


def start_row_image(calibration: Calibration, configs: Sequence[PathLike]) -> bytes:
    """The start-row image (its section rounded up to a flash page)."""
    text, source = _calibration_text(calibration)
    try:
        code, image, out, err = _deflash.start_row_image(text, source, _config_paths(configs))
    except ValueError as e:
        raise CalibrationError(str(e)) from None
    _check(code, out, err)
    return image


def depth_engine_image(dpu: Sequence[PathLike], d2c: PathLike, ir_pre: PathLike) -> bytes:
    """The 16384-byte depth-engine configuration image from DPU input files
    (one per camera mode), the D2C groups file and the IR pre-ISP file."""
    with tempfile.TemporaryDirectory(prefix="deflash-") as scratch:
        out_path = os.path.join(scratch, "deconfig.bin")
        try:
            code, out, err = _deflash.depth_engine_image(
                [os.fspath(p) for p in dpu], os.fspath(d2c), os.fspath(ir_pre), out_path)
        except ValueError as e:
            raise CalibrationError(str(e)) from None
        _check(code, out, err)
        with open(out_path, "rb") as f:
            image = f.read()
    # The library leaves an empty file when a configuration file is refused.
    if len(image) != DEPTH_ENGINE_IMAGE_BYTES:
        raise LibraryError(_failure_text(out, err), -1)
    return image


def _update(call, image: bytes, *args) -> bytes:
    with tempfile.TemporaryDirectory(prefix="deflash-") as scratch:
        in_path = os.path.join(scratch, "in.bin")
        out_path = os.path.join(scratch, "out.bin")
        with open(in_path, "wb") as f:
            f.write(bytes(image))
        code, out, err = call(in_path, *args, out_path)
        _check(code, out, err)
        with open(out_path, "rb") as f:
            return f.read()


def update_baseline(image: bytes, baseline: float, index: int = -1) -> bytes:
    """The calibration image's depth-calculation section with the baseline
    (mm) of entry ``index`` (every entry when negative) replaced, as the
    library writes it."""
    return _update(lambda i, o: _deflash.update_baseline(i, float(baseline), o, int(index)), image)


def update_multi_baseline(image: bytes, pairs: Sequence[Tuple[float, float]]) -> bytes:
    """Replaces each depth-calculation entry's baseline by that of the
    (focal length, baseline) pair whose focal length is within 1.0 of it."""
    return _update(lambda i, o: _deflash.update_multi_baseline(i, list(pairs), o), image)


def update_multi_fb_d2c(image: bytes, pairs: Sequence[Tuple[float, float]]) -> bytes:
    """Patches the depth-to-colour and depth-calculation entries whose focal
    length is within 6.0 of each (focal length, baseline) pair."""
    return _update(lambda i, o: _deflash.update_multi_fb_d2c(i, list(pairs), o), image)


def import_calibration(source: str, *, temperatures: Sequence[float],
                       ir_pair: Sequence[PathLike] = (), ir_rgb: Sequence[PathLike] = (),
                       camchain: Optional[PathLike] = None,
                       ir_size: Optional[Tuple[int, int]] = None,
                       rgb_size: Optional[Tuple[int, int]] = None,
                       unit: Optional[str] = None) -> dict:
    """Imports an OpenCV ("opencv"), ROS ("ros") or Kalibr ("kalibr")
    calibration as the calibration dict; ``temperatures`` are the left IR,
    right IR and laser calibration temperatures in degrees Celsius."""
    files = [] if camchain is None else [os.fspath(camchain)]
    try:
        text = _deflash.import_calibration(
            source, [os.fspath(p) for p in ir_pair], [os.fspath(p) for p in ir_rgb], files,
            ir_size, rgb_size, unit or "", [float(t) for t in temperatures])
    except ValueError as e:
        raise CalibrationError(str(e)) from None
    return json.loads(text)


def check_calib_debug(calibration: Calibration, config: PathLike, *, left: Any = None,
                      right: Any = None, depth: Any = None) -> dict:
    """The library's software check of one camera mode: converts the module
    for ``config``, then rectifies the left and right IR images and
    reprojects the depth image into the RGB camera. Inputs are 2-D numpy
    arrays, all uint8 or all uint16, shaped like the mode's source IR images
    and depth image; the result maps "left", "right" and "depth" (those given)
    to arrays of the same type, shaped like the rectified images and the RGB
    image. Pixels no source position reaches are 0."""
    import numpy as np

    given = {name: a for name, a in (("left", left), ("right", right), ("depth", depth))
             if a is not None}
    dtypes = {np.asarray(a).dtype for a in given.values()}
    if len(dtypes) > 1 or not dtypes <= {np.dtype(np.uint8), np.dtype(np.uint16)}:
        raise CalibrationError("images must be 2-D arrays, all uint8 or all uint16")
    dtype = dtypes.pop() if dtypes else np.dtype(np.uint8)
    for name, a in given.items():
        if np.asarray(a).ndim != 2:
            raise CalibrationError(f"{name} image must be a 2-D array")
    data = {name: np.ascontiguousarray(a, dtype=dtype).astype(dtype.newbyteorder("<")).tobytes()
            for name, a in given.items()}
    text, source = _calibration_text(calibration)
    try:
        code, outputs, out, err = _deflash.debug_check(
            text, source, _config_paths([config])[0], data.get("left"), data.get("right"),
            data.get("depth"), dtype.itemsize)
    except ValueError as e:
        raise CalibrationError(str(e)) from None
    _check(code, out, err)
    result = {}
    for name, output in zip(("left", "right", "depth"), outputs):
        if output is not None:
            raw, shape = output
            result[name] = np.frombuffer(raw, dtype=dtype.newbyteorder("<")).reshape(
                shape).astype(dtype)
    return result


def measure_rectification(left_rectified: Any, right_rectified: Any, *,
                          max_row_error: float = DEFAULT_MAX_ROW_ERROR) -> dict:
    """The row error of a rectified IR pair, as ``deflash rectify-check``
    measures it (docs/rectify-check.md): patches of the left picture matched
    along the rows of the right one, and how far apart, vertically, each pair
    of matched points is. Both pictures are 2-D numpy arrays of the same
    type, uint8 or uint16, such as ``check_calib_debug`` returns; pixels of
    value 0 are taken as the border the rectification leaves.

    Returns the dict ``rectify-check --json`` prints as "row_error":
    "matches", "mean_px", "rms_px", "p95_px" and "max_px" (|dy| in rectified
    pixels, dy = right row - left row), "regions" (3 rows of 3 dicts with
    "matches" and the signed "mean_dy_px", None without matches),
    "threshold_px" and "pass" (mean within ``max_row_error``). Raises
    MeasurementError when fewer than 100 points match or the pictures or the
    limit cannot be used."""
    import numpy as np

    pictures = []
    for name, picture in (("left_rectified", left_rectified),
                          ("right_rectified", right_rectified)):
        array = np.asarray(picture)
        if array.ndim != 2 or array.dtype not in (np.dtype(np.uint8), np.dtype(np.uint16)):
            raise MeasurementError(f"{name} must be a 2-D array of uint8 or uint16")
        pictures.append(array)
    if pictures[0].dtype != pictures[1].dtype:
        raise MeasurementError("left_rectified and right_rectified must have the same type")
    itemsize = pictures[0].dtype.itemsize
    data = [np.ascontiguousarray(a).astype(a.dtype.newbyteorder("<")).tobytes()
            for a in pictures]
    try:
        result = _deflash.measure_rectification(
            data[0], pictures[0].shape[1], pictures[0].shape[0], data[1], pictures[1].shape[1],
            pictures[1].shape[0], itemsize, float(max_row_error))
    except ValueError as e:
        raise MeasurementError(str(e)) from None
    if "refused" in result:
        raise MeasurementError(result["refused"], result["matches"])
    return result


def read_picture(path: PathLike) -> Any:
    """An 8- or 16-bit greyscale PNG or binary PGM file as a 2-D numpy array
    of uint8 or uint16, the pictures the debug check takes."""
    import numpy as np

    try:
        data, width, height, bits = _deflash.read_picture(os.fspath(path))
    except ValueError as e:
        raise CalibrationError(str(e)) from None
    dtype = np.dtype(np.uint8) if bits == 8 else np.dtype("<u2")
    return np.frombuffer(data, dtype=dtype).reshape(height, width).astype(dtype.newbyteorder("="))


def write_picture(path: PathLike, picture: Any) -> None:
    """Writes a 2-D uint8 or uint16 numpy array as a greyscale PNG of that
    depth, through a temporary file and a rename."""
    import numpy as np

    array = np.asarray(picture)
    if array.ndim != 2 or array.dtype not in (np.dtype(np.uint8), np.dtype(np.uint16)):
        raise CalibrationError("a picture must be a 2-D array of uint8 or uint16")
    bits = 8 * array.dtype.itemsize
    data = np.ascontiguousarray(array).astype(array.dtype.newbyteorder("<")).tobytes()
    try:
        _deflash.write_png(os.fspath(path), data, array.shape[1], array.shape[0], bits)
    except ValueError as e:
        raise CalibrationError(str(e)) from None
