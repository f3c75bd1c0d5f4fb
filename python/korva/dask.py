"""Many AVI recordings as one Dask array, read where the chunks are computed.

    import korva.dask
    video = korva.dask.read_video("captures/*.avi", dtype="float32")
    mean_frame = video.mean(axis=0).compute()

Building the array reads each file's header only. Every chunk is a task that
names a file and a range of its frames; it opens the file, reads those frames
and closes it again on whichever worker runs it, so the same code runs on a
laptop's threads and on a cluster whose workers see the files under the same
paths.
"""

import glob
import os

import numpy

try:
    import dask.array
    from dask.base import tokenize
    from dask.blockwise import BlockwiseDepDict, blockwise
    from dask.highlevelgraph import HighLevelGraph
except ImportError as missing:  # pragma: no cover - depends on the machine
    raise ImportError("korva.dask needs Dask: install Debian's python3-dask (and python3-distributed to run on "
                      "a cluster)") from missing

from ._dtypes import AUDIO_STORED, audio_float_type, video_type
from ._errors import AviError
from ._video import VideoReader, _order, _path, info

# The size a chunk of frames aims at when the caller does not say.
CHUNK_BYTES = 128 << 20

__all__ = ["read_video", "read_audio"]


def _files(paths):
    """The files a path, a glob pattern or a list of paths stands for, in order."""
    if isinstance(paths, (str, bytes, os.PathLike)):
        path = _path(paths)
        if glob.has_magic(path):
            found = sorted(glob.glob(path))
            if not found:
                raise FileNotFoundError(f"no file matches {path!r}")
            return found
        return [path]
    files = [_path(path) for path in paths]
    if not files:
        raise ValueError("no files given")
    return files


def _frame_ranges(count, per_chunk):
    return [(start, min(start + per_chunk, count)) for start in range(0, count, per_chunk)]


def _read_frames(path, start, stop, dtype, order):
    """One chunk: frames start to stop of one file. Runs on the worker."""
    try:
        with VideoReader(path, dtype=dtype, order=order) as video:
            if stop > len(video):
                raise AviError(11, f"'{path}' has {len(video)} frames now, fewer than when the array was made",
                               path, len(video))
            return video[start:stop]
    except AviError as refusal:
        if refusal.frame is not None:
            raise
        # A file that no longer opens fails the first frame the chunk wanted.
        raise AviError(refusal.code, refusal.message, path, start) from refusal


def read_video(paths, dtype=numpy.uint8, frames_per_chunk=None, order="C"):
    """The frames of one or more AVI files as a (frames, height, width, 3) Dask array.

    paths is a path, a glob pattern (files taken sorted by name) or a list of
    paths; the files follow each other along the frame axis. dtype and order
    are those of korva.VideoReader. A chunk holds frames_per_chunk frames
    (by default about 128 MB of them) and never spans two files.
    """
    dtype, _ = video_type(dtype)
    _order(order)
    files = _files(paths)
    facts = [info(path) for path in files]
    first = facts[0]
    for path, fact in zip(files[1:], facts[1:]):
        if (fact["width"], fact["height"]) != (first["width"], first["height"]):
            raise ValueError(f"{files[0]} is {first['width']}x{first['height']} but {path} is "
                             f"{fact['width']}x{fact['height']}: the frames of one array must share their size")
    height, width = first["height"], first["width"]
    if frames_per_chunk is None:
        frames_per_chunk = max(1, CHUNK_BYTES // max(1, 3 * width * height * dtype.itemsize))
    elif int(frames_per_chunk) < 1:
        raise ValueError(f"frames_per_chunk must be at least 1, not {frames_per_chunk!r}")
    frames_per_chunk = int(frames_per_chunk)

    # The name changes with the files' contents, as far as their size and
    # time of change tell, so that a rewritten file is never served from a
    # cache of the old one.
    stamps = [(path, os.stat(path).st_size, os.stat(path).st_mtime_ns) for path in files]
    token = tokenize(stamps, dtype.str, order, frames_per_chunk)
    ranges = [(path, start, stop) for path, fact in zip(files, facts)
              for start, stop in _frame_ranges(fact["frame_count"], frames_per_chunk)]
    if not ranges:
        return dask.array.zeros((0, height, width, 3), dtype=dtype, chunks=(1, height, width, 3))
    # One block-wise task a chunk, each carrying its own (path, first, end)
    # entry and depending on nothing: Dask fuses it with the block-wise steps
    # that follow (a reduction's per-chunk part), so a chunk's frames are read
    # and reduced in one task and never kept, and the scheduler hands the
    # tasks to whichever worker is free, as nothing ties them to one.
    name = "korva-read-video-" + token
    entries = BlockwiseDepDict({(i,): entry for i, entry in enumerate(ranges)})
    layer = blockwise(_read_block, name, "fhwc", entries, "f", numblocks={}, new_axes={"h": 1, "w": 1, "c": 1},
                      dtype=dtype.str, order=order)
    counts = tuple(stop - start for _, start, stop in ranges)
    return dask.array.Array(HighLevelGraph.from_collections(name, layer, dependencies=()), name,
                            chunks=(counts, (height,), (width,), (3,)), dtype=dtype,
                            meta=numpy.empty((0, 0, 0, 0), dtype=dtype))


def _read_block(entry, dtype, order):
    """The block-wise step: the frames of this chunk's (path, first, end) entry."""
    path, start, stop = entry
    return _read_frames(path, start, stop, dtype, order)


def _read_samples(path, count, dtype):
    """One chunk: the whole audio stream of one file. Runs on the worker."""
    with VideoReader(path) as video:
        samples = video.read_audio(dtype)
    if len(samples) != count:
        raise AviError(10, f"'{path}' has {len(samples)} audio samples now, not the {count} it had when the array "
                       "was made", path)
    return samples


def read_audio(paths, dtype=numpy.float32):
    """The audio streams of one or more AVI files as a (samples, channels) Dask array.

    Files follow each other as in read_video, one chunk a file. dtype float32
    or float64 scales the samples to [-1, 1); None keeps the files' own
    integers, which must then have the same width in every file.
    """
    if dtype is not None:
        audio_float_type(dtype)
        dtype = numpy.dtype(dtype)
    files = _files(paths)
    formats = []
    for path in files:
        audio = info(path)["audio"]
        if audio is None:
            raise AviError(10, f"'{path}' has no audio stream", path)
        formats.append(audio)
    first = formats[0]
    for path, audio in zip(files[1:], formats[1:]):
        if audio["channels"] != first["channels"] or (dtype is None and audio["bits"] != first["bits"]):
            raise ValueError(f"{files[0]} has {first['channels']} channels of {first['bits']} bits but {path} has "
                             f"{audio['channels']} of {audio['bits']}: the audio of one array must share them")
    result = dtype if dtype is not None else AUDIO_STORED.get(first["bits"])
    if result is None:
        raise AviError(30, f"'{files[0]}' has {first['bits']}-bit audio, which has no numpy type here", files[0])
    channels = first["channels"]
    stamps = [(path, os.stat(path).st_size, os.stat(path).st_mtime_ns) for path in files]
    name = "korva-read-audio-" + tokenize(stamps, None if dtype is None else dtype.str)
    graph, counts = {}, []
    for path, audio in zip(files, formats):
        count = audio["total_bytes"] // (channels * (audio["bits"] // 8))
        graph[(name, len(counts), 0)] = (_read_samples, path, count, None if dtype is None else dtype.str)
        counts.append(count)
    return dask.array.Array(graph, name, (tuple(counts), (channels,)), dtype=result)
