# SPDX-License-Identifier: BSD-3-Clause
import os

import pytest


@pytest.fixture
def tool():
    """The command line, whose answers the module's are held against."""
    return os.environ["TRACEWELL_TOOL"]


@pytest.fixture
def path(tmp_path):
    return lambda name: str(tmp_path / name)
