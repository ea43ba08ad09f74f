# Bash completion of the Velora host tools: veloractl, velora-inspect and velorad.
# Commands and options are read from the tools' own --help; profile and parameter names from
# the running velorad (through veloractl, with the --root or --socket already typed).

# The words of a tool's "Subcommands:" list.
_velora_commands() {
    "$1" --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p'
}

# The long options a tool (or one of its commands) lists in its help.
_velora_options() {
    "$@" --help 2>/dev/null | grep -o -- '--[a-z][a-z-]*' | sort -u
}

_velora_complete() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    local tool=${COMP_WORDS[0]} command="" i word
    local -a where=() args=()
    local takes_value='^(--root|--socket|--timeout|--uid|--type|--port|--count|--oem|-o|--output|--profile|--tuning|--save-delay|--max-queued)$'
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $word =~ $takes_value ]]; then
            [[ $word == --root || $word == --socket ]] && where+=("$word" "${COMP_WORDS[i+1]}")
            ((i++))
        elif [[ $word != -* ]]; then
            if [[ -z $command ]]; then command=$word; else args+=("$word"); fi
        fi
    done

    case $prev in
        --root | --oem | -o | --output | --socket)
            COMPREPLY=($(compgen -f -- "$cur"))
            return ;;
        --port)
            COMPREPLY=($(compgen -W "internal_speaker hdmi miracast headphone bluetooth usb other" -- "$cur"))
            return ;;
        --timeout | --uid | --type | --count | --save-delay | --profile | --tuning)
            return ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$(_velora_options "$tool" ${command:+"$command"})" -- "$cur"))
        return
    fi
    if [[ -z $command ]]; then
        COMPREPLY=($(compgen -W "$(_velora_commands "$tool")" -- "$cur"))
        return
    fi
    if [[ $command == help ]]; then
        COMPREPLY=($(compgen -W "$(_velora_commands "$tool")" -- "$cur"))
        return
    fi
    if [[ ${tool##*/} == veloractl ]]; then
        local profiles="" position=${#args[@]}
        case $command in
            get | set)
                if ((position == 0)); then
                    profiles=1
                elif ((position == 1)); then
                    COMPREPLY=($(compgen -W "$("$tool" "${where[@]}" --json params 2>/dev/null |
                        grep -o '"name":"[^"]*"' | cut -d'"' -f4)" -- "$cur"))
                    return
                fi ;;
            profile)
                if ((position == 0)); then
                    COMPREPLY=($(compgen -W "select reset" -- "$cur"))
                    return
                fi
                ((position == 1)) && profiles=1 ;;
            devices | device)
                if ((position == 0)); then
                    COMPREPLY=($(compgen -W "internal_speaker hdmi miracast headphone bluetooth usb other" -- "$cur"))
                    return
                fi ;;
            export | import)
                COMPREPLY=($(compgen -f -- "$cur"))
                return ;;
        esac
        if [[ -n $profiles ]]; then
            local IFS=$'\n'
            COMPREPLY=($(compgen -W "$("$tool" "${where[@]}" --json profiles 2>/dev/null |
                grep -o '"name":"[^"]*"' | cut -d'"' -f4)" -- "$cur"))
            return
        fi
        return
    fi
    COMPREPLY=($(compgen -f -- "$cur"))
}

complete -o filenames -F _velora_complete veloractl velora-inspect velorad
