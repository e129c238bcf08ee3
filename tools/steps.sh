# Sourced by dev and tests/platforms/root.sh: runs steps and shows their progress on standard error. Requires pipefail.
# shellcheck shell=bash
step_log=build/dev.log

die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# step TITLE COMMAND [ARGUMENT...]: runs a step; ends the script if the command fails. In a terminal, prints one line
# and updates it every second; otherwise prints one line at the start and one line per minute. The command's output
# overwrites $step_log. If the command fails, step prints the output without the progress lines of Ninja and CTest.
step() {
    local title=$1
    shift
    mkdir -p "${step_log%/*}"
    "$@" </dev/null 2>&1 | follow "$title" && return
    without_progress <"$step_log" >&2
    die "failed: $title"
}

# follow TITLE: copies standard input to the log and shows the progress.
follow() {
    local title=$1 rest='' line='' progress='' failed=0 shown=-1 is_open=1
    exec 3>"$step_log"
    [[ -t 2 ]] || printf '%s...\n' "$title" >&2
    SECONDS=0
    while ((is_open)); do
        if IFS= read -r -t 1 line; then
            rest+=$line
            printf '%s\n' "$rest" >&3
            note_progress "$rest"
            rest=''
        elif (($? > 128)); then # timeout
            rest+=$line
        else
            printf '%s' "$rest$line" >&3
            is_open=0
        fi
        show_progress
    done
    [[ ! -t 2 ]] || { shown=-1 && show_progress && printf '\n' >&2; }
}

# Sets follow's variables `progress` and `failed` from a line of Ninja's or CTest's output.
note_progress() {
    if [[ $1 =~ ^\[([0-9]+)/([0-9]+)\]\  ]]; then
        progress=", $((100 * BASH_REMATCH[1] / BASH_REMATCH[2])) % built"
    elif [[ $1 =~ ^\ *([0-9]+)/([0-9]+)\ Test\ +# ]]; then
        progress=", ${BASH_REMATCH[1]} of ${BASH_REMATCH[2]} tests"
        [[ $1 != *'***'* || $1 == *'***Skipped'* ]] || failed=$((failed + 1))
        ((failed == 0)) || progress+=", $failed failed"
    fi
}

show_progress() {
    if [[ -t 2 ]]; then
        ((SECONDS == shown)) || printf '\r\033[K%s%s, %s s' "$title" "$progress" "$SECONDS" >&2
        shown=$SECONDS
    elif ((SECONDS / 60 > shown / 60)); then
        printf '%s%s, %s s\n' "$title" "$progress" "$SECONDS" >&2
        shown=$SECONDS
    fi
}

without_progress() {
    grep -vE '^\[[0-9]+/[0-9]+\] |^ *Start +[0-9]+: |^ *[0-9]+/[0-9]+ Test +#.*(Passed|Skipped) +[0-9.]+ sec' || true
}
