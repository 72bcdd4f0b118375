"""deflash: depth-engine flash images from a stereo camera module's calibration.

The calibration is a dict in the shape of the tool's calibration JSON
(docs/calibration-json.md), a path to such a file, or the result of
import_calibration(). Images come back as bytes. Every function runs the
same checks as the `deflash` tool, through the same host functions, and a
refusal raises a subclass of deflash.Error with the tool's message (its
options named as this module's arguments); an argument of the wrong Python
type raises TypeError. What the library prints on the console goes to the
"deflash" logger instead.
"""

from __future__ import annotations

import json
import logging
import math
import numbers
import os
import re
from typing import Any, Iterable, List, Mapping, Optional, Sequence, Tuple, Union

from . import _deflash

__all__ = [
    "Error", "LibraryError", "CalibrationError", "UsageError", "RESULT_NAMES", "version",
    "calibration_image", "calibration_images", "start_row_image", "depth_engine_image",
    "update_baseline", "update_multi_baseline", "update_multi_fb_d2c", "import_calibration",
    "load_calibration", "rotation_angles", "check_calib_debug", "inspect", "diff",
    "read_picture", "write_picture", "MeasurementError", "measure_rectification",
    "DEFAULT_MAX_ROW_ERROR",
]

logger = logging.getLogger("deflash")
# A library logs; the application decides where the lines go.
logger.addHandler(logging.NullHandler())

PathLike = Union[str, "os.PathLike[str]"]
Calibration = Union[Mapping[str, Any], PathLike]

#: Names of the library's result codes: the host's table, shared with the tool.
RESULT_NAMES = _deflash.result_names()

#: The tool's options and the arguments that carry the same values here: the
#: host's lines name the options, this module's messages name the arguments.
_ARGUMENT_NAMES = {
    "--allow-implausible": "allow_implausible=True",
    "--baseline": "baseline",
    "--camchain": "camchain",
    "--config": "configs",
    "--d2c": "d2c",
    "--dpu": "dpu",
    "--fb": "pair",
    "--from": "source",
    "--index": "index",
    "--ir-pair": "ir_pair",
    "--ir-pre": "ir_pre",
    "--ir-rgb": "ir_rgb",
    "--ir-size": "ir_size",
    "--rgb-size": "rgb_size",
    "--temperatures": "temperatures",
    "--timestamp": "timestamp",
    "--unit": "unit",
}
#: Phrases whose option reads better renamed as a whole.
_PHRASES = {"--fb pair": "pair"}
_OPTION = re.compile(r"--[a-z][a-z-]*")


class Error(Exception):
    """Base of every deflash failure.

    ``message`` is the line that closes the failure, as the tool's last
    line reads without "deflash: "; ``lines`` every line the tool shows for
    it (several problems of one input each have one); ``code`` the library's
    result code (None when the library was not reached).
    """

    def __init__(self, message: str, code: Optional[int] = None,
                 lines: Optional[Sequence[str]] = None):
        super().__init__(message)
        self.code = code
        self.message = message
        self.lines = list(lines) if lines else [message]

    def __str__(self) -> str:
        return "\n".join(self.lines)


class LibraryError(Error):
    """The library refused the input; ``code`` is its non-zero result,
    ``message`` its first console line that says why, ``failure`` the line
    the tool closes with."""

    def __init__(self, message: str, code: int, lines: Optional[Sequence[str]] = None,
                 failure: str = ""):
        super().__init__(message, code, lines)
        self.failure = failure

    def __str__(self) -> str:
        name = RESULT_NAMES.get(self.code, "unknown result")
        return f"result {self.code} ({name}): {self.message}"


class CalibrationError(Error, ValueError):
    """An input (calibration, configuration file, image, value) was refused
    before the library saw it, or what the library made did not verify: the
    tool's exit code 1."""


class UsageError(CalibrationError):
    """An argument's value is malformed or a file cannot be read or written:
    the tool's exit code 2."""


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


def _python_names(line: str) -> str:
    """The host's line with the tool's options named as this module's
    arguments."""
    for phrase, renamed in _PHRASES.items():
        line = line.replace(phrase, renamed)
    return _OPTION.sub(lambda m: _ARGUMENT_NAMES.get(m.group(0), m.group(0)), line)


def _log_console(out: str, err: str) -> None:
    """Routes the library's console lines into the "deflash" logger."""
    for line in out.splitlines():
        if line.strip():
            level = logging.ERROR if "error" in line.lower() else logging.INFO
            logger.log(level, "%s", line.rstrip())
    for line in err.splitlines():
        if line.strip():
            logger.warning("%s", line.rstrip())


def _finish(outcome: dict) -> None:
    """Logs what a host operation said and raises for its failure."""
    _log_console(outcome["out"], outcome["err"])
    for warning in outcome["warnings"]:
        logger.warning("warning: %s", _python_names(warning))
    if outcome["state"] == "ok":
        return
    lines = [_python_names(line) for line in outcome["lines"]]
    if outcome["library_failed"] and outcome["state"] == "rejected":
        failure = _python_names(outcome["failure"])
        raise LibraryError(outcome["library_line"] or failure, outcome["result"], lines, failure)
    error = UsageError if outcome["state"] == "unusable" else CalibrationError
    raise error(lines[-1], None, lines)


# --- Arguments: Python types checked here, values by the host. -------------

def _type_name(value: Any) -> str:
    return type(value).__name__


def _path(value: Any, name: str) -> str:
    if isinstance(value, (str, os.PathLike)):
        path = os.fspath(value)
        if isinstance(path, str):
            return path
    raise TypeError(f"{name} must be a path (str or os.PathLike), not {_type_name(value)}")


def _paths(values: Any, name: str) -> List[str]:
    if isinstance(values, (str, bytes, os.PathLike)) or not isinstance(values, Iterable):
        raise TypeError(f"{name} must be a list of paths, not {_type_name(values)}")
    return [_path(v, f"{name}[{i}]") for i, v in enumerate(values)]


def _integer(value: Any, name: str) -> int:
    if isinstance(value, bool) or not isinstance(value, numbers.Integral):
        raise TypeError(f"{name} must be an int, not {_type_name(value)}")
    return int(value)


def _real(value: Any, name: str) -> float:
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        raise TypeError(f"{name} must be a number, not {_type_name(value)}")
    try:
        return float(value)
    except OverflowError:
        # An integer beyond a double reads as the tool reads "1e400": an
        # infinity, which the host then refuses by the argument's name.
        return math.inf if value > 0 else -math.inf


def _flag(value: Any, name: str) -> bool:
    if not isinstance(value, bool):
        raise TypeError(f"{name} must be True or False, not {_type_name(value)}")
    return value


def _bytes_like(value: Any, name: str) -> bytes:
    if not isinstance(value, (bytes, bytearray, memoryview)):
        raise TypeError(f"{name} must be bytes, not {_type_name(value)}")
    return bytes(value)


def _number_text(value: float) -> str:
    """The shortest decimal that reads back as `value`, as the tool's
    options take numbers ("nan" and "inf" included, for the host to refuse)."""
    return repr(value)


def _plain(value: Any) -> Any:
    """numpy scalars and arrays as the Python numbers and lists JSON takes."""
    if hasattr(value, "tolist"):
        return value.tolist()
    raise TypeError(f"{_type_name(value)} is not a number or a list of numbers")


def _non_finite(value: Any, path: str) -> Optional[str]:
    """The dotted path of the first number JSON cannot carry, or None."""
    if hasattr(value, "tolist"):
        value = value.tolist()
    if isinstance(value, float) and not math.isfinite(value):
        return path
    items: Iterable = ()
    if isinstance(value, Mapping):
        items = ((f"{path}.{k}" if path else str(k), v) for k, v in value.items())
    elif isinstance(value, (list, tuple)):
        items = ((f"{path}[{i}]", v) for i, v in enumerate(value))
    for item_path, item in items:
        found = _non_finite(item, item_path)
        if found is not None:
            return found
    return None


def _calibration_source(calibration: Any) -> Tuple[Optional[str], str]:
    """(JSON text, its name) for a dict; (None, path) for a file, which the
    host reads as the tool reads --calibration."""
    if isinstance(calibration, Mapping):
        # A calibration JSON file holds no NaN or infinity: neither can a dict.
        where = _non_finite(calibration, "")
        if where is not None:
            raise CalibrationError(f'calibration: "{where}" must be a finite number')
        try:
            return json.dumps(calibration, default=_plain), "calibration"
        except (TypeError, ValueError) as e:
            raise TypeError(f"calibration: {e}") from None
    if isinstance(calibration, (str, os.PathLike)):
        return None, _path(calibration, "calibration")
    raise TypeError("calibration must be a dict or the path of a calibration JSON file, not "
                    f"{_type_name(calibration)}")


# --- Functions ---------------------------------------------------------------

def version() -> str:
    """The library's version string."""
    return _deflash.version()


def rotation_angles(matrix: Any) -> Tuple[float, float, float]:
    """The angles (a0, a1, a2) in radians with matrix = Rz(a2)·Rx(a0)·Ry(a1),
    the convention of a calibration's "angles"; ``matrix`` is 3x3 (nested
    lists or a numpy array). A matrix the angles do not recompose to within
    1e-6 (no rotation) raises CalibrationError."""
    rows = _plain(matrix) if hasattr(matrix, "tolist") else matrix
    flat = [_real(v, "matrix element") for row in rows for v in row]
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
    data = _bytes_like(image, "image")
    try:
        return _deflash.inspect_document(data)
    except ValueError as e:
        raise Error(str(e)) from None


def diff(old: bytes, new: bytes) -> dict:
    """Field-level differences of two files of the same kind, items matched by
    digest: {"schema", "kind", "equal", "differences": [{"section", "item",
    "field", "old", "new"}]}, as ``deflash diff --json`` prints without the
    file names. Files of no known kind, or of two kinds, raise Error."""
    old_data = _bytes_like(old, "old")
    new_data = _bytes_like(new, "new")
    try:
        return json.loads(_deflash.diff_json(old_data, new_data))
    except ValueError as e:
        raise Error(str(e)) from None


def load_calibration(calibration: Calibration, *, allow_implausible: bool = False) -> dict:
    """Reads and checks a calibration (dict or JSON file) as the tool reads
    --calibration, its plausibility checks included, and returns it as a
    dict."""
    text, source = _calibration_source(calibration)
    _finish(_deflash.check_calibration(text, source,
                                       _flag(allow_implausible, "allow_implausible")))
    if text is None:
        with open(source, "r", encoding="utf-8") as f:
            return json.load(f)
    return json.loads(text)


def _calibration_image(calibration: Any, configs: Any, timestamp: Any, serial: Any, raw: bool,
                       allow_implausible: Any) -> Tuple[bytes, Optional[bytes]]:
    text, source = _calibration_source(calibration)
    paths = _paths(configs, "configs")
    stamp = str(_integer(timestamp, "timestamp"))
    serial_bytes = None if serial is None else _bytes_like(serial, "serial")
    outcome, image, raw_image = _deflash.calibration_image(
        text, source, paths, stamp, serial_bytes, raw,
        _flag(allow_implausible, "allow_implausible"))
    _finish(outcome)
    return image, raw_image


def calibration_images(calibration: Calibration, configs: Sequence[PathLike], *,
                       timestamp: int = 0, serial: Optional[bytes] = None,
                       allow_implausible: bool = False) -> Tuple[bytes, bytes]:
    """The calibration image and the raw-calibration image (its section
    rounded up to a 4096-byte flash page) for the camera modes in
    ``configs``. ``timestamp`` 0 stamps the current time; ``serial`` is the
    24-byte module serial number (zeros when None)."""
    return _calibration_image(calibration, configs, timestamp, serial, True, allow_implausible)


def calibration_image(calibration: Calibration, configs: Sequence[PathLike], *,
                      timestamp: int = 0, serial: Optional[bytes] = None,
                      allow_implausible: bool = False) -> bytes:
    """The calibration image (20480 bytes) for the camera modes in ``configs``."""
    return _calibration_image(calibration, configs, timestamp, serial, False,
                              allow_implausible)[0]


def start_row_image(calibration: Calibration, configs: Sequence[PathLike], *,
                    allow_implausible: bool = False) -> bytes:
    """The start-row image (its section rounded up to a flash page)."""
    text, source = _calibration_source(calibration)
    outcome, image = _deflash.start_row_image(text, source, _paths(configs, "configs"),
                                              _flag(allow_implausible, "allow_implausible"))
    _finish(outcome)
    return image


def depth_engine_image(dpu: Sequence[PathLike], d2c: PathLike, ir_pre: PathLike) -> bytes:
    """The 16384-byte depth-engine configuration image from DPU input files
    (one per camera mode), the D2C groups file and the IR pre-ISP file."""
    outcome, image = _deflash.depth_engine_image(_paths(dpu, "dpu"), _path(d2c, "d2c"),
                                                 _path(ir_pre, "ir_pre"))
    _finish(outcome)
    return image


def _pair_texts(pairs: Any) -> List[str]:
    """(focal length, baseline) pairs as the tool's FOCAL:BASELINE values."""
    if isinstance(pairs, (str, bytes)) or not isinstance(pairs, Iterable):
        raise TypeError(f"pairs must be a list of (focal length, baseline), not "
                        f"{_type_name(pairs)}")
    texts = []
    for i, pair in enumerate(pairs):
        if isinstance(pair, (str, bytes)) or not isinstance(pair, Sequence) or len(pair) != 2:
            raise TypeError(f"pairs[{i}] must be a (focal length, baseline) pair")
        focal = _real(pair[0], f"pairs[{i}] focal length")
        baseline = _real(pair[1], f"pairs[{i}] baseline")
        texts.append(f"{_number_text(focal)}:{_number_text(baseline)}")
    return texts


#: The index the library takes is a C int.
_INT_RANGE = (-2**31, 2**31 - 1)


def update_baseline(image: bytes, baseline: float, index: Optional[int] = None) -> bytes:
    """The calibration image's depth-calculation section with the baseline
    (mm) of entry ``index`` (every entry when None) replaced, as the library
    writes it. ``image`` is a calibration image or its depth section; it must
    verify, the baseline must fit its entries as the tool checks it, and the
    result must verify."""
    data = _bytes_like(image, "image")
    value = _real(baseline, "baseline")
    entry = None if index is None else _integer(index, "index")
    if entry is not None and not _INT_RANGE[0] <= entry <= _INT_RANGE[1]:
        raise UsageError(f"index {entry} is outside {_INT_RANGE[0]} to {_INT_RANGE[1]}")
    outcome, patched = _deflash.update("baseline", data, value, entry, [])
    _finish(outcome)
    return patched


def update_multi_baseline(image: bytes, pairs: Sequence[Tuple[float, float]]) -> bytes:
    """Replaces each depth-calculation entry's baseline by that of the
    (focal length, baseline) pair whose focal length is within 1.0 of it."""
    data = _bytes_like(image, "image")
    outcome, patched = _deflash.update("multi_baseline", data, 0.0, None, _pair_texts(pairs))
    _finish(outcome)
    return patched


def update_multi_fb_d2c(image: bytes, pairs: Sequence[Tuple[float, float]]) -> bytes:
    """Patches the depth-to-colour and depth-calculation entries whose focal
    length is within 6.0 of each (focal length, baseline) pair."""
    data = _bytes_like(image, "image")
    outcome, patched = _deflash.update("fb_d2c", data, 0.0, None, _pair_texts(pairs))
    _finish(outcome)
    return patched


def _size_text(size: Any, name: str) -> str:
    """A (width, height) pair as the tool's WxH value; "" for None."""
    if size is None:
        return ""
    if isinstance(size, (str, bytes)) or not isinstance(size, Sequence) or len(size) != 2:
        raise TypeError(f"{name} must be a (width, height) pair, not {_type_name(size)}")
    return f"{_integer(size[0], name + ' width')}x{_integer(size[1], name + ' height')}"


def import_calibration(source: str, *, temperatures: Sequence[float],
                       ir_pair: Sequence[PathLike] = (), ir_rgb: Sequence[PathLike] = (),
                       camchain: Optional[PathLike] = None,
                       ir_size: Optional[Tuple[int, int]] = None,
                       rgb_size: Optional[Tuple[int, int]] = None,
                       unit: Optional[str] = None, allow_implausible: bool = False) -> dict:
    """Imports an OpenCV ("opencv"), ROS ("ros") or Kalibr ("kalibr")
    calibration as the calibration dict; ``temperatures`` are the left IR,
    right IR and laser calibration temperatures in degrees Celsius.
    Arguments meant for another source are refused, as the tool refuses its
    options, and so is a calibration the image functions would refuse
    (``allow_implausible=True`` lets implausible values pass, as calib-json's
    --allow-implausible)."""
    if not isinstance(source, str):
        raise TypeError(f"source must be a str, not {_type_name(source)}")
    if unit is not None and not isinstance(unit, str):
        raise TypeError(f"unit must be a str, not {_type_name(unit)}")
    if isinstance(temperatures, (str, bytes)) or not isinstance(temperatures, Iterable):
        raise TypeError(f"temperatures must be three numbers, not {_type_name(temperatures)}")
    temperature_text = ",".join(_number_text(_real(t, "temperatures")) for t in temperatures)
    outcome, text = _deflash.import_calibration(
        source, _paths(ir_pair, "ir_pair"), _paths(ir_rgb, "ir_rgb"),
        [] if camchain is None else [_path(camchain, "camchain")],
        _size_text(ir_size, "ir_size"), _size_text(rgb_size, "rgb_size"), unit or "",
        temperature_text, _flag(allow_implausible, "allow_implausible"))
    _finish(outcome)
    return json.loads(text)


def _picture_argument(picture: Any, name: str) -> Any:
    """A 2-D uint8 or uint16 numpy array as a C-contiguous array in host
    byte order."""
    import numpy as np

    array = np.asarray(picture)
    if array.ndim != 2 or array.dtype.kind != "u" or array.dtype.itemsize not in (1, 2):
        raise TypeError(f"{name} must be a 2-D array of uint8 or uint16, not a "
                        f"{array.ndim}-D array of {array.dtype}")
    return array


def _native(array: Any) -> Any:
    import numpy as np

    return np.ascontiguousarray(array, dtype=array.dtype.newbyteorder("="))


def check_calib_debug(calibration: Calibration, config: PathLike, *, left: Any = None,
                      right: Any = None, depth: Any = None,
                      allow_implausible: bool = False) -> dict:
    """The library's software check of one camera mode: converts the module
    for ``config``, then rectifies the left and right IR images and
    reprojects the depth image into the RGB camera. ``left`` and ``right``
    are 2-D numpy arrays of uint8 or uint16 (both alike) shaped like the
    mode's source IR images, ``depth`` a uint16 array shaped like its depth
    image; the result maps "left", "right" and "depth" (those given) to arrays
    of the same type shaped like the rectified images and the RGB image.
    Pixels no source position reaches are 0."""
    import numpy as np

    text, source = _calibration_source(calibration)
    pictures = {name: None if a is None else _native(_picture_argument(a, name))
                for name, a in (("left", left), ("right", right), ("depth", depth))}
    outcome, outputs = _deflash.debug_check(
        text, source, _path(config, "config"), pictures["left"], pictures["right"],
        pictures["depth"], _flag(allow_implausible, "allow_implausible"))
    _finish(outcome)
    result = {}
    for name in ("left", "right", "depth"):
        if name in outputs:
            data, shape, bits = outputs[name]
            dtype = np.dtype(np.uint8) if bits == 8 else np.dtype(np.uint16)
            result[name] = np.frombuffer(data, dtype=dtype).reshape(shape).copy()
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

    outcome, data, width, height, bits = _deflash.read_picture(_path(path, "path"))
    _finish(outcome)
    dtype = np.dtype(np.uint8) if bits == 8 else np.dtype(np.uint16)
    return np.frombuffer(data, dtype=dtype).reshape(height, width).copy()


def write_picture(path: PathLike, picture: Any) -> None:
    """Writes a 2-D uint8 or uint16 numpy array as a greyscale PNG of that
    depth, through a temporary file and a rename. Its size is checked before
    anything is allocated for it."""
    target = _path(path, "path")
    array = _picture_argument(picture, "picture")
    _finish(_deflash.check_picture_size("picture", array.shape[1], array.shape[0]))
    _finish(_deflash.write_png(target, _native(array)))
