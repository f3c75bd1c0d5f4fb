"""VideoWriter: pictures and audio written and read back, in every dtype and
order, and audio through the sample kernels."""

import warnings

import numpy
import pytest

import korva
from conftest import DTYPES, noise, write_file
from test_reader import EXPECTED

# One 8-bit step in each element type's scale: the output kernels bring every
# element down to 8 bits, and reading raises it again.
STEP = {numpy.uint8: 0, numpy.int8: 1, numpy.uint16: 256, numpy.int16: 256, numpy.uint32: 2**24, numpy.int32: 2**24,
        numpy.float32: 1 / 255, numpy.float64: 1 / 255, numpy.bool_: 0}


@pytest.mark.parametrize("dtype", DTYPES, ids=lambda d: numpy.dtype(d).name)
@pytest.mark.parametrize("order", ["C", "F"])
def test_frames_come_back_within_one_eight_bit_step(tmp_path, pictures, dtype, order):
    frames = [numpy.asarray(EXPECTED[dtype](picture), order=order) for picture in pictures]
    path = tmp_path / "round.avi"
    with korva.VideoWriter(path, 51, 37, 30) as writer:
        for frame in frames:
            writer.write(frame)
        assert writer.frames_written == len(frames)
    with korva.VideoReader(path, dtype=dtype, order=order) as video:
        assert len(video) == len(frames) and video.fps == 30
        for got, sent in zip(video, frames):
            difference = numpy.abs(got.astype(numpy.float64) - sent.astype(numpy.float64))
            assert difference.max() <= STEP[dtype]
    if dtype in (numpy.uint8, numpy.float64, numpy.float32):
        # These scales give every byte back exactly.
        with korva.VideoReader(path) as video:
            numpy.testing.assert_array_equal(video[:], pictures)


def test_frames_that_are_views_are_written_as_their_values(tmp_path):
    wide = noise(20, 40, count=1, seed=3)[0]
    view = wide[::2, ::2]          # neither C nor F contiguous
    flipped = wide[:10, :20][::-1]
    path = tmp_path / "views.avi"
    with korva.VideoWriter(path, 20, 10, 25) as writer:
        writer.write(view)
        writer.write(flipped)
        with pytest.raises(ValueError, match="dtype"):
            writer.write(view.tolist())  # Python ints come as int64: no element type of ours
    with korva.VideoReader(path) as video:
        assert len(video) == 2
        numpy.testing.assert_array_equal(video[0], view)
        numpy.testing.assert_array_equal(video[1], flipped)


def sample_noise(count, channels, bits, seed):
    generator = numpy.random.default_rng(seed)
    low, high, dtype = {8: (0, 256, numpy.uint8), 16: (-2**15, 2**15, numpy.int16), 24: (-2**23, 2**23, numpy.int32),
                        32: (-2**31, 2**31, numpy.int32)}[bits]
    return generator.integers(low, high, size=(count, channels), dtype=numpy.int64).astype(dtype)


@pytest.mark.parametrize("bits, channels", [(8, 1), (16, 2), (24, 2), (32, 3), (8, 2), (16, 1)])
def test_audio_of_any_run_lengths_comes_back_whole(tmp_path, bits, channels):
    # 8000 Hz at 25 frames/s gathers chunks of 320 samples; runs of odd
    # lengths, empty ones and one longer than several chunks cross them.
    runs = [0, 1, 319, 320, 7, 2000, 0, 1353]
    samples = sample_noise(sum(runs), channels, bits, seed=bits + channels)
    path = tmp_path / "audio.avi"
    with korva.VideoWriter(path, 8, 6, 25, audio_rate=8000, audio_channels=channels, audio_bits=bits) as writer:
        start = 0
        for index, run in enumerate(runs):
            part = samples[start:start + run]
            writer.write_audio(part[:, 0] if channels == 1 and index % 2 else part)
            start += run
            writer.write(noise(6, 8, seed=index)[0])
    with warnings.catch_warnings():
        # The reader serves 24- and 32-bit audio, and says it is unusual.
        warnings.simplefilter("ignore", korva.AviWarning)
        with korva.VideoReader(path) as video:
            assert korva.info(path)["audio"]["bits"] == bits
            back = video.read_audio()
    assert back.dtype == samples.dtype and back.shape[1] == channels
    numpy.testing.assert_array_equal(back[:len(samples)], samples)
    silence = back[len(samples):]
    assert len(silence) < 320
    assert (silence == (128 if bits == 8 else 0)).all()


def test_audio_as_floats_goes_through_the_sample_rules(tmp_path):
    path = tmp_path / "float-audio.avi"
    sent = numpy.array([[0.5, -0.5], [1.0, -1.0], [1.5, -1e-10], [0.0, 0.25]])
    with korva.VideoWriter(path, 8, 6, 25, audio_rate=100, audio_channels=2) as writer:
        writer.write_audio(sent)
        writer.write_audio(sent.astype(numpy.float32))
    with korva.VideoReader(path) as video:
        stored = video.read_audio()[:8]
        as_single = video.read_audio(numpy.float32)[:2]
        as_double = video.read_audio("float64")[:2]
    # Doubles floor, singles truncate; +1.0 clips to 32767.
    numpy.testing.assert_array_equal(stored, [[16384, -16384], [32767, -32768], [32767, -1], [0, 8192],
                                              [16384, -16384], [32767, -32768], [32767, 0], [0, 8192]])
    numpy.testing.assert_array_equal(as_single, [[0.5, -0.5], [32767 / 32768, -1.0]])
    assert as_single.dtype == numpy.float32 and as_double.dtype == numpy.float64
    numpy.testing.assert_array_equal(as_double, as_single)


def test_24_bit_audio_reads_as_its_own_values_and_as_floats(tmp_path):
    path = tmp_path / "audio24.avi"
    sent = numpy.array([[2**23 - 1, -2**23], [1, -1], [0x123456, -0x123456]], dtype=numpy.int32)
    with korva.VideoWriter(path, 8, 6, 25, audio_rate=75, audio_channels=2, audio_bits=24) as writer:
        writer.write_audio(sent)
        with pytest.raises(ValueError, match="24-bit"):
            writer.write_audio(numpy.array([[2**23, 0]], dtype=numpy.int32))
    with pytest.warns(korva.AviWarning, match="Unsupported audio stream"):
        video = korva.VideoReader(path)
    with video:
        numpy.testing.assert_array_equal(video.read_audio()[:3], sent)
        numpy.testing.assert_array_equal(video.read_audio(numpy.float64)[:3], sent / 2**23)


def test_a_writer_dropped_without_close_still_finishes_its_file(tmp_path, pictures):
    path = tmp_path / "dropped.avi"
    writer = korva.VideoWriter(path, 51, 37, 25)
    writer.write(pictures[0])
    writer.write(pictures[1])
    del writer
    with korva.VideoReader(path) as video:
        numpy.testing.assert_array_equal(video[:], pictures[:2])
