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

start() {  # notes how many milliseconds passed until it had answered
  local begin=$EPOCHREALTIME
  "$programs/quorin" --quiet --group 0x111d:0x111e:0x111f:0x0801 >"$folder/out" 2>"$folder/log" &
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
    start
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

per_second() {  # of one run of the load program
  local rate
  "$programs/oam_load" --socket "$KOR_OAM_SOCKET" --connections 1 --seconds "$seconds" "$@" \
    >"$folder/load" 2>&1 || { cat "$folder/load" >&2; die "the load failed: $*"; }
  rate=$(awk '$1 == "a" && $2 == "second" { print $3 }' "$folder/load")
  [ -n "$rate" ] || { cat "$folder/load" >&2; die "the load program prints no rate"; }
  calculate '%.0f\n' "$rate"
}

redis_per_second() {
  local requests=$((100000 * $1))
  [ "$requests" -le 1000000 ] || requests=1000000
  redis-benchmark -s "$folder/redis.sock" -t get -n "$requests" -c 1 -P "$1" --csv |
    awk -F '[",]+' '$2 == "GET" { printf "%.0f\n", $3 }'
}

start_redis() {
  redis-server --port 0 --unixsocket "$folder/redis.sock" --save '' --appendonly no >"$folder/redis" &
  redis=$!
  until [ -S "$folder/redis.sock" ]; do
    kill -0 "$redis" 2>/dev/null || { cat "$folder/redis" >&2; die "redis-server does not start"; }
    sleep 0.05
  done
}

measure_socket() {
  local one='gets, one at a time, against an echo with two threads'
  local many='gets, 32 in flight, one client' notifications='notifications to one subscriber'
  say "the socket"
  local with_redis=false round bytes
  if command -v redis-server >/dev/null && command -v redis-benchmark >/dev/null; then with_redis=true; fi
  if $with_redis; then start_redis; fi
  for ((round = 0; round < rounds; ++round)); do
    start
    per_second --in-flight 1 >>"$folder/one"
    bytes=$(awk '$1 == "each" && $2 == "reply" { print $3 }' "$folder/load")
    per_second --in-flight 1 --echo "$bytes" >>"$folder/echo"
    per_second --in-flight 32 >>"$folder/many"
    per_second --notifications --in-flight 64 >>"$folder/notifications"
    if $with_redis; then
      # A value of as many bytes as the daemon's reply has.
      redis-benchmark -s "$folder/redis.sock" -t set -n 1 -d "$bytes" -q >/dev/null
      redis_per_second 1 >>"$folder/redis1"
      redis_per_second 32 >>"$folder/redis32"
    fi
    stop
  done
  local rate floor ratio
  rate=$(median <"$folder/one") floor=$(median <"$folder/echo")
  ratio=$(calculate %.2f "$rate / $floor")
  judged "$one" 'at least 0.6' "$rate/s, echo $floor/s" "$ratio" "$ratio >= 0.6"
  rate=$(median <"$folder/many")
  if $with_redis; then
    floor=$(median <"$folder/redis32")
    ratio=$(calculate %.2f "$rate / $floor")
    judged "$many, against Redis" 'at least 0.4' "$rate/s, Redis $floor/s" "$ratio" "$ratio >= 0.4"
    row 'the same one at a time, for comparison' - \
      "$(median <"$folder/one")/s, Redis $(median <"$folder/redis1")/s" \
      "$(calculate %.2f "$(median <"$folder/one") / $(median <"$folder/redis1")")" -
  else
    judged "$many" 'at least 200000/s' "$rate/s" - "$rate >= 200000"
  fi
  rate=$(median <"$folder/notifications")
  judged "$notifications" 'at least 200000/s' "$rate/s" - "$rate >= 200000"
}

measure_code
measure_socket
measure_start_and_memory
print_table
