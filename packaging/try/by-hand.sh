#!/usr/bin/env bash
# Inside the tree, where no service manager runs.
. /try/common.sh

step "install"
apt-get update -qq
apt install /try/quorin_*.deb
is "$(dpkg --verify quorin)" ''
is "$(stat -c '%a %U %G' /run/quorin)" '750 apps apps'

step "start by hand"
quorin --group 0x111f >/try/out 2>/try/err &
daemon=$!
for _ in $(seq 100); do
  if oamctl status >/dev/null 2>&1; then break; fi
  sleep 0.1
done
is "$(stat -c '%a %U %G' /run/quorin/oam.sock)" '660 apps apps'

step "get"
answers /run/quorin/oam.sock

step "stop"
kill "$daemon"
status=0
wait "$daemon" || status=$?
is "$status" 0
[ ! -e /run/quorin/oam.sock ] || fail "the socket is still there"
is "$(cat /try/err)" ''

step "remove"
echo '# changed' >>/etc/default/quorin
apt remove quorin
[ ! -e /usr/sbin/quorin ] || fail "the program is still there"
grep -q changed /etc/default/quorin || fail "the options are gone"

step "purge"
apt purge quorin
gone
