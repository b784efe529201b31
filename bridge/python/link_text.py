"""Numbers and answers as the game link writes and reads them (docs/game-link.md, "Numbers"): 32-bit
floats as the shortest decimal text that reads back to the same float, compact JSON answers with
coordinates written that way, and the checks of numbers in requests. Part of the reference bridge;
standard library only; stateless apart from a cache of texts, safe from several threads."""

import functools
import json
import math
import struct


def to_float32(value):
    """The 32-bit float nearest to `value`; OverflowError when that is not finite."""
    return struct.unpack("f", struct.pack("f", value))[0]


@functools.lru_cache(maxsize=4096)
def float_text(value):
    """The shortest decimal text that reads back to the same 32-bit float, fixed or scientific,
    whichever is shorter (fixed on a tie): 100, -40.5, 0.1, 1e+20."""
    f = to_float32(value)
    if f == 0:
        return "-0" if math.copysign(1, f) < 0 else "0"
    for precision in range(1, 10):
        scientific = "%.*e" % (precision - 1, f)
        if to_float32(float(scientific)) == f:
            break
    mantissa, exponent = scientific.split("e")
    exponent = int(exponent)
    digits = mantissa.replace(".", "").lstrip("-")
    sign = "-" if f < 0 else ""
    short = sign + digits[0] + ("." + digits[1:] if len(digits) > 1 else "")
    short += "e" + ("+" if exponent >= 0 else "-") + "%02d" % abs(exponent)
    if exponent >= 0:
        whole = digits[:exponent + 1].ljust(exponent + 1, "0")
        fraction = digits[exponent + 1:]
        fixed = sign + whole + ("." + fraction if fraction else "")
    else:
        fixed = sign + "0." + "0" * (-exponent - 1) + digits
    return fixed if len(fixed) <= len(short) else short


class Coordinate(float):
    """A float written as float_text writes it."""


def _encode(value, out):
    if value is None:
        out.append("null")
    elif value is True:
        out.append("true")
    elif value is False:
        out.append("false")
    elif isinstance(value, Coordinate):
        out.append(float_text(value))
    elif isinstance(value, int):
        out.append(str(value))
    elif isinstance(value, float):
        out.append(str(int(value)) if value.is_integer() and abs(value) < 1e15 else repr(value))
    elif isinstance(value, str):
        out.append(json.dumps(value))
    elif isinstance(value, (list, tuple)):
        out.append("[")
        for k, item in enumerate(value):
            if k:
                out.append(",")
            _encode(item, out)
        out.append("]")
    else:
        out.append("{")
        for k, (key, item) in enumerate(value.items()):
            if k:
                out.append(",")
            out.append(json.dumps(key) + ":")
            _encode(item, out)
        out.append("}")


def encode(value):
    """Compact JSON text of an answer, coordinates (Coordinate) as float_text."""
    out = []
    _encode(value, out)
    return "".join(out)


def point(p):
    return {"x": Coordinate(p[0]), "y": Coordinate(p[1]), "z": Coordinate(p[2])}


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool)


def is_finite_number(value):
    try:
        return is_number(value) and math.isfinite(float(value))
    except OverflowError:  # a whole number beyond any double
        return False


def narrowed(value):
    """`value` narrowed to a 32-bit float, or None when it is not a number or does not narrow to a
    finite float."""
    if not is_number(value):
        return None
    try:
        f = to_float32(float(value))
    except (OverflowError, ValueError):
        return None
    return f if math.isfinite(f) else None
