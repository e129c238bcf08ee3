#!/bin/sh
# The hook of the recovery image on the emulated board: simulates the encoder, and executes commands from the console,
# one per line:
#   start      the first time, ends the hook, so that the updater starts; afterwards, starts the updater again
#   stop       kills the updater and its scripts
#   turn N     turns the encoder by N detents
#   run TEXT   runs a shell command and reports its exit status
# With board.encoder=SECONDS on the kernel's command line, the encoder appears only after that time.
stty raw -echo </dev/console

insmod "/lib/modules/$(uname -r)/uinput.ko"
mkfifo /tmp/knob /tmp/start
delay=$(sed -n 's/.*board\.encoder=\([0-9]*\).*/\1/p' /proc/cmdline)
(sleep "${delay:-0}" && exec knob </tmp/knob) &
exec 3<>/tmp/knob
until [ "$delay" ] || [ -e /dev/input/event0 ]; do sleep 0.02; done

start_updater() {
    if [ -e /tmp/start ]; then
        echo >/tmp/start
        rm /tmp/start
    else
        tonecrate-updater </dev/null &
    fi
}

stop_updater() {
    killall -9 tonecrate-updater decrypt.sh format.sh install.sh 2>/dev/null
    printf '\nBOARD stopped\n' # the updater prints its last line without a trailing newline
}

run() {
    sh -c "$1"
    echo "BOARD exit status $?"
}

execute_commands() {
    while read -r command argument; do
        case $command in
        start) start_updater ;;
        stop) stop_updater ;;
        turn) echo "$argument" >&3 ;;
        run) run "$argument" ;;
        esac
    done
}

execute_commands </dev/console &
echo "BOARD ready"
read -r _ </tmp/start
