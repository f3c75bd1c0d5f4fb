"""VideoReader and info: values of every dtype in both orders, indexing, every
stored depth, and agreement with OpenCV on files of this package and FFmpeg."""

import subprocess
import threading

import cv2
import numpy
import pytest

import korva
from conftest import CORPUS, DTYPES, ffmpeg, noise, write_file

# What the input kernels make of a stored byte b, by dtype: the reference the
# reader's arrays are held to.
EXPECTED = {
    numpy.uint8: lambda b: b,
    numpy.int8: lambda b: (b.astype(numpy.int16) - 128).astype(numpy.int8),
    numpy.uint16: lambda b: b.astype(numpy.uint16) * 256,
    numpy.int16: lambda b: (b.astype(numpy.int32) * 256 - 32768).astype(numpy.int16),
    numpy.uint32: lambda b: b.astype(numpy.uint32) * 16777216,
    numpy.int32: lambda b: (b.astype(numpy.int64) * 16777216 - 2**31).astype(numpy.int32),
    numpy.float32: lambda b: (b / 255).astype(numpy.float32),
    numpy.float64: lambda b: (b / 255).astype(numpy.float32).astype(numpy.float64),
    numpy.bool_: lambda b: b != 0,
}


def opencv_frames(path, wanted=None):
    """OpenCV's frames of the file as RGB, stacked; or those of the wanted
    indexes, with the number of frames it read in all."""
    capture = cv2.VideoCapture(str(path))
    frames, count = {}, 0
    while True:
        ok, frame = capture.read()
        if not ok:
            break
        if wanted is None or count in wanted:
            frames[count] = cv2.cvtColor(frame, cv2.COLOR_BGR2RGB)
        count += 1
    capture.release()
    return numpy.stack(list(frames.values())) if wanted is None else (frames, count)


def test_info_tells_geometry_rate_and_audio(korva_file, pictures):
    assert korva.info(korva_file) == {
        "width": 51, "height": 37, "fps": 25.0, "frame_count": len(pictures), "bits": 24, "fourcc": None,
        "audio": {"rate": 8000, "bits": 16, "channels": 2, "total_bytes": 0},
    }
    assert korva.info(CORPUS / "compressed-video.avi")["fourcc"] == "MJPG"
    assert korva.info(str(CORPUS / "depth8-odd-width.avi"))["bits"] == 8


@pytest.mark.parametrize("dtype", DTYPES, ids=lambda d: numpy.dtype(d).name)
@pytest.mark.parametrize("order", ["C", "F"])
def test_frames_hold_the_kernel_values_in_either_order(korva_file, pictures, dtype, order):
    with korva.VideoReader(korva_file, dtype=dtype, order=order) as video:
        assert video.dtype == numpy.dtype(dtype)
        assert video.shape == (7, 37, 51, 3)
        frame = video[3]
        stacked = video[1:6:2]
    assert frame.dtype == numpy.dtype(dtype) and frame.shape == (37, 51, 3)
    assert frame.flags.f_contiguous if order == "F" else frame.flags.c_contiguous
    expected = EXPECTED[dtype](pictures[3])
    assert frame.tobytes(order="A") == numpy.asarray(expected, order=order).tobytes(order="A")
    assert stacked.shape == (3, 37, 51, 3)
    for got, index in zip(stacked, [1, 3, 5]):
        numpy.testing.assert_array_equal(got, EXPECTED[dtype](pictures[index]))
        assert got.flags.f_contiguous if order == "F" else got.flags.c_contiguous


def test_dtypes_by_name_and_refusals(korva_file):
    with korva.VideoReader(korva_file, dtype="float32") as video:
        assert video.dtype == numpy.float32
    for wrong in ["int64", numpy.complex64, ">f8", "no-such-type", object]:
        with pytest.raises(ValueError, match="dtype"):
            korva.VideoReader(korva_file, dtype=wrong)
    with pytest.raises(ValueError, match="order"):
        korva.VideoReader(korva_file, order="K")


def test_indexing_slicing_and_iteration(korva_file, pictures):
    with korva.VideoReader(korva_file) as video:
        assert len(video) == 7
        numpy.testing.assert_array_equal(video[-1], pictures[6])
        numpy.testing.assert_array_equal(video[-7], pictures[0])
        for outside in [7, -8, 10**12]:
            with pytest.raises(IndexError):
                video[outside]
        with pytest.raises(TypeError):
            video[1.5]
        numpy.testing.assert_array_equal(video[::-3], pictures[::-3])
        assert video[5:2].shape == (0, 37, 51, 3)
        numpy.testing.assert_array_equal(numpy.stack(list(video)), pictures)
        numpy.testing.assert_array_equal(video[numpy.int64(2)], pictures[2])


@pytest.mark.parametrize("name", ["depth2.avi", "depth4.avi", "depth4-no-colormap.avi", "depth8-odd-width.avi",
                                  "depth16-odd-width.avi", "depth24-odd-width.avi", "depth32.avi",
                                  "top-down-24bit.avi", "top-down-16bit-opendml.avi", "top-down-8bit-odd-width.avi",
                                  "opendml-3-segments.avi"])
def test_every_stored_depth_matches_the_tools_picture(tmp_path, korva_avi, name):
    with korva.VideoReader(CORPUS / name) as video:
        assert len(video) >= 2
        for index, frame in enumerate(video):
            png = tmp_path / f"{index}.png"
            subprocess.run([korva_avi, "frame", str(CORPUS / name), str(index), str(png)], check=True,
                           stdout=subprocess.DEVNULL)
            numpy.testing.assert_array_equal(frame, cv2.cvtColor(cv2.imread(str(png)), cv2.COLOR_BGR2RGB))


def test_pixels_equal_opencv_for_files_of_this_package_and_of_ffmpeg(korva_file, ffmpeg_file, pictures):
    for path in (korva_file, ffmpeg_file):
        with korva.VideoReader(path) as video:
            numpy.testing.assert_array_equal(video[:], opencv_frames(path))
            numpy.testing.assert_array_equal(video[:], pictures)


def test_ffmpeg_files_past_one_riff_chunk_read_like_opencv(tmp_path):
    # FFmpeg turns over into an AVIX chunk after 1 GiB: 1300 frames of
    # 640x480 make two chunks.
    path = tmp_path / "segments.avi"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=640x480:rate=25", "-frames:v", 1300, "-c:v", "rawvideo",
           "-pix_fmt", "bgr24", path)
    with open(path, "rb") as stream:
        stream.seek(1 << 30)
        assert b"AVIX" in stream.read(4 << 20)
    wanted = [0, 1, 600, 1164, 1165, 1166, 1299]
    expected, count = opencv_frames(path, wanted)
    with korva.VideoReader(path, order="F") as video:
        assert len(video) == count == 1300
        for index in wanted:
            numpy.testing.assert_array_equal(video[index], expected[index])


def test_readers_in_threads_give_the_frames_of_one_reader(korva_file, pictures):
    results = {}

    def read(slot):
        with korva.VideoReader(korva_file, dtype=numpy.float64) as video:
            results[slot] = [video[i] for i in range(len(video))]

    threads = [threading.Thread(target=read, args=(slot,)) for slot in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for slot in range(4):
        numpy.testing.assert_array_equal(numpy.stack(results[slot]), EXPECTED[numpy.float64](pictures))


def test_one_reader_shared_by_threads_serves_each_call_whole(tmp_path):
    pictures = noise(64, 96, count=12, seed=5)
    with korva.VideoReader(write_file(tmp_path / "shared.avi", pictures)) as video:
        wrong = []

        def read(start):
            for index in range(start, 12, 3):
                if not numpy.array_equal(video[index], pictures[index]):
                    wrong.append(index)

        threads = [threading.Thread(target=read, args=(start,)) for start in range(3)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        assert wrong == []
