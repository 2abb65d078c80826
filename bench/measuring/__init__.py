# SPDX-License-Identifier: BSD-3-Clause
"""What bench/grow and bench/scoreboard share."""
