# bash completion for muxctl. Source it, or install it as /usr/share/bash-completion/completions/muxctl.

# The command among the words before the cursor, with its second word where there is one; empty before the first.
_muxctl_command() {
    local index word command=
    for ((index = 1; index < COMP_CWORD; index++)); do
        word=${COMP_WORDS[index]}
        case $word in
            --host | --port | --timeout) ((index++)) ;;
            -*) [[ $command && $command != whitelist ]] && break ;;
            *) command+=${command:+ }$word && [[ $command != whitelist ]] && break ;;
        esac
    done
    echo "$command"
}

# What may stand behind a command beside the options of all commands.
_muxctl_words() {
    case $1 in
        '') echo 'status open close open-close access-denied access-allowed whitelist watch send configure health' \
            'check-config --version' ;;
        whitelist) echo 'add remove clear enable disable get' ;;
        open | close | access-denied) echo '--gateway --lock --event' ;;
        open-close) echo '--gateway --lock --duration --event' ;;
        'whitelist add' | 'whitelist remove') echo '--gateway --lock --card --uid --setup --options' ;;
        status | access-allowed | 'whitelist '*) echo '--gateway --lock' ;;
        watch) echo '--count' ;;
        send) echo '--file --no-answer' ;;
    esac
}

_muxctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command
    command=$(_muxctl_command)
    COMPREPLY=()
    case $previous in
        --host)
            mapfile -t COMPREPLY < <(compgen -A hostname -- "$current")
            return
            ;;
        --port | --timeout | --gateway | --lock | --duration | --card | --setup | --options | --count) return ;;
    esac
    if [[ $previous == --file || ($current != -* && ($command == configure || $command == check-config)) ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$(_muxctl_words "$command") --host --port --timeout --json --help" \
        -- "$current")
}

complete -F _muxctl muxctl
