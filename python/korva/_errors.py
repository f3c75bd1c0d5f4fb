"""The exceptions the package raises for the library's refusals."""


class AviError(Exception):
    """The library refused: .code is its error code, .message its text, .path the
    file and .frame the frame being read (None when the refusal is not a frame's)."""

    def __init__(self, code, message, path, frame=None):
        super().__init__(code, message, path, frame)
        self.code = code
        self.message = message
        self.path = path
        self.frame = frame

    def __str__(self):
        where = self.path if self.frame is None else f"{self.path}, frame {self.frame}"
        return f"{self.message} [code {self.code}: {where}]"


class AviWarning(UserWarning):
    """A file opened, but with an error standing that its reader should know about."""
