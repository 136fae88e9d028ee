# bash completion for tintera, the TINTERA Sync command line          -*- shell-script -*-

# The ids of the fandecks stored on this computer ("FileID" of each fandeck's info.plist): cheap,
# and no device or service is needed to list them.
_tintera_fandeck_ids()
{
    local data=${TINTERA_DATA_DIR:-${XDG_DATA_HOME:-$HOME/.local/share}/Kalvex/TINTERA}
    local info
    for info in "$data"/Fandecks/*/info.plist; do
        [[ -f $info ]] || continue
        sed -n '/<key>FileID<\/key>/{n;s/.*<string>\(.*\)<\/string>.*/\1/p;}' "$info"
    done
}

# The serial numbers of the devices offered now (their sockets) and of those synced before (their
# settings folders).
_tintera_serials()
{
    local devices=${KALVEX_DEVICE_DIR:-${XDG_RUNTIME_DIR:-/nonexistent}/kalvex/devices}
    local data=${TINTERA_DATA_DIR:-${XDG_DATA_HOME:-$HOME/.local/share}/Kalvex/TINTERA}
    local path
    for path in "$devices"/*.sock "$data"/Devices/*/; do
        [[ -e $path ]] || continue
        path=${path%/}
        path=${path##*/}
        echo "${path%.sock}"
    done | sort -u
}

# The links of "demo --link": one profile, or a device and a service profile joined by "+".
_tintera_links()
{
    local device service
    for device in loopback usb-full-speed usb-high-speed; do
        echo "$device"
        for service in dsl mobile; do echo "$device+$service"; done
    done
    echo dsl mobile
}

_tintera()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    local commands="devices status sync updates export measurements history fandecks settings demo help"
    local options="--service-url --ca-file --device --wait --verbose --help"
    COMPREPLY=()

    # The command: the first word that is neither an option nor an option's value.
    local i command="" position=0
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        --service-url | --ca-file | --device | --wait | --stall-timeout | --format | --link | --search | --since | --fandeck) ((i++)) ;;
        -*) ;;
        *)
            if [[ -z $command ]]; then
                command=${COMP_WORDS[i]}
            else
                ((position++))
            fi
            ;;
        esac
    done

    case $prev in
    --service-url | --wait | --stall-timeout | --search | --since) return ;;
    --fandeck)
        COMPREPLY=($(compgen -W "$(_tintera_fandeck_ids)" -- "$cur"))
        return
        ;;
    --device)
        COMPREPLY=($(compgen -W "$(_tintera_serials)" -- "$cur"))
        return
        ;;
    --link)
        COMPREPLY=($(compgen -W "$(_tintera_links)" -- "$cur"))
        return
        ;;
    --ca-file)
        COMPREPLY=($(compgen -f -- "$cur"))
        return
        ;;
    --format)
        COMPREPLY=($(compgen -W "cxf cgats csv gpl ase" -- "$cur"))
        return
        ;;
    esac

    case $command in
    sync | updates) options+=" --stall-timeout --json" ;;
    export) options+=" --stall-timeout --zip --format --json" ;;
    fandecks) options+=" --stall-timeout --json" ;;
    measurements) options+=" --search --since --fandeck --json" ;;
    demo) options+=" --stall-timeout --keep --link" ;;
    settings) options+=" --json --yes" ;;
    devices | status | history) options+=" --json" ;;
    esac

    if [[ $cur == -* ]]; then
        [[ -z $command ]] && options+=" --version"
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        return
    fi

    case $command in
    "") COMPREPLY=($(compgen -W "$commands" -- "$cur")) ;;
    help) ((position == 0)) && COMPREPLY=($(compgen -W "$commands json" -- "$cur")) ;;
    export)
        if ((position == 0)); then
            # The extensions of the export formats; the pattern needs extglob, whoever loaded us.
            local extglob
            extglob=$(shopt -p extglob)
            shopt -s extglob
            COMPREPLY=($(compgen -f -X '!*.@(cxf|cie|cgats|it8|txt|csv|gpl|ase)' -- "$cur") $(compgen -d -- "$cur"))
            eval "$extglob"
        fi
        ;;
    fandecks)
        case $position in
        0) COMPREPLY=($(compgen -W "select unselect" -- "$cur")) ;;
        1) COMPREPLY=($(compgen -W "$(_tintera_fandeck_ids)" -- "$cur")) ;;
        esac
        ;;
    settings)
        case $position in
        0) COMPREPLY=($(compgen -W "auto-sync selected-only require-signed service-url ca-file" -- "$cur")) ;;
        1)
            case $prev in
            ca-file) COMPREPLY=($(compgen -f -- "$cur") $(compgen -W "default" -- "$cur")) ;;
            service-url) COMPREPLY=($(compgen -W "default" -- "$cur")) ;;
            *) COMPREPLY=($(compgen -W "on off" -- "$cur")) ;;
            esac
            ;;
        esac
        ;;
    esac
}

complete -o filenames -F _tintera tintera
