"""numpy dtypes against the library's element and sample types."""

import numpy

# The library's VideoDataType values.
VIDEO_TYPES = {
    numpy.dtype(numpy.float64): 0,
    numpy.dtype(numpy.float32): 1,
    numpy.dtype(numpy.int8): 2,
    numpy.dtype(numpy.uint8): 3,
    numpy.dtype(numpy.int16): 4,
    numpy.dtype(numpy.uint16): 5,
    numpy.dtype(numpy.int32): 6,
    numpy.dtype(numpy.uint32): 7,
    numpy.dtype(numpy.bool_): 8,
}

# The library's AudioDataType values of the sample types arrays may carry.
AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_UINT8, AUDIO_INT16, AUDIO_INT32 = 0, 1, 3, 4, 6
AUDIO_FLOAT_TYPES = {numpy.dtype(numpy.float64): AUDIO_DOUBLE, numpy.dtype(numpy.float32): AUDIO_SINGLE}

# The integers that hold a file's samples, by bits per sample; 24-bit samples
# come as int32 holding their own values.
AUDIO_STORED = {8: numpy.dtype(numpy.uint8), 16: numpy.dtype(numpy.int16), 24: numpy.dtype(numpy.int32),
                32: numpy.dtype(numpy.int32)}
AUDIO_STORED_TYPES = {8: AUDIO_UINT8, 16: AUDIO_INT16, 24: AUDIO_INT32, 32: AUDIO_INT32}


def _as_dtype(dtype):
    try:
        return numpy.dtype(dtype)
    except TypeError:
        return None


def video_type(dtype):
    """(numpy dtype, VideoDataType) of a dtype given by the caller, or ValueError."""
    found = _as_dtype(dtype)
    if found is None or found not in VIDEO_TYPES or not found.isnative:
        names = ", ".join(str(d) for d in VIDEO_TYPES)
        raise ValueError(f"unsupported dtype {dtype!r}: use one of {names}")
    return found, VIDEO_TYPES[found]


def audio_float_type(dtype):
    """AudioDataType of float32 or float64, or ValueError."""
    found = _as_dtype(dtype)
    if found is None or found not in AUDIO_FLOAT_TYPES or not found.isnative:
        raise ValueError(f"unsupported audio dtype {dtype!r}: use None (the file's own), float32 or float64")
    return AUDIO_FLOAT_TYPES[found]
