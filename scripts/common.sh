# shellcheck shell=bash
# What the scripts share; sourced, not run. Everything is said on standard error, so that a command
# which ends in a program of its own leaves that program's standard output alone.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck disable=SC2034
jobs=$(nproc)

say()
{
    printf '%s\n' "$*" >&2
}

die()
{
    say "$*"
    exit 1
}

# build_folder PRESET: where a preset builds.
build_folder()
{
    case $1 in
        release) echo "$root/build" ;;
        *) echo "$root/build-$1" ;;
    esac
}

# quietly TITLE LOG COMMAND...: runs a command with its output in LOG. Says TITLE only when the
# command takes longer than three seconds, then where it stands once in a while, and shows the end
# of the log only when it fails. Returns the command's result.
quietly()
{
    local title=$1 log=$2
    shift 2
    "$@" >"$log" 2>&1 </dev/null &
    local pid=$! tenths=0 pause=1 result=0 shown=
    # A job in the background does not hear Ctrl-C.
    trap 'kill "$pid" 2>/dev/null; exit 130' INT TERM
    [ -t 2 ] || pause=20
    while kill -0 "$pid" 2>/dev/null; do
        if [ "$tenths" -lt 30 ]; then
            sleep 0.1
        else
            [ "$tenths" -gt 30 ] || say "$title (output in ${log#"$root"/})"
            wait_for "$pid" "$pause"
            show_progress "$log"
        fi
        tenths=$((tenths + 1))
    done
    [ ! -t 2 ] || [ "$tenths" -le 30 ] || printf '\r\033[K' >&2
    wait "$pid" || result=$?
    trap - INT TERM
    if [ "$result" -ne 0 ]; then
        say "$title: failed. The end of ${log#"$root"/}:"
        tail -n 60 "$log" >&2
    fi
    return "$result"
}

# wait_for PID SECONDS: until the process has ended, that long at most.
wait_for()
{
    timeout "$2" tail --pid="$1" -f /dev/null || true
}

# The last line of a log when it is one of ninja's and has not been shown, as one line that is written
# over on a terminal.
show_progress()
{
    local line
    line=$(tail -n 1 "$1" | tr -d '\r' | cut -c 1-100)
    case $line in
        "$shown") return 0 ;;
        "["*) shown=$line ;;
        *) return 0 ;;
    esac
    if [ -t 2 ]; then
        printf '\r\033[K%s' "$line" >&2
    else
        say "  $line"
    fi
}

# skip WHY...: ends a test that cannot be run here, and says why.
skip()
{
    say "Skipped: $*"
    exit 77
}

# need_node VERSION: skips without npm and a Node that is at least that.
need_node()
{
    local version
    command -v npm >/dev/null || skip "there is no npm"
    version=$(node --version)
    version=${version#v}
    [ "${version%%.*}" -ge "$1" ] || skip "Node $version is older than $1"
}

# npm_packages FOLDER [OPTION...]: installs exactly what the lock file of the folder names, once. Skips
# where that cannot be had.
npm_packages()
{
    local folder=$1
    shift
    [ ! -d "$folder/node_modules" ] || [ "$folder/package-lock.json" -nt "$folder/node_modules" ] ||
        return 0
    (cd "$folder" && npm ci --no-audit --no-fund --loglevel=error --fetch-retries=1 \
        --fetch-retry-mintimeout=1000 --fetch-timeout=30000 "$@" >&2) ||
        skip "the packages of ${folder#"$root"/} could not be installed"
    touch "$folder/node_modules"
}

# test_node_packages NAME: what the tests of tests/NAME need of Node's packages.
test_node_packages()
{
    case $1 in
        page)
            npm_packages "$root/tests/page"
            npm_packages "$root/lighting_host/web/page"
            ;;
        # Nothing of it has to be compiled: there is no serial port.
        zigbee2mqtt) npm_packages "$root/tests/zigbee2mqtt" --ignore-scripts --omit=optional ;;
        *) die "no tests called $1 need packages of Node" ;;
    esac
}
