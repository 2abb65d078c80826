#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
#
# shellcheck disable=SC2016
# pages.sh TRACEWELL SHARE
#
# Holds man pages and completions against what --help prints, and tries the completions in the shells that
# are there.
set -euo pipefail

tracewell=$1 share=$2
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
fail() {
    echo "pages.sh: $*"
    exit 1
}

mapfile -t commands < <("$tracewell" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\) .*/\1/p')
[[ ${#commands[@]} -gt 15 ]] || fail "--help lists ${#commands[@]} commands"
bash=$share/bash-completion/completions/tracewell
zsh=$share/zsh/vendor-completions/_tracewell
fish=$share/fish/vendor_completions.d/tracewell.fish
for command in "${commands[@]}"; do
    page=$share/man/man1/tracewell-$command.1
    [[ -f $page ]] || fail "$command has no page"
    grep -q "^\.Xr tracewell-$command 1" "$share/man/man1/tracewell.1" || fail "tracewell.1 lacks $command"
    # Each completes its own options: the block of the command alone is looked at.
    sed -n "/^    $command) options=/p" "$bash" >"$place/bash"
    sed -n "/^    $command)\$/,/;;/p" "$zsh" >"$place/zsh"
    grep "seen_subcommand_from $command'" "$fish" >"$place/fish"
    for option in $("$tracewell" help "$command" | sed -n '/^Options:/,/^$/p' | grep -o '^  -[^ ]*' |
        tr ',' '\n' | tr -d ' ' | sed 's/^-h$/--help/'); do
        grep -qe "Fl ${option#-}\b" "$page" || fail "the page of $command lacks $option"
        grep -qe "[ ']${option}[ ']" "$place/bash" || fail "bash lacks $option of $command"
        grep -qe "$option\[" "$place/zsh" || fail "zsh lacks $option of $command"
        grep -qe "-[ls] ${option##*-}\b\|-l ${option#--} " "$place/fish" || fail "fish lacks $option of $command"
    done
done
if command -v mandoc >/dev/null; then
    for page in "$share"/man/man1/*; do
        mandoc -T lint -W warning "$page" || fail "$page"
    done
fi

printf '%s\n' '$timescale 1 ns $end $scope module top $end $var wire 1 ! clk $end' \
    '$var wire 8 " count [7:0] $end $upscope $end $enddefinitions $end' '#0' '0!' 'b0 "' >"$place/run.vcd"
cd "$place"
cat >complete.bash <<LINES
source $bash
COMP_WORDS=($tracewell "\$@")
COMP_CWORD=\$((\${#COMP_WORDS[@]} - 1))
_tracewell
printf '%s\n' "\${COMPREPLY[@]}"
LINES
expect() {
    local want=$1
    shift
    [[ $(bash complete.bash "$@" | sort | tr '\n' ' ') == "$want" ]] ||
        fail "bash completes '$*' to '$(bash complete.bash "$@" | tr '\n' ' ')', not '$want'"
}
expect "search " sea
expect "--sample --scope --show " search run.vcd --s
expect "at before " search run.vcd x --sample ""
expect "top.clk top.count[7:0] " values run.vcd top.
expect "top.count[7:0] " search run.vcd clk --show top.co
expect "run.vcd " info r
if command -v fish >/dev/null; then
    mkdir bin
    ln -s "$tracewell" bin/tracewell
    [[ $(PATH=$place/bin:$PATH fish --no-config -c "source $fish; complete -C 'tracewell search run.vcd --sam'" |
        cut -f1) == --sample ]] || fail "fish completes no option"
    [[ $(PATH=$place/bin:$PATH fish --no-config -c "source $fish; complete -C 'tracewell values run.vcd top.co'" |
        cut -f1) == 'top.count[7:0]' ]] || fail "fish completes no signal"
fi
if command -v zsh >/dev/null; then
    zsh -n "$zsh"
fi
