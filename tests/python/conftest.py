"""Shared fixtures of the Python package's tests: pictures, files written by
the package and by FFmpeg, and the seed files of the reader's fuzz corpus."""

import os
import pathlib
import shutil
import subprocess

import numpy
import pytest

import korva

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
CORPUS = REPOSITORY / "fuzz" / "corpus" / "avi_read"

# Every element type the package serves, as numpy dtypes.
DTYPES = [numpy.uint8, numpy.int8, numpy.uint16, numpy.int16, numpy.uint32, numpy.int32, numpy.float32,
          numpy.float64, numpy.bool_]


def noise(height, width, count=1, seed=0):
    """count distinct (height, width, 3) uint8 pictures."""
    generator = numpy.random.default_rng(seed)
    return generator.integers(0, 256, size=(count, height, width, 3), dtype=numpy.uint8)


def write_file(path, pictures, fps=25, **audio):
    with korva.VideoWriter(path, pictures.shape[2], pictures.shape[1], fps, **audio) as writer:
        for picture in pictures:
            writer.write(picture)
    return path


def ffmpeg(*arguments):
    if shutil.which("ffmpeg") is None:
        pytest.skip("ffmpeg is not installed")
    subprocess.run(["ffmpeg", "-loglevel", "error", "-y", *map(str, arguments)], check=True)


def ffmpeg_raw_avi(path, pictures, fps=25):
    """pictures written by FFmpeg as raw bgr24 video in AVI ('00dc' chunks)."""
    raw = path.with_suffix(".rgb")
    raw.write_bytes(numpy.ascontiguousarray(pictures).tobytes())
    count, height, width, _ = pictures.shape
    ffmpeg("-f", "rawvideo", "-pix_fmt", "rgb24", "-s", f"{width}x{height}", "-r", fps, "-i", raw,
           "-c:v", "rawvideo", "-pix_fmt", "bgr24", path)
    raw.unlink()
    return path


@pytest.fixture(scope="session")
def pictures():
    """Seven pictures of an odd width, so that packed lines carry a pad."""
    return noise(37, 51, count=7, seed=1)


@pytest.fixture(scope="session")
def korva_file(tmp_path_factory, pictures):
    return write_file(tmp_path_factory.mktemp("files") / "korva.avi", pictures, audio_rate=8000)


@pytest.fixture(scope="session")
def ffmpeg_file(tmp_path_factory, pictures):
    return ffmpeg_raw_avi(tmp_path_factory.mktemp("files") / "ffmpeg.avi", pictures)


@pytest.fixture(scope="session")
def korva_avi():
    """The command line tool, when the build made it."""
    tool = os.environ.get("KORVA_AVI_TOOL")
    if not tool or not os.path.exists(tool):
        pytest.skip("korva-avi is not built")
    return tool
