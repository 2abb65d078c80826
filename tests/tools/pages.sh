#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
#
# pages.sh TRACEWELL SHARE
#
# Holds man pages against what --help prints.
set -euo pipefail

tracewell=$(realpath "$1") share=$(realpath "$2")
fail() {
    echo "pages.sh: $*"
    exit 1
}

mapfile -t commands < <("$tracewell" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\) .*/\1/p')
[[ ${#commands[@]} -gt 15 ]] || fail "--help lists ${#commands[@]} commands"
for command in "${commands[@]}"; do
    page=$share/man/man1/tracewell-$command.1
    [[ -f $page ]] || fail "$command has no page"
    grep -q "^\.Xr tracewell-$command 1" "$share/man/man1/tracewell.1" || fail "tracewell.1 lacks $command"
    for option in $("$tracewell" help "$command" | sed -n '/^Options:/,/^$/p' | grep -o '^  -[^ ]*' |
        tr ',' '\n' | tr -d ' ' | sed 's/^-h$/--help/'); do
        grep -qe "Fl ${option#-}\b" "$page" || fail "the page of $command lacks $option"
    done
done
if command -v mandoc >/dev/null; then
    # A page is looked for beside the one that names it.
    cd "$share/man/man1"
    mandoc -T lint -- * || fail "mandoc finds something"
fi
