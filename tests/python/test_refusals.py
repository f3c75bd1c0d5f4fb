"""Bad input of every kind: a clear exception, and nothing already written lost."""

import warnings

import numpy
import pytest

import korva
from conftest import CORPUS, noise


def assert_refused(call, code):
    with pytest.raises(korva.AviError) as refusal:
        call()
    assert refusal.value.code == code and refusal.value.message and refusal.value.path
    return refusal.value


def test_files_that_cannot_be_read_are_refused_with_the_library_code(tmp_path, korva_file):
    missing = assert_refused(lambda: korva.VideoReader(tmp_path / "none.avi"), 3)
    assert missing.path == str(tmp_path / "none.avi") and "Unable to open AVI file" in str(missing)
    (tmp_path / "folder.avi").mkdir()
    assert_refused(lambda: korva.info(tmp_path / "folder.avi"), 5)
    (tmp_path / "text.avi").write_text("not a RIFF file at all\n" * 10)
    assert_refused(lambda: korva.VideoReader(tmp_path / "text.avi"), 1)
    (tmp_path / "empty.avi").write_bytes(b"")
    assert_refused(lambda: korva.VideoReader(tmp_path / "empty.avi"), 5)

    # Cut in the middle of the frames: the index is gone with the tail.
    cut = tmp_path / "cut.avi"
    whole = korva_file.read_bytes()
    cut.write_bytes(whole[:len(whole) * 2 // 3])
    assert_refused(lambda: korva.VideoReader(cut), 5)


def test_a_frame_cut_short_is_refused_with_its_number():
    with pytest.warns(korva.AviWarning, match="video chunks are missing"):
        video = korva.VideoReader(CORPUS / "damaged-cut-in-frame.avi")
    with video:
        last = len(video) - 1
        refusal = assert_refused(lambda: video[last], 5)
        assert refusal.frame == last and f"frame {last}" in str(refusal)
        with pytest.raises(korva.AviError) as stacked:
            video[:]
        assert stacked.value.frame == last


def test_compressed_video_and_missing_audio_are_refused_on_reading():
    with korva.VideoReader(CORPUS / "compressed-video.avi") as video:
        assert len(video) > 0
        assert_refused(lambda: video[0], 32)
    with korva.VideoReader(CORPUS / "depth32.avi") as video:
        assert_refused(video.read_audio, 10)
        with pytest.raises(ValueError, match="dtype"):
            video.read_audio(numpy.int16)


def test_a_file_opened_with_an_error_standing_warns():
    with pytest.warns(korva.AviWarning, match="Unsupported audio stream"):
        with korva.VideoReader(CORPUS / "audio-24bit.avi") as video:
            assert len(video) == 2


def test_every_seed_file_of_the_fuzz_corpus_reads_or_refuses():
    for path in sorted(CORPUS.iterdir()):
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", korva.AviWarning)
            try:
                with korva.VideoReader(path, dtype=numpy.float32) as video:
                    for index in range(len(video)):
                        assert video[index].shape == (video.height, video.width, 3)
                    if korva.info(path)["audio"]:
                        video.read_audio(numpy.float64)
            except korva.AviError as refusal:
                assert refusal.code > 0 and refusal.path == str(path)


def test_closed_readers_and_writers_refuse_use(tmp_path, korva_file):
    video = korva.VideoReader(korva_file)
    video.close()
    video.close()
    for use in (lambda: video[0], lambda: len(video), lambda: list(video), video.read_audio, lambda: video.shape):
        with pytest.raises(ValueError, match="closed"):
            use()
    writer = korva.VideoWriter(tmp_path / "closed.avi", 4, 2, 25, audio_rate=100)
    writer.close()
    with pytest.raises(ValueError, match="closed"):
        writer.write(noise(2, 4)[0])
    with pytest.raises(ValueError, match="closed"):
        writer.write_audio(numpy.zeros((4, 2), numpy.int16))


def test_wrong_frames_and_samples_write_nothing(tmp_path):
    path = tmp_path / "kept.avi"
    good = noise(6, 8, count=2, seed=4)
    with korva.VideoWriter(path, 8, 6, 25, audio_rate=200) as writer:
        writer.write(good[0])
        wrong_frames = [good[0][:, :7], good[0][..., :2], good[0].astype(numpy.int64), good[0].astype(numpy.float16),
                        good[0].astype(complex), good[0][numpy.newaxis], numpy.zeros((6, 8, 3), ">u2"), "picture"]
        for wrong in wrong_frames:
            with pytest.raises(ValueError):
                writer.write(wrong)
        for wrong in [numpy.zeros((4, 3), numpy.int16), numpy.zeros(4, numpy.int16), numpy.zeros((4, 2), numpy.int32),
                      numpy.zeros((4, 2, 1), numpy.int16)]:
            with pytest.raises(ValueError):
                writer.write_audio(wrong)
        writer.write(good[1])
    with korva.VideoReader(path) as video:
        numpy.testing.assert_array_equal(video[:], good)
        assert len(video.read_audio()) == 0
    with korva.VideoWriter(tmp_path / "silent.avi", 8, 6, 25) as writer:
        with pytest.raises(ValueError, match="audio"):
            writer.write_audio(numpy.zeros((4, 2), numpy.int16))


@pytest.mark.parametrize("arguments", [(0, 6, 25), (8, -1, 25), (8, 6, 0), (8, 6, float("nan")), (100000, 100000, 25)])
def test_writer_arguments_out_of_range_are_refused_before_the_file_is_made(tmp_path, arguments):
    path = tmp_path / "never.avi"
    with pytest.raises(ValueError):
        korva.VideoWriter(path, *arguments)
    for audio in [dict(audio_rate=0), dict(audio_rate=8000, audio_bits=12), dict(audio_rate=8000, audio_channels=0)]:
        with pytest.raises(ValueError):
            korva.VideoWriter(path, 8, 6, 25, **audio)
    assert not path.exists()


def test_a_failing_write_raises_the_library_code():
    # Every write to /dev/full fails for want of room, and it has no position
    # to tell: the writer refuses the chunk's index offset first.
    writer = korva.VideoWriter("/dev/full", 64, 48, 25)
    with pytest.raises(korva.AviError) as refusal:
        writer.write(noise(48, 64)[0])
    assert (refusal.value.code, refusal.value.message) in [(39, "Invalid Index Offset Calculated"),
                                                           (6, "Fwrite operation failed")]
    with pytest.raises(korva.AviError):
        writer.close()


def test_unwritable_places_are_refused_with_the_library_code(tmp_path):
    assert_refused(lambda: korva.VideoWriter(tmp_path / "no-such-dir" / "x.avi", 8, 6, 25), 3)
    assert_refused(lambda: korva.VideoWriter(tmp_path, 8, 6, 25), 3)
