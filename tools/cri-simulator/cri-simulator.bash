# bash completion for cri-simulator

_cri_simulator() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]} options word i
    COMPREPLY=()
    for ((i = 2; i < COMP_CWORD; i++)); do
        if [[ ${COMP_WORDS[i]} == -- ]]; then
            # What stands behind "--" is another command line.
            if declare -F _command_offset >/dev/null; then
                _command_offset $((i + 1))
            else
                mapfile -t COMPREPLY < <(compgen -c -f -- "$current")
            fi
            return
        fi
    done
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W "play run --help --version" -- "$current")
        return
    fi
    case $previous in
        --directory) mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
        --log) mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
        --bus | --speed | --until) return ;;
    esac
    options="--speed --loop --json --help"
    case $command in
        play) options+=" --bus --directory --until -" ;;
        run) options+=" --log --" ;;
        *) return ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -o filenames -F _cri_simulator cri-simulator
