#!/usr/bin/env bash
# Connects two telephones through a running daemon, with the daemon's own client mode.
#
#   two_party_call.sh SOCKET LOCAL_IP ENCODING IP:PORT IP:PORT
#
# Prints where each telephone has to send its audio, then every notice, until Enter is pressed. The
# call ends with this script: the daemon deletes what a controller made when it goes.
set -euo pipefail
if (($# != 5)); then
    sed -n 's/^#   /usage: /p' "$0" >&2
    exit 2
fi
socket=$1 local_ip=$2 encoding=$3
vocalink=${VOCALINK:-vocalink}

coproc daemon { exec "$vocalink" -r "$socket" 2>/dev/null; }
read -r greeting <&"${daemon[0]}"
[[ $greeting == RECOVER_OK ]] || { echo "no daemon on $socket" >&2; exit 1; }

# Sends one command and sets reply; lines that are no reply are notices.
command() {
    printf '%s\n' "$*" >&"${daemon[1]}"
    while read -r reply <&"${daemon[0]}"; do
        case $reply in
        SUCCESS*) return 0 ;;
        ERROR*) echo "$* -> $reply" >&2 && exit 1 ;;
        *) echo "notice: $reply" ;;
        esac
    done
    echo "the daemon has gone" >&2
    exit 1
}

command new vocalink call
for leg in 1 2; do
    remote=${@:3+leg:1}
    command new rtp_stream "leg$leg" "$local_ip" "${remote%:*}" "${remote##*:}" "$encoding"
    read -r _ port ip <<<"$reply"
    echo "telephone $remote sends to $ip:$port"
    command join call "leg$leg"
done

echo "connected; press Enter to hang up"
exec {notices}<&"${daemon[0]}"
while read -r line <&"$notices"; do
    echo "notice: $line"
done &
printer=$!
read -r _ || true
kill "$printer"
echo "call ended"
