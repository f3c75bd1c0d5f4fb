#!/usr/bin/python3
"""The mean frame of several full HD recordings: korva.dask on a cluster of one
and of two worker processes, against a plain loop over korva.VideoReader.

Run on demand after a build:

    PYTHONPATH=build/python /usr/bin/python3 bench/python_dask_bench.py [--files 4] [--frames 100] [--rounds 3]

It writes the files (noise, 1920x1080 uint8), reads them once into the page
cache, then times each way in turn over several rounds and prints frames per
second (best round) and the ratios.
"""

import argparse
import os
import tempfile
import time

import dask.array
import distributed
import numpy

import korva
import korva.dask

WIDTH, HEIGHT = 1920, 1080


def write_files(folder, files, frames):
    generator = numpy.random.default_rng(3)
    base = generator.integers(0, 256, size=(HEIGHT, WIDTH, 3), dtype=numpy.uint8)
    paths = []
    for index in range(files):
        path = os.path.join(folder, f"recording-{index}.avi")
        with korva.VideoWriter(path, WIDTH, HEIGHT, 25) as writer:
            for frame in range(frames):
                writer.write(numpy.roll(base, 7 * (index * frames + frame), axis=1))
        with open(path, "rb") as stream:  # into the page cache
            while stream.read(1 << 24):
                pass
        paths.append(path)
    return paths


def plain_loop(paths):
    total, count = numpy.zeros((HEIGHT, WIDTH, 3)), 0
    for path in paths:
        with korva.VideoReader(path) as video:
            for frame in video:
                total += frame
                count += 1
    return total / count


def dask_sum(video):
    # The sum over the frames, divided once: Dask's own mean carries a count
    # array of a frame's size beside every partial sum, which doubles the
    # work of the reduction.
    return video.sum(axis=0, dtype=numpy.float64)


# Elements of a frame summed at a time over all frames of a chunk: the
# partial sum of a block stays in the cache while the frames are added into it.
BLOCK = 1 << 15
# Sums of 8-bit samples are exact in 32-bit integers up to 16 million frames,
# and half the size of doubles to send between workers and to add up.
PARTIAL = numpy.uint32


def _chunk_sum(frames, axis, keepdims):
    # numpy's own sum over the frame axis adds one frame at a time into the
    # whole partial sum, which it takes from memory and back for every frame;
    # block by block, the partial sum is written once.
    flat = frames.reshape(len(frames), -1)
    total = numpy.empty((1,) + frames.shape[1:], PARTIAL)
    target = total.reshape(-1)
    for start in range(0, flat.shape[1], BLOCK):
        numpy.sum(flat[:, start:start + BLOCK], axis=0, dtype=PARTIAL, out=target[start:start + BLOCK])
    return total


def _add_up(partials, axis, keepdims):
    # Partial sums arrive as a list (concatenate=False) and are added into the
    # first one, where Dask's own combine would first copy them all into one
    # array of their total size.
    partials = partials if isinstance(partials, list) else [partials]
    total = partials[0] + partials[1] if len(partials) > 1 else partials[0]
    for partial in partials[2:]:
        total += partial
    return total if keepdims else total[0]


def blocked_sum(video):
    assert video.dtype == numpy.uint8 and len(video) < (1 << 24)
    return dask.array.reduction(video, _chunk_sum, _add_up, combine=_add_up, axis=0, concatenate=False,
                                dtype=PARTIAL)


def on_cluster(client, paths, reduce):
    video = korva.dask.read_video(paths)
    return client.compute(reduce(video) / len(video)).result()


def timed(call, frames):
    start = time.perf_counter()
    result = call()
    return frames / (time.perf_counter() - start), result


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--files", type=int, default=4)
    parser.add_argument("--frames", type=int, default=100, help="frames of each file")
    parser.add_argument("--rounds", type=int, default=3)
    args = parser.parse_args()
    frames = args.files * args.frames

    with tempfile.TemporaryDirectory() as folder:
        paths = write_files(folder, args.files, args.frames)
        clusters = {workers: distributed.LocalCluster(n_workers=workers, threads_per_worker=1, processes=True,
                                                      dashboard_address=None)
                    for workers in (1, 2)}
        clients = {workers: distributed.Client(cluster) for workers, cluster in clusters.items()}
        try:
            # Two ways to sum the chunks: Dask's own, and one that sums each
            # chunk a block at a time and adds the partial sums in place.
            ways = {"Dask's sum": dask_sum, "blocked sum": blocked_sum}
            best = {"loop": 0.0}
            best.update({(way, workers): 0.0 for way in ways for workers in clients})
            for _ in range(args.rounds):
                rate, reference = timed(lambda: plain_loop(paths), frames)
                best["loop"] = max(best["loop"], rate)
                for way, reduce in ways.items():
                    for workers, client in clients.items():
                        rate, mean = timed(lambda: on_cluster(client, paths, reduce), frames)
                        numpy.testing.assert_allclose(mean, reference, rtol=1e-9)
                        best[way, workers] = max(best[way, workers], rate)
        finally:
            for client in clients.values():
                client.close()
            for cluster in clusters.values():
                cluster.close()

    print(f"mean frame over {args.files} files of {args.frames} frames, {WIDTH}x{HEIGHT} uint8, "
          f"frames/s (best of {args.rounds}):")
    print(f"  plain loop over VideoReader             {best['loop']:8.1f}")
    for way in ways:
        one, two = best[way, 1], best[way, 2]
        print(f"  korva.dask, {way:11s}, 1 worker    {one:8.1f}   / plain loop: {one / best['loop']:.2f}")
        print(f"  korva.dask, {way:11s}, 2 workers   {two:8.1f}   / 1 worker:   {two / one:.2f}")

if __name__ == "__main__":
    main()
