# SPDX-License-Identifier: BSD-2-Clause
"""What this package raises. Lack of memory is MemoryError; objects of a wrong kind altogether, such
as a number where an array belongs, are TypeError."""

__all__ = ["Error", "InputError", "ProfileError"]


class Error(ValueError):
    """Something that was given cannot be measured or understood: a frame of another shape or type,
    an unknown indicator, a rate of 0. The message says what was given and what is expected."""

    __module__ = "lumagauge"


class InputError(Error, OSError):
    """A video that cannot be opened or holds no picture: not there, no video, no decoder for it.
    Also an OSError, so ``except OSError`` catches it with the errors of other files."""

    __module__ = "lumagauge"


class ProfileError(Error):
    """A profile that is no shipped one and no file of rules; names the file and the line."""

    __module__ = "lumagauge"
