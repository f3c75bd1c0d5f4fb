"""The exceptions the package raises for the library's refusals."""


class AviError(Exception):
    """The library refused: .code is its error code, .message its text, .path the file."""

    def __init__(self, code, message, path):
        super().__init__(code, message, path)
        self.code = code
        self.message = message
        self.path = path

    def __str__(self):
        return f"{self.message} [code {self.code}: {self.path}]"


class AviWarning(UserWarning):
    """A file opened, but with an error standing that its reader should know about."""
