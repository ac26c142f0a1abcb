# Help is there for every command, fits 80 columns, and agrees with the parser, the manual page and the completion.
share=$(dirname "$script")/../../tools/tqctl/share
source "$share/tqctl.bash"
PATH=${tqctl%/*}:$PATH
manual=$(tr -d '\\' <"$share/tqctl.1")

# completed WORD...: what the last word could become.
completed() {
    COMP_WORDS=("$tqctl" "$@") COMP_CWORD=$# COMPREPLY=()
    _tqctl "$tqctl"
    echo "${COMPREPLY[*]}"
}

commands() { COMPREPLY=() && completed $1 '' | tr ' ' '\n'; }
options() { grep -oE '^  (-[a-z],)?--[a-z-]+' text | grep -oE -- '--[a-z-]+' || true; }

check() {
    "$tqctl" $1 --help >text && options=$(options | sort | paste -sd ' ')
    echo "${1:-tqctl}: $(head -1 text) $options"
    awk 'length > 80 { print "too wide: " $0 }' text
    [[ -z $1 ]] || grep -qE "(^|[^a-z])$1([^a-z]|\$)" <<<"$manual" || echo "not in the manual page: $1"
    [[ $(completed $1 -- | tr ' ' '\n' | grep -- -- | sort | paste -sd ' ') == "$options" ]] || echo "completed otherwise: $1"
    for option in $options; do known[$option]=1; done
    cat text >>all
}

declare -A known
check ''
for command in $(commands ''); do
    check $command
    for part in $(sed -n '/^[A-Z].*:$/h; /^  [a-z]/{G; /Commands:\|COMMANDS:/s/^  \([a-z]*\).*/\1/p}' text); do check "$command $part"; done
done
say 'The manual page has the options that there are, and no others.'
diff <(printf '%s\n' "${!known[@]}" | sort) <(grep -oE -- '--[a-z-]+' <<<"$manual" | sort -u)

"$tqctl" help | cmp - <("$tqctl" --help)
"$tqctl" help rss mark | cmp - <("$tqctl" rss mark --help)

say 'Completion of values and files; nothing in the directory is run.'
completed list --filter p
completed list --kind b
completed remove bt:1 --d
mkdir trap && cd trap && touch '$(touch ran)' '`touch ran`' && printf '#!/bin/sh\ntouch ran\n' >tqctl && chmod +x tqctl
completed add --input '$' >/dev/null
COMP_WORDS=(./tqctl li) COMP_CWORD=1 COMPREPLY=() && _tqctl ./tqctl
ls

say 'All of it, to be read when it changes.'
cat ../all
