# shellcheck shell=bash
# SPDX-License-Identifier: BSD-3-Clause
#
# bash completion of tracewell. The program itself tells what may stand on its command line; here the line's
# words are told apart, and the answers quoted. No part of a name is ever evaluated.

# Splits the line up to the cursor into `words` without their quotes; targets of redirections are left out.
# Readline replaces what lies from place $2 on: `head` is what the last word has in front of that, and `open`
# the quote that is open there. `tilde` is what a ~ at the start of the last word stands for; `target` is set
# where that word is where a redirection leads.
_tracewell_split() {
    local line=$1 start=$2 state='' word='' inside='' char i
    words=() head='' open='' tilde='' target=''
    for ((i = 0; i < ${#line}; ++i)); do
        if ((i == start)); then
            head=$word open=$state
        fi
        char=${line:i:1}
        if [[ $state && $char == "$state" ]]; then
            state=''
        elif [[ $state == '"' && $char == \\ ]]; then
            ((++i))
            char=${line:i:1}
            [[ $char == [\\\"\$\`] ]] || word+=\\
            word+=$char
        elif [[ $state ]]; then
            word+=$char
        elif [[ $char == [[:space:]\<\>] ]]; then
            if [[ $inside && ! $target && ! ($char == [\<\>] && $word =~ ^[0-9]+$) ]]; then
                words+=("$word")
            fi
            if [[ $char == [\<\>] ]]; then
                target=yes
            elif [[ $inside ]]; then
                target=''
            fi
            word='' inside='' head='' open='' tilde=''
        else
            case $char in
            \' | '"') state=$char ;;
            \\)
                ((++i))
                word+=${line:i:1}
                ;;
            '~')
                [[ $inside || ${line:i+1:1} != / ]] || tilde=$HOME
                word+=${tilde:-'~'}
                ;;
            *) word+=$char ;;
            esac
            inside=yes
        fi
    done
    if ((start == ${#line})); then
        head=$word open=$state
    fi
    words+=("$word")
}

# The files, or with d the directories, whose names start with $2; a zero byte behind each.
_tracewell_files() {
    local name
    shopt -s nullglob
    set +o noglob
    for name in "$2"*; do
        if [[ $1 == f || -d $name ]]; then
            printf '%s\0' "$name"
        fi
    done
}

# What stands for the name $1 on the line, within the quote $2, in `quoted`.
_tracewell_quote() {
    quoted=$1
    case $2 in
    \') quoted=${quoted//\'/"'\''"} ;;
    '"')
        quoted=${quoted//\\/\\\\}
        quoted=${quoted//\"/'\"'}
        quoted=${quoted//\$/'\$'}
        quoted=${quoted//\`/'\`'}
        # Of an event of the history even a quote with backslashes makes something.
        quoted=${quoted//!/"\"'!'\""}
        ;;
    *) [[ ! $quoted ]] || printf -v quoted %q "$quoted" ;;
    esac
    # Readline closes the quote behind a name, but not where it takes the last character for the end.
    if [[ $2 && $quoted == *"$2" ]]; then
        quoted+=$2
    fi
}

_tracewell() {
    local line=${COMP_LINE:0:COMP_POINT}
    local words head open tilde target
    _tracewell_split "$line" "$((${#line} - ${#2}))"

    local lines=($'f\t') program=${words[0]}
    if [[ ! $target ]]; then
        type -P "$program" >/dev/null || program=tracewell
        mapfile -t lines < <("$program" --complete "${words[@]:1}" 2>/dev/null </dev/null)
    fi
    local has_files='' kind text name names quoted
    for line in "${lines[@]}"; do
        [[ $line != [fd]$'\t'* ]] || has_files=yes
    done
    COMPREPLY=()
    for line in "${lines[@]}"; do
        kind=${line%%$'\t'*} text=${line#*$'\t'}
        text=${text%%$'\t'*}
        names=('')
        if [[ $kind == [fd] ]]; then
            name=${words[-1]}
            mapfile -d '' -t names < <(_tracewell_files "$kind" "${name#"$text"}")
        fi
        for name in "${names[@]}"; do
            name=$text$name
            [[ $name == "$head"* ]] || continue
            name=${name:${#head}}
            if [[ ! $has_files ]]; then
                _tracewell_quote "$name" "$open"
                name=$quoted
            elif [[ $tilde && ! $head ]]; then
                name="~${name:${#tilde}}"
            fi
            COMPREPLY+=("$name")
        done
    done
    if [[ $has_files ]]; then
        compopt -o filenames
    fi
    if [[ ${#COMPREPLY[@]} -eq 1 && $kind == p ]]; then
        compopt -o nospace
    fi
}

complete -F _tracewell tracewell
