#!/usr/bin/python3
"""Frames of a full HD AVI file into numpy: korva against OpenCV, PyAV and a bare read.

Run on demand after a build:

    PYTHONPATH=build/python /usr/bin/python3 bench/python_frames_bench.py [--frames 100] [--rounds 3]

It writes a 1920x1080 24-bit file of noise frames, reads it once to bring it
into the page cache, then times every reader over all frames through Python
iteration, in rounds taken in turn so that each peer sees the same machine
state, and prints frames per second (best round) and korva's ratio to each
peer. The write figures compare korva.VideoWriter with PyAV writing the same
frames as raw bgr24 video into AVI.
"""

import argparse
import os
import sys
import tempfile
import time

import av
import cv2
import numpy

import korva

WIDTH, HEIGHT = 1920, 1080


def noise_frames(count, seed=7):
    generator = numpy.random.default_rng(seed)
    base = generator.integers(0, 256, size=(HEIGHT, WIDTH, 3), dtype=numpy.uint8)
    # Rolled copies: every frame differs, and making them costs little.
    return [numpy.roll(base, 17 * i, axis=1) for i in range(count)]


def korva_frames(path, dtype):
    with korva.VideoReader(path, dtype=dtype) as video:
        for frame in video:
            yield frame


def opencv_frames(path, dtype):
    capture = cv2.VideoCapture(path)
    try:
        while True:
            ok, frame = capture.read()
            if not ok:
                return
            rgb = cv2.cvtColor(frame, cv2.COLOR_BGR2RGB)
            yield rgb if dtype == numpy.uint8 else rgb.astype(numpy.float64) / 255
    finally:
        capture.release()


def pyav_frames(path, dtype):
    with av.open(path) as container:
        for frame in container.decode(video=0):
            rgb = frame.to_ndarray(format="rgb24")
            yield rgb if dtype == numpy.uint8 else rgb.astype(numpy.float64) / 255


def pread_frames(path, dtype):
    """What a careful user writes by hand: a positioned read of each chunk
    (offsets from the file's own index), then the bottom-up flip and the
    blue-red swap."""
    offsets = chunk_offsets(path)
    size = 3 * WIDTH * HEIGHT
    buffer = numpy.empty(size, dtype=numpy.uint8)
    fd = os.open(path, os.O_RDONLY)
    try:
        for offset in offsets:
            os.preadv(fd, [buffer], offset)
            rgb = numpy.ascontiguousarray(buffer.reshape(HEIGHT, WIDTH, 3)[::-1, :, ::-1])
            yield rgb if dtype == numpy.uint8 else rgb.astype(numpy.float64) / 255
    finally:
        os.close(fd)


def chunk_offsets(path):
    """Payload offsets of the '00db' chunks, found by walking the file's lists."""
    offsets = []
    end = os.path.getsize(path)
    with open(path, "rb") as stream:
        position = 12
        while position + 8 <= end:
            stream.seek(position)
            head = stream.read(8)
            tag, size = head[:4], int.from_bytes(head[4:], "little")
            if tag in (b"RIFF", b"LIST"):
                position += 12
                continue
            if tag == b"00db":
                offsets.append(position + 8)
            position += 8 + size + (size & 1)
    return offsets


READERS = {"korva": korva_frames, "OpenCV": opencv_frames, "PyAV": pyav_frames, "pread": pread_frames}


def time_reader(reader, path, dtype, expected):
    start = time.perf_counter()
    count = 0
    for _ in reader(path, dtype):
        count += 1
    elapsed = time.perf_counter() - start
    if count != expected:
        sys.exit(f"{reader.__name__} read {count} frames of {expected}")
    return count / elapsed


def korva_write(path, frames):
    with korva.VideoWriter(path, WIDTH, HEIGHT, 25) as writer:
        for frame in frames:
            writer.write(frame)


def pyav_write(path, frames):
    with av.open(path, "w", format="avi") as container:
        stream = container.add_stream("rawvideo", rate=25)
        stream.width, stream.height, stream.pix_fmt = WIDTH, HEIGHT, "bgr24"
        for frame in frames:
            packet_frame = av.VideoFrame.from_ndarray(frame[:, :, ::-1].copy(), format="bgr24")
            for packet in stream.encode(packet_frame):
                container.mux(packet)
        for packet in stream.encode():
            container.mux(packet)


def time_writer(writer, path, frames):
    # Every writer starts with no dirty pages of another waiting for the disk,
    # and leaves none behind: otherwise the writeback of one peer's file
    # throttles the next.
    os.sync()
    start = time.perf_counter()
    writer(path, frames)
    rate = len(frames) / (time.perf_counter() - start)
    os.unlink(path)
    return rate


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--frames", type=int, default=100)
    parser.add_argument("--rounds", type=int, default=3)
    args = parser.parse_args()

    frames = noise_frames(args.frames)
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "noise.avi")
        korva_write(path, frames)
        with open(path, "rb") as stream:  # into the page cache
            while stream.read(1 << 24):
                pass
        # The peers must see the same pictures, or the race means nothing.
        with korva.VideoReader(path) as video:
            for name in ("OpenCV", "PyAV", "pread"):
                first = next(iter(READERS[name](path, numpy.uint8)))
                if not numpy.array_equal(first, video[0]):
                    sys.exit(f"{name} reads other pixels than korva")

        for dtype in (numpy.uint8, numpy.float64):
            best = {name: 0.0 for name in READERS}
            for _ in range(args.rounds):
                for name, reader in READERS.items():
                    best[name] = max(best[name], time_reader(reader, path, dtype, args.frames))
            print(f"read {numpy.dtype(dtype).name}, frames/s (best of {args.rounds}):")
            for name, rate in best.items():
                ratio = "" if name == "korva" else f"   korva / {name}: {best['korva'] / rate:.2f}"
                print(f"  {name:8s} {rate:8.1f}{ratio}")

        writers = {"korva": korva_write, "PyAV": pyav_write}
        best = {name: 0.0 for name in writers}
        for _ in range(args.rounds):
            for name, writer in writers.items():
                best[name] = max(best[name], time_writer(writer, os.path.join(folder, f"w-{name}.avi"), frames))
        print(f"write uint8, frames/s (best of {args.rounds}):")
        for name, rate in best.items():
            ratio = "" if name == "korva" else f"   korva / {name}: {best['korva'] / rate:.2f}"
            print(f"  {name:8s} {rate:8.1f}{ratio}")


if __name__ == "__main__":
    main()
