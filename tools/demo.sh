#!/usr/bin/env bash
# Drives a daemon on a private socket and shows both sides. Argument: the folder of the programs.
set -euo pipefail
programs=$1
folder=$(mktemp -d /tmp/quorin-demo.XXXXXX)
trap 'kill "$daemon" 2>/dev/null || true; wait "$daemon" 2>/dev/null || true; rm -rf "$folder"' EXIT
[ "$(id -u)" = 0 ] && chown apps:apps "$folder"
export KOR_OAM_SOCKET=$folder/oam.sock

heading() { printf '\n### %s\n' "$*"; }

heading 'The daemon, with three of its four groups'
echo '$ quorin --group 0x111d:0x111e:0x111f'
"$programs/quorin" --group 0x111d:0x111e:0x111f >"$folder/out" 2>"$folder/log" &
daemon=$!
for _ in $(seq 200); do
  [ -S "$KOR_OAM_SOCKET" ] && "$programs/oamctl" status >/dev/null 2>&1 && break
  kill -0 "$daemon" 2>/dev/null || { cat "$folder/log" >&2; exit 1; }
  sleep 0.05
done

shown_out=0
shown_log=0
daemon_side() {  # what the daemon has written since the last look
  tail -c +$((shown_out + 1)) "$folder/out" | sed 's/^/  daemon | /'
  shown_out=$(stat -c %s "$folder/out")
  tail -c +$((shown_log + 1)) "$folder/log" | sed 's/^/  log    | /'
  shown_log=$(stat -c %s "$folder/log")
}

# Runs oamctl and shows what both sides say. The expected exit status comes first.
oam() {
  local expected=$1 status=0
  shift
  printf '\n$ oamctl %s\n' "$*"
  "$programs/oamctl" "$@" >"$folder/reply" 2>&1 || status=$?
  if [ "$(wc -l <"$folder/reply")" -gt 12 ]; then
    head -n 5 "$folder/reply"
    echo '  ...'
    tail -n 2 "$folder/reply"
  else
    cat "$folder/reply"
  fi
  daemon_side
  if [ "$status" != "$expected" ]; then
    echo "demo: oamctl ended with $status, not with $expected" >&2
    exit 1
  fi
}

oam 0 status

heading 'All fourteen records that a get answers'
oam 0 get Test2-Stats1
oam 0 get Test3-Stats1
oam 0 get Test3-Action1
oam 0 get Test3-Stats2 key1=1 key2=2 key1=30 key2=40 key1=500 key2=600
oam 0 get Test3-Stats3 sfn=5 sf=3 sfn=1023 sf=9
oam 0 get Test3-Stats9 key1=7 sfn=1023 sf=8 --batch-size 3
oam 0 get Test3-Stats4
oam 0 get Test3-Stats4 --clear-on-read
oam 0 get Test3-Stats4
oam 0 get Test3-Prov3
oam 0 get Test3-Prov4
oam 0 get Test3-Stats5
oam 0 get Test3-Stats6
oam 0 get Test3-Stats7 key1=8 key2=9
oam 0 get Test3-Stats8 'key1=*' key2=5
oam 0 get Test3-Action2

heading 'What is refused'
oam 1 get Prov-Labels-Config
oam 1 get Test3-Stats3 sfn=1024 sf=0

heading 'The daemon stops'
kill "$daemon"
status=0
wait "$daemon" || status=$?
echo "SIGTERM: exit status $status"
[ "$status" = 0 ]
