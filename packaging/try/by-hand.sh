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

step "a first test, with the Python package"
apt install /try/python3-quorin_*.deb python3-pytest
is "$(dpkg --verify python3-quorin)" ''
sed -n '/^# test_first.py/,/^```/{/^```/!p}' /try/README.md >/try/test_first.py
cd /try
pytest -q test_first.py
apt purge python3-quorin
! pytest -q test_first.py >/dev/null || fail "the fixtures are still there"

step "the same by pip"
apt install python3-venv
python3 -m venv --system-site-packages /try/venv
unshare --net /try/venv/bin/pip install --quiet /try/python
/try/venv/bin/python -m pytest -q test_first.py

step "remove"
echo '# changed' >>/etc/default/quorin
apt remove quorin
[ ! -e /usr/sbin/quorin ] || fail "the program is still there"
grep -q changed /etc/default/quorin || fail "the options are gone"

step "purge"
apt purge quorin
gone
