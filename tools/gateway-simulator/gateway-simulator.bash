# bash completion for gateway-simulator. Source it, or install it as
# /usr/share/bash-completion/completions/gateway-simulator.

_gateway_simulator() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    case $previous in
        --port | --locks | --counter | --capacity) return ;;
        --host)
            mapfile -t COMPREPLY < <(compgen -W '127.0.0.1 0.0.0.0 ::1' -- "$current")
            return
            ;;
        --gateways | --whitelist-file | --script)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W '--port --host --locks --counter --capacity --whitelist-file --gateways
        --script --quiet --plain --help' -- "$current")
}

complete -F _gateway_simulator gateway-simulator
