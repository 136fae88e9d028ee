# fish completion for tintera, the TINTERA Sync command line.

set -l commands devices status sync updates export measurements history fandecks settings demo help

# The ids of the fandecks stored on this computer ("FileID" of each fandeck's info.plist).
function __tintera_fandeck_ids
    set -l data $TINTERA_DATA_DIR
    if test -z "$data"
        set -l share $XDG_DATA_HOME
        test -z "$share"; and set share $HOME/.local/share
        set data $share/Kalvex/TINTERA
    end
    for info in $data/Fandecks/*/info.plist
        sed -n '/<key>FileID<\/key>/{n;s/.*<string>\(.*\)<\/string>.*/\1/p;}' $info
    end
end

# The serial numbers of the devices offered now (their sockets) and of those synced before.
function __tintera_serials
    set -l devices $KALVEX_DEVICE_DIR
    test -z "$devices"; and set devices $XDG_RUNTIME_DIR/kalvex/devices
    set -l data $TINTERA_DATA_DIR
    if test -z "$data"
        set -l share $XDG_DATA_HOME
        test -z "$share"; and set share $HOME/.local/share
        set data $share/Kalvex/TINTERA
    end
    for path in $devices/*.sock $data/Devices/*/
        basename $path .sock
    end
end

complete -c tintera -f
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a devices -d 'List the connected devices'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a status -d 'Show the device, its last sync and its settings'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a sync -d 'Run a full sync'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a updates -d 'Show what the next sync will do'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a export -d 'Export the matches to a CxF3, CGATS, CSV or palette file'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a measurements -d 'List the captures kept on this computer'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a history -d 'List the syncs run on this computer'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a fandecks -d 'List the fandecks; choose which ones sync'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a settings -d 'Show or change the sync settings'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a demo -d 'Run against an emulated device and service'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -a help -d 'Describe a command'
complete -c tintera -n "not __fish_seen_subcommand_from $commands" -l version -d 'Print the version'

complete -c tintera -l service-url -x -d 'Base URL of the sync service'
complete -c tintera -l ca-file -r -F -d 'PEM file of CA certificates to trust'
complete -c tintera -l device -x -a '(__tintera_serials)' -d 'Serial number of the device to use'
complete -c tintera -l wait -x -d 'Seconds to wait for the device'
complete -c tintera -s v -l verbose -d 'Copy every log line to standard error'
complete -c tintera -s h -l help -d 'Show the help'
complete -c tintera -n "__fish_seen_subcommand_from sync updates export fandecks demo" -l stall-timeout -x -d 'Cancel a run without progress after this many seconds'
complete -c tintera -n "__fish_seen_subcommand_from devices status fandecks settings sync updates export measurements history" -l json -d 'Print JSON objects, one a line'
complete -c tintera -n "__fish_seen_subcommand_from export" -l zip -d 'Also pack the export into FILE.zip'
complete -c tintera -n "__fish_seen_subcommand_from export" -l format -x -a 'cxf cgats csv gpl ase' -d 'File format'
complete -c tintera -n "__fish_seen_subcommand_from export" -F
complete -c tintera -n "__fish_seen_subcommand_from measurements" -l search -x -d 'Text in the tag, name, number or fandeck'
complete -c tintera -n "__fish_seen_subcommand_from measurements" -l since -x -d 'Captured at or after this date (YYYY-MM-DD)'
complete -c tintera -n "__fish_seen_subcommand_from measurements" -l fandeck -x -a '(__tintera_fandeck_ids)' -d 'Fandeck name or id'
complete -c tintera -n "__fish_seen_subcommand_from demo" -l keep -d 'Keep the demo folder'
complete -c tintera -n "__fish_seen_subcommand_from demo" -l link -x -a 'loopback usb-full-speed usb-high-speed dsl mobile usb-full-speed+dsl usb-full-speed+mobile usb-high-speed+dsl usb-high-speed+mobile' -d 'Device and service links'
complete -c tintera -n "__fish_seen_subcommand_from fandecks; and not __fish_seen_subcommand_from select unselect" -a 'select unselect'
complete -c tintera -n "__fish_seen_subcommand_from select unselect" -a '(__tintera_fandeck_ids)'
complete -c tintera -n "__fish_seen_subcommand_from settings; and not __fish_seen_subcommand_from auto-sync selected-only require-signed service-url ca-file" -a 'auto-sync selected-only require-signed service-url ca-file'
complete -c tintera -n "__fish_seen_subcommand_from auto-sync selected-only require-signed" -a 'on off'
complete -c tintera -n "__fish_seen_subcommand_from settings" -l yes -d 'Turn selected-only on with no fandeck chosen'
complete -c tintera -n "__fish_seen_subcommand_from service-url" -x -a 'default'
complete -c tintera -n "__fish_seen_subcommand_from ca-file" -r -F -a 'default'
complete -c tintera -n "__fish_seen_subcommand_from help" -a "$commands json"
