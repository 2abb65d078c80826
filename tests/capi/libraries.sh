#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
#
# libraries.sh SOURCE SHARED STATIC TRACEWELL
#
# Holds what the C libraries show against the header, and builds and runs the example with both.
set -euo pipefail

source=$1 shared=$2 static=$3 tracewell=$4
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT

grep -o '\btracewell_[a-z_]*(' "$source/capi/tracewell.h" | tr -d '(' | sort -u >"$place/declared"
symbols() { nm "$@" --defined-only | awk 'NF == 3 && $2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort -u; }
symbols -D "$shared" >"$place/shared"
if ! diff "$place/declared" "$place/shared"; then
    echo "the shared library does not show what the header declares, and that alone"
    exit 1
fi
for standard in -std=c99 -std=c17; do
    cc $standard -pedantic -Wall -Wextra -Wconversion -Werror -fsyntax-only -x c "$source/capi/tracewell.h"
done
for standard in -std=c++98 -std=c++20; do
    c++ $standard -pedantic -Wno-long-long -Wall -Wextra -Werror -fsyntax-only -x c++ "$source/capi/tracewell.h"
done
libraries=(-lboost_thread -lboost_chrono -lboost_filesystem -lfmt -lz -ldeflate -lzstd -llz4 -llzma -lxxhash
    -lstdc++ -lm -ldl -lpthread)
compile=(cc -std=c99 -pedantic -Wall -Wextra -Werror -I "$source/capi" "$source/examples/simulator.c")
if [[ -f $static ]]; then
    diff "$place/shared" <(symbols -g "$static")
    "${compile[@]}" -o "$place/static" "$static" "${libraries[@]}"
    "$place/static" "$place/static.wdb"
fi
if grep -q '__asan_' <(nm -D "$shared"); then
    # The example would have to be made for it too.
    exit 0
fi
"${compile[@]}" -o "$place/shared.run" "$shared" -Wl,-rpath,"$(dirname "$shared")"
"$place/shared.run" "$place/shared.wdb"
if [[ -f $static ]]; then
    "$tracewell" diff "$place/shared.wdb" "$place/static.wdb"
fi
"$tracewell" values "$place/shared.wdb" top.counter.command top.counter.count --from 380 --to 400 >"$place/values"
diff "$place/values" - <<'VALUES'
time (1 ns)  top.counter.command[1:0]  top.counter.count[3:0]
        380  COUNT                     5
        390  CLEAR                     0
        400  COUNT                     1
VALUES
