# SPDX-License-Identifier: BSD-3-Clause
"""The parts of scripts/torture."""
