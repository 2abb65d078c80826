#!/bin/sh
# SPDX-License-Identifier: BSD-3-Clause
#
# localise.sh NM OBJCOPY OBJECT
#
# Leaves no other names of an object visible than those that tracewell.h declares.
set -eu
# Names that are to be one in a whole process become local only as weak ones.
"$1" --defined-only "$3" | awk '$2 == "u" { print $3 }' >"$3.unique"
"$2" --weaken-symbols="$3.unique" "$3"
"$2" --strip-debug --wildcard --keep-global-symbol='tracewell_*' "$3"
