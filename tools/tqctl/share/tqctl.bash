# Completion of tqctl's commands and options. They are read from the help of the tqctl that the PATH leads to, whatever
# program the line names: a file of the current directory is not run.
_tqctl() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command=() i
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} != [a-z]* ]] || command+=("${COMP_WORDS[i]}")
        ((${#command[@]} < 2)) || break
    done
    local help
    help=$(tqctl "${command[@]}" --help 2>/dev/null) || help=$(tqctl "${command[@]:0:1}" --help 2>/dev/null)

    [[ $word != -* ]] || before=
    case $before in
    --filter) COMPREPLY=($(compgen -W 'all running finished active inactive paused state5' -- "$word")) ;;
    --kind) COMPREPLY=($(compgen -W 'bt http all' -- "$word")) ;;
    --color) COMPREPLY=($(compgen -W 'auto always never' -- "$word")) ;;
    --input | --db | doctor | backup | import)
        compopt -o filenames 2>/dev/null # so that bash quotes what a name holds
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        ;;
    *)
        # Lines that begin with two spaces are options, arguments and commands; the latter under headings of their own.
        COMPREPLY=($(compgen -W "$(awk -v options="${word:0:1}" '
            heading && /^  [a-z]/ { sub(/,.*/, "", $1); print $1 }
            /^  -/ && options == "-" { for (i = 1; i <= split($1, names, ","); i++) print names[i] }
            /^[^ ].*:$/ && last == "" { heading = $0 !~ /^(Positionals|Options|Fields|Filters|Messages)/ }
            /^$/ { heading = 0 }
            { last = $0 }' <<<"$help")" -- "$word"))
        ;;
    esac
}
complete -o default -F _tqctl tqctl
