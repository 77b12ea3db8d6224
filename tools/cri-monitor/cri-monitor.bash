# bash completion for cri-monitor

_cri_monitor_words() {
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "${COMP_WORDS[COMP_CWORD]}")
}

# The last of several kinds with commas between.
_cri_monitor_kinds() {
    local current=${COMP_WORDS[COMP_CWORD]} before=
    local kinds="state event content-area video-play black-screen vision-data ui-detection
        ui-start-stop service"
    [[ $current == *,* ]] && before=${current%,*},
    mapfile -t COMPREPLY < <(compgen -P "$before" -W "$kinds" -- "${current##*,}")
}

_cri_monitor_control() {
    case $COMP_CWORD,${COMP_WORDS[2]} in
        2,*) _cri_monitor_words "content-area video-play ui-detection resolution speed --help" ;;
        3,content-area) _cri_monitor_words "start pause resume change stop --help" ;;
        3,video-play) _cri_monitor_words "start pause resume stop --help" ;;
        3,ui-detection) _cri_monitor_words "start stop adaptive-sound --help" ;;
        *,ui-detection)
            [[ ${COMP_WORDS[3]} == adaptive-sound ]] && return
            _cri_monitor_words "--hdmi-port --stb --adaptive-sound --multiview --help" ;;
        *,resolution) _cri_monitor_words "--orientation --help" ;;
    esac
}

_cri_monitor() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local picture="--screen --units"
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        _cri_monitor_words "status watch draw control --help --version"
        return
    fi
    case $previous in
        --only | --not) _cri_monitor_kinds; return ;;
        --draw) mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
        --draw-as) _cri_monitor_words "png svg"; return ;;
        --from) mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
        --count | --timeout | --refresh | --capture-type | --at | --seconds | --screen | --units)
            return ;;
    esac
    case ${COMP_WORDS[1]} in
        status) _cri_monitor_words "--json --help" ;;
        watch)
            _cri_monitor_words "--json --only --not --count --timeout --refresh --start
                --capture-type --draw --draw-as $picture --help" ;;
        draw)
            if [[ $current == -* ]]; then
                _cri_monitor_words "--from --at --seconds --start $picture --help"
            else
                mapfile -t COMPREPLY < <(compgen -f -- "$current")
            fi ;;
        control) _cri_monitor_control ;;
    esac
}

complete -o filenames -F _cri_monitor cri-monitor
