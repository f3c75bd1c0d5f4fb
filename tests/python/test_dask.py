"""korva.dask: several files as one array, on a two-process cluster and on threads."""

import pickle
import subprocess
import sys

import numpy
import pytest

import korva
from conftest import noise, write_file

dask = pytest.importorskip("dask")
distributed = pytest.importorskip("distributed")
import korva.dask  # noqa: E402

LENGTHS = [9, 4, 6]


@pytest.fixture(scope="module")
def files(tmp_path_factory):
    folder = tmp_path_factory.mktemp("dask")
    made = []
    for index, length in enumerate(LENGTHS):
        # Named so that sorting by name puts them in this order.
        path = folder / f"take-{index}.avi"
        with korva.VideoWriter(path, 40, 24, 25, audio_rate=8000, audio_channels=2) as writer:
            for picture in noise(24, 40, count=length, seed=index):
                writer.write(picture)
            writer.write_audio(numpy.full((160 * (index + 1), 2), index + 1, numpy.int16))
        made.append(path)
    return made


def frames_of(files, dtype=numpy.uint8):
    return numpy.concatenate([korva.VideoReader(path, dtype=dtype)[:] for path in files])


@pytest.fixture(scope="module")
def cluster_client():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            yield client


def test_chunks_follow_the_files_and_never_span_two(files):
    video = korva.dask.read_video(files, frames_per_chunk=4)
    assert video.shape == (19, 24, 40, 3) and video.dtype == numpy.uint8
    assert video.chunks[0] == (4, 4, 1, 4, 4, 2)
    assert korva.dask.read_video(str(files[0].parent / "take-*.avi")).chunks[0] == tuple(LENGTHS)
    # A task a chunk, carrying its file's path and its range and nothing
    # more: no open file, no frames, no table of the other chunks.
    graph = dict(video.__dask_graph__())
    assert sorted(graph) == [(video.name, i, 0, 0, 0) for i in range(6)]
    for key, task in graph.items():
        carried = pickle.dumps(task)
        assert len(carried) < 1000 and str(files[[0, 0, 0, 1, 2, 2][key[1]]]).encode() in carried, key


def test_mean_frame_and_scattered_frames_on_a_cluster_of_two_processes(files, cluster_client):
    video = korva.dask.read_video(files, frames_per_chunk=4)
    assert len(cluster_client.scheduler_info()["workers"]) == 2
    expected = frames_of(files)
    numpy.testing.assert_allclose(video.mean(axis=0).compute(), expected.mean(axis=0), rtol=1e-12)
    for index in [0, 8, 9, 12, 13, 18]:
        numpy.testing.assert_array_equal(video[index].compute(), expected[index])
    numpy.testing.assert_array_equal(video[[18, 2, 10]].compute(), expected[[18, 2, 10]])
    numpy.testing.assert_array_equal(
        korva.dask.read_audio(files, dtype=None).compute(),
        numpy.concatenate([korva.VideoReader(path).read_audio() for path in files]))


def test_threaded_scheduler_gives_the_same_frames_in_every_dtype_and_order(files):
    with dask.config.set(scheduler="threads"):
        for dtype, order in [(numpy.float32, "F"), (numpy.int16, "C"), (numpy.bool_, "F")]:
            video = korva.dask.read_video(files, dtype=dtype, order=order, frames_per_chunk=5)
            numpy.testing.assert_array_equal(video.compute(), frames_of(files, dtype))
        audio = korva.dask.read_audio(files)
        # 160, 320 and 480 samples, gathered into whole chunks of 320.
        assert audio.dtype == numpy.float32 and audio.chunks[0] == (320, 320, 640)
        first = numpy.concatenate([numpy.full((160, 2), 1 / 32768), numpy.zeros((160, 2))])
        numpy.testing.assert_array_equal(audio[:320].compute(), first.astype(numpy.float32))


def test_default_chunks_hold_about_128_megabytes(files):
    video = korva.dask.read_video(files[0], dtype=numpy.float64)
    assert video.chunks[0] == (LENGTHS[0],)
    frame_bytes = 1080 * 1920 * 3 * 8
    assert korva.dask.CHUNK_BYTES // frame_bytes == 2


def test_files_that_cannot_serve_are_named_when_the_array_is_made(files, tmp_path):
    with pytest.raises(korva.AviError) as missing:
        korva.dask.read_video([files[0], tmp_path / "gone.avi"])
    assert missing.value.path == str(tmp_path / "gone.avi")
    other = write_file(tmp_path / "other.avi", noise(24, 41))
    with pytest.raises(ValueError, match="take-1.avi.*other.avi"):
        korva.dask.read_video([files[1], other])
    with pytest.raises(FileNotFoundError):
        korva.dask.read_video(str(tmp_path / "none-*.avi"))
    with pytest.raises(ValueError, match="dtype"):
        korva.dask.read_video(files, dtype=numpy.int64)
    silent = write_file(tmp_path / "silent.avi", noise(24, 40))
    with pytest.raises(korva.AviError, match="no audio"):
        korva.dask.read_audio([files[0], silent])


def test_a_file_cut_after_the_array_was_made_fails_with_file_and_frame(files, tmp_path):
    shrinking = write_file(tmp_path / "shrinking.avi", noise(24, 40, count=8, seed=7))
    cut = write_file(tmp_path / "cut.avi", noise(24, 40, count=8, seed=8))
    shrunk = korva.dask.read_video([files[0], shrinking], frames_per_chunk=3)
    broken = korva.dask.read_video([cut], frames_per_chunk=3)
    write_file(shrinking, noise(24, 40, count=5, seed=7))
    cut.write_bytes(cut.read_bytes()[:20000])
    with dask.config.set(scheduler="threads"):
        numpy.testing.assert_array_equal(shrunk[:12].compute(), frames_of([files[0], shrinking])[:12])
        with pytest.raises(korva.AviError) as fewer:
            shrunk.compute()
        assert fewer.value.path == str(shrinking) and fewer.value.frame == 5
        with pytest.raises(korva.AviError) as gone:
            broken[4].compute()
        assert gone.value.path == str(cut) and gone.value.frame == 3


def test_without_dask_the_module_says_what_to_install():
    blocked = ("import sys; sys.modules['dask'] = None\n"
               "try:\n    import korva.dask\nexcept ImportError as e:\n    print(e)\n")
    result = subprocess.run([sys.executable, "-c", blocked], capture_output=True, text=True, check=True)
    assert "python3-dask" in result.stdout
    assert subprocess.run([sys.executable, "-c", "import sys; sys.modules['dask'] = None; import korva"]).returncode == 0
