# SPDX-License-Identifier: BSD-3-Clause
"""Numbers in sentences."""


def counted(number, what):
    """1 change, 2 changes, 3,000 changes."""
    return f"{number:,} {what}{'' if number == 1 else 's'}"
