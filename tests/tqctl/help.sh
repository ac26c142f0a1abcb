# Help is there for every command, fits 80 columns, and agrees with the manual page and the completion.
manual=$(dirname "$script")/../../tools/tqctl/share/tqctl.1
source "$(dirname "$manual")/tqctl.bash"

commands() {
    "$tqctl" $1 --help | awk '
        heading && /^  [a-z]/ { print $1 }
        /^[^ ].*:$/ && last == "" { heading = $0 !~ /^(Positionals|Options|Fields)/ }
        /^$/ { heading = 0 }
        { last = $0 }'
}

# completed WORD...: what the last word could become.
completed() {
    COMP_WORDS=("$tqctl" "$@") COMP_CWORD=$# COMPREPLY=()
    _tqctl "$tqctl"
    echo "${COMPREPLY[*]}"
}

check() {
    "$tqctl" $1 --help >text && echo "${1:-tqctl}: $(head -1 text)"
    awk 'length > 80 { print "too wide: " $0 }' text
    [[ -z $1 ]] || tr -d '\\' <"$manual" | grep -qE "(^|[^a-z])$1([^a-z]|\$)" || echo "not in the manual page: $1"
    [[ $(completed $1 '') == "$(commands "$1" | paste -sd ' ')" ]] || echo "completed otherwise: $(completed $1 '')"
}

check ''
for command in $(commands ''); do
    check $command
    for part in $(commands $command); do check "$command $part"; done
done

"$tqctl" help | cmp - <("$tqctl" --help)
"$tqctl" help rss mark | cmp - <("$tqctl" rss mark --help)

say 'Completion of options and of their values.'
completed list --fi
completed list --filter p
completed rss items --per
completed files 3 --js
completed backup ''
