# SPDX-License-Identifier: BSD-3-Clause
"""The trials by name. Each is a function of a turn."""

from .damaged import damaged_recording, damaged_run
from .fuzzing import fuzz
from .hostile import hostile_peer, hostile_requests
from .kills import killed_bench, killed_import, killed_kernel, killed_rewrite
from .live import follow
from .roads import bench_writers, fst_road, stores
from .streams import closed_streams, full_disk

ALL = {
    "stores": stores,
    "fst": fst_road,
    "bench": bench_writers,
    "kill-import": killed_import,
    "kill-rewrite": killed_rewrite,
    "kill-kernel": killed_kernel,
    "kill-bench": killed_bench,
    "follow": follow,
    "hostile": hostile_peer,
    "requests": hostile_requests,
    "disk": full_disk,
    "closed": closed_streams,
    "damage": damaged_recording,
    "damaged-run": damaged_run,
    "fuzz": fuzz,
}
