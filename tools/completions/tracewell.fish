# SPDX-License-Identifier: BSD-3-Clause
#
# fish completion of tracewell. The program itself tells what may stand on its command line.

# What it tells: lines, each a letter, a tab and a text.
function __tracewell_ask
    set -l words
    for word in (commandline -opc)
        if string match -q '~/*' -- $word
            set word $HOME(string sub -s 2 -- $word)
        end
        set -a words $word
    end
    set -l typed (commandline -ct)
    set -l plain (string unescape -- "$typed")
    or set plain "$typed"
    command -q -- $words[1]
    or set words[1] tracewell
    command $words[1] --complete $words[2..-1] "$plain" 2>/dev/null </dev/null
end

# Whether no file may stand there. What was told is kept for __tracewell_words.
function __tracewell_takes_no_file
    set -g __tracewell_line (commandline -cp)
    set -g __tracewell_lines (__tracewell_ask)
    not string match -qr '^[fd]\t' -- $__tracewell_lines
end

function __tracewell_words
    set -l lines
    if test "$__tracewell_line" = (commandline -cp | string collect)
        set lines $__tracewell_lines
    else
        set lines (__tracewell_ask)
    end
    set -e __tracewell_line
    set -e __tracewell_lines
    string replace -rf '^[wp]\t' '' -- $lines
end

complete -c tracewell -a '(__tracewell_words)'
# The later one is asked first.
complete -c tracewell -n __tracewell_takes_no_file -f
