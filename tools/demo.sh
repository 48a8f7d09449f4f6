#!/usr/bin/env bash
# Drives a daemon on a private socket with one request of every kind, receives one notification of
# every kind, and shows both sides. Argument: the folder of the programs.
set -euo pipefail
programs=$1
folder=$(mktemp -d /tmp/quorin-demo.XXXXXX)
daemon= others= monitors=
finish() {
  kill $daemon $others $monitors 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$folder"
}
trap finish EXIT
[ "$(id -u)" = 0 ] && chown apps:apps "$folder"
export KOR_OAM_SOCKET=$folder/oam.sock

heading() { printf '\n### %s\n' "$*"; }

# Starts a daemon, which serves $KOR_OAM_SOCKET, and waits until it answers.
start() {  # daemon options
  printf '\n$ quorin %s\n' "$*"
  : >"$folder/out"
  : >"$folder/log"
  shown_out=0
  shown_log=0
  "$programs/quorin" "$@" >"$folder/out" 2>"$folder/log" &
  daemon=$!
  await_answer
}

await_answer() {
  for _ in $(seq 200); do
    if [ -S "$KOR_OAM_SOCKET" ] && "$programs/oamctl" status >/dev/null 2>&1; then return; fi
    sleep 0.05
  done
  cat "$folder"/*log >&2
  echo "demo: the daemon did not start" >&2
  exit 1
}

stop() {
  local status=0
  kill "$daemon"
  wait "$daemon" || status=$?
  echo
  echo "SIGTERM: the daemon ends with exit status $status"
  [ "$status" = 0 ]
}

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

heading 'A daemon with three of its four groups'
start --group 0x111d:0x111e:0x111f --set-update A:11
oam 0 status

heading 'Get: all fourteen records'
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

heading 'What is refused: a group that is not registered, a key out of range'
oam 1 get Prov-Labels-Config
oam 1 get Test3-Stats3 sfn=1024 sf=0

heading 'Get-keys: page by page'
oam 0 get-keys Test3-Stats8 'key1=*' key2=5 --batch-size 3
oam 0 get-keys Test3-Stats2 'key1=*' 'key2=*' --batch-size 30 --all

heading 'Set: rows that are kept, and apply actions'
oam 0 set Test1-Prov3 testField1=5 testField2=1 --op insert
oam 0 set Test1-Prov3 testField1=5 testField2=1 testField3=7 --op update --transaction 2
oam 0 set Test1-Prov3 testField1=6 --op delete
oam 0 set Test3-Action1 testRun=true --op action
oam 0 init-prov-complete
oam 0 set Test3-Action1 testRun=true --op action
oam 1 set Test3-Prov3 testKey2=33

heading 'Notify and clear'
oam 0 notify Prov-Labels-Config labelsConfig=3 --op insert --apply-action reboot-required
oam 0 clear Test2-Stats1
oam 0 get Test2-Stats1

heading 'The service registration, once more, and a failed outcome'
oam 0 svc-reg
oam 0 svc-reg result 12 not-registered 0x0801
stop

heading 'Proof, time and faults: what the simulator sends in 110 seconds, now'
export KOR_OAM_CLOCK=manual
start --group 0x111f --set-ind --quiet
oam 0 wait
oam 0 advance 110
oam 0 journal --method setIndResult --limit 3
oam 0 fault add get --drop --count 1
oam 4 --timeout 0.2 get Test3-Stats5
oam 0 get Test3-Stats5
oam 0 fault list
oam 0 journal --method get
oam 0 encode Test3-Action1 testRun=true
oam 0 call clear '{"recordId":"0x111f0008"}'
stop
unset KOR_OAM_CLOCK

heading 'One notification of every kind, each from a daemon of its own'
echo '(each simulator begins 5 seconds after its start; a deferred response takes 10 more)'
for bit in 1 2 8; do
  export KOR_OAM_SOCKET=$folder/sim$bit.sock
  "$programs/quorin" --event-sim $bit >/dev/null 2>"$folder/sim$bit.log" &
  others+=" $!"
  await_answer
  "$programs/oamctl" monitor --count 1 --for 30 >"$folder/sim$bit" 2>/dev/null &
  monitors+=" $!"
done

export KOR_OAM_SOCKET=$folder/oam.sock KOR_OAM_AUTO=0
start --group 0x111f --send-deferred-set-rsp --set-ind --quiet
"$programs/oamctl" monitor --count 4 --for 60 >"$folder/registration" 2>"$folder/subscribed" &
monitors+=" $!"
until grep -qs subscribed "$folder/subscribed"; do sleep 0.05; done
oam 0 svc-reg
oam 0 svc-reg result 12 success 0x111f
oam 0 svc-reg result 14 success 0x111f
until [ "$(wc -l <"$folder/registration")" -ge 4 ]; do sleep 0.2; done
oam 1 set-ind-result 1 not-permitted
stop

export KOR_OAM_AUTO=1
start --group 0x111f --send-deferred-set-rsp
oam 0 set Test3-Action2 testRun=true --op action --transaction 9 --wait-deferred 30

for monitor in $monitors; do
  wait "$monitor" || { echo 'demo: not all notifications came' >&2; exit 1; }
done
printf '\n$ oamctl monitor\n'
cat "$folder/registration" "$folder/sim1" "$folder/sim2" "$folder/sim8"
daemon_side
stop
