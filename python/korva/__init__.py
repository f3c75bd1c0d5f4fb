"""AVI frames and audio in and out of numpy arrays, through libkorva.

    import korva
    with korva.VideoReader("capture.avi", dtype="float32") as video:
        for frame in video:          # (height, width, 3), red, green, blue
            ...

See VideoReader, VideoWriter and info.
"""

from ._korva import __version__
from ._errors import AviError, AviWarning
from ._video import VideoReader, VideoWriter, info

__all__ = ["__version__", "AviError", "AviWarning", "VideoReader", "VideoWriter", "info"]
