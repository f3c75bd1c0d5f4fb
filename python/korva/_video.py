"""VideoReader, VideoWriter and info: the package's surface over the compiled module."""

import math
import operator
import os
import warnings

import numpy

from . import _korva
from ._dtypes import AUDIO_STORED, AUDIO_STORED_TYPES, audio_float_type, video_type
from ._errors import AviWarning

_ORDERS = ("C", "F")


def _path(path):
    return os.fsdecode(os.fspath(path))


def _order(order):
    if order not in _ORDERS:
        raise ValueError(f"order must be 'C' or 'F', not {order!r}")
    return order == "F"


def info(path):
    """The geometry, rate, length and audio format of an AVI file, as a dict."""
    reader = _korva.FrameReader(_path(path))
    try:
        return {
            "width": reader.width,
            "height": reader.height,
            "fps": reader.fps,
            "frame_count": reader.frame_count,
            "bits": reader.bits,
            "fourcc": reader.fourcc,
            "audio": reader.audio_format,
        }
    finally:
        reader.close()


class _OpenFile:
    """What readers and writers share: the compiled object while open, None
    once closed, and the context manager that closes it."""

    _handle = None

    def _open_handle(self):
        if self._handle is None:
            raise ValueError(f"I/O operation on a closed {type(self).__name__}")
        return self._handle

    def close(self):
        if self._handle is not None:
            handle, self._handle = self._handle, None
            handle.close()

    @property
    def closed(self):
        return self._handle is None

    def __enter__(self):
        self._open_handle()
        return self

    def __exit__(self, *exc):
        self.close()


class VideoReader(_OpenFile):
    """The frames of an AVI file as (height, width, 3) numpy arrays.

    dtype is one of uint8, int8, uint16, int16, uint32, int32, float32, float64
    or bool, with values as the library's input kernels give them (uint8 as
    stored, floats in [0, 1], ...). order "C" gives C-contiguous arrays, "F"
    F-contiguous ones, filled without a copy. Channels are red, green, blue;
    row 0 is the picture's top.

    r[i], r[a:b:s] (stacked along a first axis), iteration and len() read
    frames; read_audio() the audio stream. Use it in a with block, or close().
    """

    def __init__(self, path, dtype=numpy.uint8, order="C"):
        self.path = _path(path)
        self._dtype, self._type = video_type(dtype)
        self._column_order = _order(order)
        self._order = order
        self._handle = _korva.FrameReader(self.path)
        if self._handle.warning:
            warnings.warn(AviWarning(f"{self.path}: {self._handle.warning}"), stacklevel=2)

    @property
    def width(self):
        return self._open_handle().width

    @property
    def height(self):
        return self._open_handle().height

    @property
    def fps(self):
        return self._open_handle().fps

    @property
    def dtype(self):
        return self._dtype

    @property
    def order(self):
        return self._order

    @property
    def shape(self):
        reader = self._open_handle()
        return (reader.frame_count, reader.height, reader.width, 3)

    def __len__(self):
        return self._open_handle().frame_count

    def __getitem__(self, key):
        reader = self._open_handle()
        count = reader.frame_count
        if isinstance(key, slice):
            return reader.frames(range(*key.indices(count)), self._type, self._column_order)
        index = operator.index(key)
        if index < 0:
            index += count
        if not 0 <= index < count:
            raise IndexError(f"frame {key} is out of range: {self.path} has {count} frames")
        return reader.frame(index, self._type, self._column_order)

    def __iter__(self):
        reader = self._open_handle()
        for index in range(reader.frame_count):
            yield self._open_handle().frame(index, self._type, self._column_order)

    def read_audio(self, dtype=None):
        """The whole audio stream as a (samples, channels) array.

        dtype None keeps the file's own samples (uint8, int16, int32 holding
        24-bit values, int32); float32 or float64 scales them to [-1, 1).
        """
        sample_type = -1 if dtype is None else audio_float_type(dtype)
        return self._open_handle().audio(sample_type)

    def __repr__(self):
        if self._handle is None:
            return f"<korva.VideoReader {self.path!r} closed>"
        return (f"<korva.VideoReader {self.path!r} {len(self)} frames of {self.width}x{self.height} "
                f"at {self.fps:g} fps, {self._dtype}, order {self._order!r}>")


class VideoWriter(_OpenFile):
    """Writes an uncompressed 24-bit AVI file, with an optional PCM audio stream.

    write(frame) takes one (height, width, 3) red, green, blue array of any
    dtype VideoReader serves, C or F order; write_audio(samples) takes
    (n, channels) samples (1-D for mono) as the integers of audio_bits (uint8,
    int16, int32 holding 24-bit values, int32) or as float32/float64 in
    [-1, 1). close() (or leaving the with block) writes the indexes and header.
    """

    def __init__(self, path, width, height, fps, audio_rate=None, audio_channels=2, audio_bits=16):
        width, height = operator.index(width), operator.index(height)
        if width < 1 or height < 1 or width * height > (2**31 - 1) // 4:
            raise ValueError(f"frame size {width}x{height} is out of range")
        fps = float(fps)
        if not (math.isfinite(fps) and fps > 0):
            raise ValueError(f"fps must be a positive number, not {fps!r}")
        self._audio_channels = operator.index(audio_channels)
        self._audio_bits = operator.index(audio_bits)
        if audio_rate is not None:
            audio_rate = float(audio_rate)
            if not (math.isfinite(audio_rate) and audio_rate > 0):
                raise ValueError(f"audio_rate must be a positive number, not {audio_rate!r}")
            if self._audio_bits not in AUDIO_STORED:
                raise ValueError(f"audio_bits must be 8, 16, 24 or 32, not {audio_bits!r}")
            if not 1 <= self._audio_channels <= 65535:
                raise ValueError(f"audio_channels must be 1 to 65535, not {audio_channels!r}")
        self.path = _path(path)
        self.width, self.height, self.fps, self.audio_rate = width, height, fps, audio_rate
        self._handle = _korva.FrameWriter(self.path, width, height, fps, audio_rate or 0.0,
                                          self._audio_channels, self._audio_bits)

    def write(self, frame):
        """Appends one (height, width, 3) red, green, blue frame, top row first."""
        writer = self._open_handle()
        frame = numpy.asarray(frame)
        _, element_type = video_type(frame.dtype)
        if frame.shape != (self.height, self.width, 3):
            raise ValueError(f"frame of shape {frame.shape} given; this file takes ({self.height}, {self.width}, 3)")
        column_order = not frame.flags.c_contiguous and frame.flags.f_contiguous
        if not (frame.flags.c_contiguous or column_order):
            frame = numpy.ascontiguousarray(frame)
        writer.write_frame(frame, element_type, column_order)

    def write_audio(self, samples):
        """Appends (n, channels) samples (or n for mono), of any length."""
        writer = self._open_handle()
        if self.audio_rate is None:
            raise ValueError("this VideoWriter has no audio stream: give audio_rate when making it")
        samples = numpy.asarray(samples)
        if samples.ndim == 1 and self._audio_channels == 1:
            samples = samples.reshape(-1, 1)
        if samples.ndim != 2 or samples.shape[1] != self._audio_channels:
            raise ValueError(f"samples of shape {samples.shape} given; this file takes (n, {self._audio_channels})")
        stored = AUDIO_STORED[self._audio_bits]
        if samples.dtype == stored:
            sample_type = AUDIO_STORED_TYPES[self._audio_bits]
            if self._audio_bits == 24:
                if samples.size and (samples.min() < -(2**23) or samples.max() >= 2**23):
                    raise ValueError("24-bit samples must lie in -8388608 to 8388607")
                # The library's three-byte samples are the top bytes of an int32.
                samples = numpy.left_shift(samples, 8)
        elif samples.dtype in (numpy.float32, numpy.float64):
            sample_type = audio_float_type(samples.dtype)
        else:
            raise ValueError(f"samples of dtype {samples.dtype} given; {self._audio_bits}-bit audio takes {stored}, "
                             "float32 or float64")
        writer.write_audio(numpy.ascontiguousarray(samples), sample_type)

    @property
    def frames_written(self):
        return self._open_handle().frames_written

    def __repr__(self):
        state = "closed" if self._handle is None else "open"
        return f"<korva.VideoWriter {self.path!r} {self.width}x{self.height} at {self.fps:g} fps, {state}>"
