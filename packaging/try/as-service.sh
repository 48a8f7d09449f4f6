#!/usr/bin/env bash
# Inside the tree, as a service of the systemd that runs there.
. /try/common.sh

property() { systemctl show --value -p "$2" "$1"; }

step "install: it runs"
apt install /try/quorin_*.deb
is "$(systemctl is-enabled quorin) $(systemctl is-active quorin)" 'enabled active'
is "$(property quorin StatusText)" 'Serving /run/quorin/oam.sock'
answers /run/quorin/oam.sock

step "who may use it"
useradd --groups apps tester
su tester -s /bin/sh -c 'oamctl status' >/dev/null
status=0
su nobody -s /bin/sh -c 'oamctl status' >/dev/null 2>/try/refused || status=$?
is "$status" 3
grep -q 'members of the group "apps" may' /try/refused || fail "$(cat /try/refused)"

step "what is left to it"
is "$(sed -n 's/^\(CapBnd\|NoNewPrivs\|Seccomp\):\t//p' "/proc/$(property quorin MainPID)/status" | tr '\n' ' ')" \
  '0000000000000000 1 2 '

step "options and the journal"
echo "QUORIN_OPTIONS=\"--group 0x111f --error-string 'two words'\"
ZEL_LOG_LEVEL=6" >/etc/default/quorin
systemctl restart quorin
oamctl get Test3-Stats5 | grep -q 'two words' || fail "the options were not read"
oamctl get Test3-Stats3 sfn=5 sf=3 >/dev/null
journalctl --sync
journalctl -u quorin -p 7..7 -o cat >/try/journal
grep -q '^20.*] L6: ' /try/journal || fail "no line of level 6 has priority 7"

step "a crash"
before=$(property quorin MainPID)
systemctl kill -s SEGV quorin
for _ in $(seq 100); do
  if [ "$(property quorin NRestarts)" = 1 ] && systemctl -q is-active quorin; then break; fi
  sleep 0.1
done
[ "$(property quorin MainPID)" != "$before" ] || fail "it was not restarted"
oamctl status >/dev/null

step "twenty more"
echo 'QUORIN_OPTIONS="--group 0x111f"' >/etc/default/quorin-7
systemctl start quorin@{1..20}
answers /run/quorin/7.sock
for i in {1..20}; do oamctl --socket /run/quorin/$i.sock get Test3-Stats5 >/dev/null; done
is "$(property quorin@20 StatusText)" 'Serving /run/quorin/20.sock'

step "a new version"
before=$(property quorin MainPID)/$(property quorin@1 MainPID)
apt install --reinstall -o Dpkg::Options::=--force-confold /try/quorin_*.deb
after=$(property quorin MainPID)/$(property quorin@1 MainPID)
[ "${before%/*}" != "${after%/*}" ] && [ "${before#*/}" != "${after#*/}" ] || fail "the old ones still run"
oamctl status >/dev/null

step "exposure"
for unit in quorin quorin@; do
  systemd-analyze security --offline=true --threshold=19 --no-pager \
    /lib/systemd/system/$unit.service >/try/exposure || fail "$(cat /try/exposure)"
  tail -n 1 /try/exposure
done

step "stop"
systemctl stop quorin
is "$(property quorin Result) $(property quorin ExecMainStatus)" 'success 0'
[ ! -e /run/quorin/oam.sock ] || fail "the socket is still there"

step "without its folder"
rm -rf /run/quorin
systemctl start quorin
oamctl status >/dev/null
is "$(stat -c '%a %U %G' /run/quorin)" '750 apps apps'

step "remove, install again, and remove"
systemctl enable -q quorin@7
apt remove quorin
is "$(systemctl list-units --plain --no-legend 'quorin*')" ''
apt install /try/quorin_*.deb
is "$(systemctl is-enabled quorin) $(systemctl is-active quorin)" 'enabled active'
apt remove quorin

step "purge"
rm /etc/default/quorin-7
apt purge quorin
gone
echo 'all well'
