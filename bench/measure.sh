#!/usr/bin/env bash
# Measures the codec, the log lines, the socket, the start and the memory, and prints one table with
# goals. A missed goal says so; only what cannot be measured is a failure. Argument: the folder of
# the programs, where the figures of every benchmark stay in codec_bench.json.
set -euo pipefail
programs=$1
rounds=3    # of what runs over a socket; the median counts
seconds=2   # of each such run
folder=$(mktemp -d /tmp/quorin-bench.XXXXXX)
daemon= redis=
finish() {
  kill $daemon $redis 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$folder"
}
trap finish EXIT
[ "$(id -u)" = 0 ] && chown apps:apps "$folder"
export KOR_OAM_SOCKET=$folder/oam.sock

say() { printf '\033[1m%s\033[0m\n' "== $*" >&2; }
die() { printf 'bench: %s\n' "$*" >&2; exit 1; }
calculate() { awk "BEGIN { printf \"$1\", $2 }"; }
holds() { awk "BEGIN { exit !($1) }"; }
median() { sort -n | awk '{ value[NR] = $1 } END { print value[int((NR + 1) / 2)] }'; }

# --- the table ----------------------------------------------------------------------------------

rows=()
row() { rows+=("$1|$2|$3|$4|$5"); }  # what, goal, figure, ratio, verdict

judged() {  # what, goal, figure, ratio, the condition of the goal
  local verdict=met
  holds "$5" || verdict=MISSED
  row "$1" "$2" "$3" "$4" "$verdict"
}

print_table() {
  printf '%s\n' 'What|Goal|Figure|Ratio|' "${rows[@]}" | column -t -s '|' -o ' | '
}

# --- codec, handlers, log lines -----------------------------------------------------------------

results=$programs/codec_bench.json

nanoseconds() {  # of processor time, median, of one benchmark
  local time
  time=$(awk -v name="\"$1_median\"," '
    $1 == "\"name\":" { found = $2 == name }
    found && $1 == "\"cpu_time\":" { print $2 + 0; exit }' "$results")
  [ -n "$time" ] || die "there is no figure of $1"
  echo "$time"
}

against() {  # what, goal text, most, benchmark, its floor, how many of its items one run has
  local time floor ratio
  time=$(nanoseconds "$4")
  time=$(calculate %.1f "$time / ${6:-1}")
  floor=$(nanoseconds "$5")
  ratio=$(calculate %.2f "$time / $floor")
  judged "$1" "$2" "$time ns, floor $(calculate %.1f "$floor") ns" "$ratio" "$ratio <= $3"
}

measure_code() {
  say "the codec, the handlers and the log lines (about a minute)"
  "$programs/codec_bench" --benchmark_repetitions=7 --benchmark_min_time=0.05 \
    --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
    --benchmark_out="$results" --benchmark_out_format=json >"$folder/codec" 2>&1 ||
    { cat "$folder/codec" >&2; die "the benchmarks failed"; }
  if grep -q '"error_occurred": true' "$results"; then
    grep -B 9 '"error_message"' "$results" >&2
    die "a benchmark failed"
  fi
  against 'write a Test3-Stats2 block, against bare stores' 'at most 4' 4 write/Test3-Stats2 write/bare
  against 'read it, against bare loads' 'at most 3' 3 read/Test3-Stats2 read/bare
  against 'get of 65,535 rows of Test3-Stats9, per row, against writing one block' 'at most 4' 4 \
    largeReply write/Test3-Stats9 65535
  local built below nothing
  built=$(awk '/"name": "log\/below_median"/ { found = 1 } found && $1 == "\"built\":" { print $2 + 0; exit }' \
    "$results")
  [ -n "$built" ] || die "log/below does not count the lines that it builds"
  below=$(nanoseconds log/below)
  nothing=$(nanoseconds log/nothing)
  below=$(calculate %.1f "$below - $nothing")
  judged 'log line of six appends below the threshold' 'nothing built' "$built built, $below ns" - "$built == 0"
  against 'log line of six appends, without the sink, against one snprintf' 'at most 1.3' 1.3 log/at log/bare
}

# --- the daemon ---------------------------------------------------------------------------------

start() {  # where standard output goes; notes how many milliseconds passed until it had answered
  local begin=$EPOCHREALTIME
  "$programs/quorin" --quiet --group 0x111d:0x111e:0x111f:0x0801 >"$1" 2>"$folder/log" &
  daemon=$!
  until [ -S "$KOR_OAM_SOCKET" ] && "$programs/oamctl" status >/dev/null 2>&1; do
    kill -0 "$daemon" 2>/dev/null || { cat "$folder/log" >&2; die "the daemon does not start"; }
  done
  calculate '%.1f\n' "1000 * ($EPOCHREALTIME - $begin)" >>"$folder/starts"
}

stop() {
  kill "$daemon"
  wait "$daemon" || die "the daemon ended with exit status $?"
  daemon=
}

resident() { awk '$1 == "VmRSS:" { printf "%.1f", $2 / 1024 }' "/proc/$daemon/status"; }  # MiB

measure_start_and_memory() {
  say "start and memory"
  local round
  for round in 1 2 3 4 5 6 7 8 9; do
    start "$folder/out"
    [ "$round" = 9 ] || stop
  done
  local time rest after
  time=$(median <"$folder/starts")
  judged 'start until the socket has answered oamctl' 'under 50 ms' "$time ms" - "$time < 50"
  rest=$(resident)
  judged 'memory at rest' 'under 12 MiB' "$rest MiB" - "$rest < 12"
  "$programs/oamctl" --timeout 30 --json get Test3-Stats9 --batch-size 65535 >"$folder/large"
  after=$(resident)
  judged 'memory after a reply of 65,535 rows' 'under 24 MiB' "$after MiB" - "$after < 24"
  stop
}

# --- the socket ---------------------------------------------------------------------------------

processor_time() { awk '{ sum += $1 } END { print sum / 1000 }' /proc/"$1"/task/*/schedstat; }  # us

load() {  # name of the figures, process that serves, arguments of the load program
  local name=$1 server=$2 before after
  shift 2
  before=$(processor_time "$server")
  "$programs/oam_load" --connections 1 --seconds "$seconds" "$@" >"$folder/load" 2>&1 ||
    { cat "$folder/load" >&2; die "the load failed: $*"; }
  after=$(processor_time "$server")
  awk -v used="$(calculate %f "$after - $before")" -v rates="$folder/$name.rate" -v times="$folder/$name.time" '
    $1 == "replies" || $1 == "notifications" { count = $2 }
    $1 == "a" && $2 == "second" { rate = $3 }
    END {
      if (!count || !rate) exit 1
      print rate >>rates
      print used / count >>times
    }' "$folder/load" || { cat "$folder/load" >&2; die "the load program prints no rate"; }
}

reply_bytes() { awk '$1 == "each" && $2 == "reply" { print $3 }' "$folder/load"; }

start_redis() {
  redis-server --port 0 --unixsocket "$folder/redis.sock" --save '' --appendonly no >"$folder/redis" &
  redis=$!
  until [ -S "$folder/redis.sock" ]; do
    kill -0 "$redis" 2>/dev/null || { cat "$folder/redis" >&2; die "redis-server does not start"; }
    sleep 0.05
  done
}

load_redis() {  # where there is one: name of the figures, arguments of the load program
  [ -n "$redis" ] || return 0
  local name=$1
  shift
  load "$name" "$redis" --socket "$folder/redis.sock" "$@"
}

beside_redis() {  # what, goal, its bound, name of the figures, Redis' ones, kind, format, unit
  local figure floor ratio compare='<='
  figure=$(median <"$folder/$4.$6")
  if [ -z "$redis" ]; then
    row "$1" "$2 $3" "$(calculate "$7" "$figure")$8" - 'not compared: there is no redis-server'
    return
  fi
  floor=$(median <"$folder/$5.$6")
  ratio=$(calculate %.2f "$figure / $floor")
  [ "$2" = 'at most' ] || compare='>='
  judged "$1" "$2 $3" "$(calculate "$7" "$figure")$8, Redis $(calculate "$7" "$floor")$8" "$ratio" \
    "$ratio $compare $3"
}
time_beside_redis() { beside_redis "$1" 'at most' "$2" "$3" "$4" time %.2f ' us'; }
rate_beside_redis() { beside_redis "$1" 'at least' "$2" "$3" "$4" rate "${5:-%.0f}" /s; }

measure_socket() {
  local round bytes list=65535
  local large=(--params "{\"recordId\":\"0x111f0007\",\"batchSize\":$list}")
  say "the socket"
  if command -v redis-server >/dev/null; then start_redis; fi
  for ((round = 0; round < rounds; ++round)); do
    start "$folder/out"
    load one "$daemon" --in-flight 1
    bytes=$(reply_bytes)
    load_redis redis1 --redis "$bytes" --in-flight 1
    load file "$daemon" --in-flight 32
    load_redis redis32 --redis "$bytes" --in-flight 32
    load large "$daemon" "${large[@]}"
    # As many bytes a value as a row has, the 7 around it included.
    load_redis redis_large --redis $(($(reply_bytes) / list - 7)) --redis-rows "$list"
    stop
    start /dev/null
    load discarded "$daemon" --in-flight 32
    load notifications "$daemon" --notifications --in-flight 64
    stop
  done
  time_beside_redis 'processor time of a get, one at a time, against Redis' 1.15 one redis1
  time_beside_redis 'the same, 32 in flight, standard output to a file' 4 file redis32
  time_beside_redis 'the same, 32 in flight, standard output discarded' 2.5 discarded redis32
  rate_beside_redis 'gets, one at a time, against Redis' 0.9 one redis1
  rate_beside_redis 'gets, 32 in flight, standard output to a file' 0.4 file redis32
  rate_beside_redis 'gets, 32 in flight, standard output discarded' 0.5 discarded redis32
  rate_beside_redis 'gets of 65,535 rows, against ranges of a list of as many bytes' 1 large redis_large %.1f
  local rate
  rate=$(median <"$folder/notifications.rate")
  judged 'notifications to one subscriber' 'at least 200000/s' "$(calculate %.0f "$rate")/s" - "$rate >= 200000"
}

measure_code
measure_socket
measure_start_and_memory
print_table
