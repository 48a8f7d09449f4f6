#!/usr/bin/env bash
# Measures many daemons on one host, beside one: start, memory, and gets that take a second each.
# Prints one table. Arguments: the folder of the programs, and how many daemons (20).
set -euo pipefail
[[ $# -ge 1 && ${2:-20} =~ ^[1-9][0-9]*$ ]] ||
  { echo 'usage: bench/fleet.sh PROGRAMS_FOLDER [COUNT]' >&2; exit 2; }
programs=$1
count=${2:-20}
rounds=5    # of each start; the median counts
folder=$(mktemp -d /tmp/quorin-fleet.XXXXXX)
daemons=()
finish() {
  kill "${daemons[@]}" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$folder"
}
trap finish EXIT
[ "$(id -u)" = 0 ] && chown apps:apps "$folder"

say() { printf '\033[1m== %s\033[0m\n' "$*" >&2; }
die() { printf 'fleet: %s\n' "$*" >&2; exit 1; }
calculate() { awk "BEGIN { printf \"$1\", $2 }"; }
median() { sort -n | awk '{ value[NR] = $1 } END { print value[int((NR + 1) / 2)] }'; }
milliseconds_since() { calculate '%.1f\n' "1000 * ($EPOCHREALTIME - $1)"; }

ask() {  # number of the daemon, what
  "$programs/oamctl" --socket "$folder/$1.sock" --timeout 600 "${@:2}" >/dev/null
}

# Starts so many daemons, and waits until each has answered. Notes how many milliseconds it took.
question=(get Test3-Stats5)
start() {  # how many, further options
  local begin=$EPOCHREALTIME number
  daemons=()
  for ((number = 1; number <= $1; ++number)); do
    KOR_OAM_SOCKET=$folder/$number.sock \
      "$programs/quorin" --group 0x111d:0x111e:0x111f:0x0801 --quiet "${@:2}" \
      >/dev/null 2>"$folder/$number.log" &
    daemons+=($!)
  done
  for ((number = 1; number <= $1; ++number)); do
    until ask "$number" "${question[@]}" 2>"$folder/get"; do
      kill -0 "${daemons[number - 1]}" 2>/dev/null ||
        die "daemon $number does not start: $(cat "$folder/$number.log")"
    done
  done
  milliseconds_since "$begin" >>"$folder/starts$1"
}

stop() {
  local daemon
  kill "${daemons[@]}"
  for daemon in "${daemons[@]}"; do wait "$daemon" || die "a daemon ended with exit status $?"; done
  daemons=()
}

memory() {  # Rss or Pss of all daemons together, in MiB
  local daemon
  for daemon in "${daemons[@]}"; do cat "/proc/$daemon/smaps_rollup"; done |
    awk -v "name=$1:" '$1 == name { kib += $2; ++found } END { printf "%.1f", kib / 1024; exit !found }' ||
    die 'only root can read how much memory a daemon has'
}

rows=()
row() {  # what, unit, one, all of them, the share of each (-: none)
  local share=-
  [ "${5:-}" = - ] || share="$(calculate %.1f "$4 / $count") $2"
  rows+=("$1|$3 $2|$4 $2|$share")
}

measure() {  # how many; leaves rss and pss, and the starts in a file
  local round
  say "start and memory of $1"
  for ((round = 1; round <= rounds; ++round)); do
    start "$1"
    [ $round = $rounds ] || stop
  done
  rss=$(memory Rss)
  pss=$(memory Pss)
  stop
}

# As many gets at once as there are daemons, dealt out to so many of them.
slow_gets() {  # how many daemons
  local begin=$EPOCHREALTIME number clients=() client
  for ((number = 0; number < count; ++number)); do
    ask $((number % $1 + 1)) get Test3-Stats5 &
    clients+=($!)
  done
  for client in "${clients[@]}"; do wait "$client" || die "a get failed"; done
  calculate %.1f "$EPOCHREALTIME - $begin"
}

measure 1
one_rss=$rss one_pss=$pss
measure "$count"
row 'start until all have answered a get' ms "$(median <"$folder/starts1")" "$(median <"$folder/starts$count")"
row 'memory, PSS' MiB "$one_pss" "$pss"
row 'memory, RSS (counts shared pages each time)' MiB "$one_rss" "$rss"

say "$count gets at once with --sleep-time 1 (about $((count + 2)) s)"
question=(status)  # which does not sleep
start "$count" --sleep-time 1
all=$(slow_gets "$count")
one=$(slow_gets 1)
stop
row "$count gets at once with --sleep-time 1" s "$one" "$all" -

printf '%s\n' "What|one daemon|$count daemons|each" "${rows[@]}" | column -t -s '|' -o ' | '
