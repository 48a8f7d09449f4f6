#!/usr/bin/env bash
# Tries the Debian package as an operator would, in a fresh Debian tree of its own: first by hand,
# then, where systemd-nspawn can boot that tree, as a service. Argument: the folder of the packages.
set -euo pipefail
packages=$(realpath "$1")
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
# shellcheck source=/dev/null
release=$(. /etc/os-release; echo "$VERSION_CODENAME")
base=$packages/../tree-$release
tree=$packages/../tree

say() { printf '\033[1m%s\033[0m\n' "== $*" >&2; }
die() { printf 'try: %s\n' "$*" >&2; exit 1; }

# Runs a command with the tree as its root, and ends whatever it leaves running.
in_tree() {
  unshare --mount --pid --fork --kill-child \
    sh -c 'mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$tree" "$@"
}

fresh_tree() {
  if [ ! -e "$base/complete" ]; then
    say "making a Debian tree ($release)"
    rm -rf "$base"
    debootstrap --variant=minbase "$release" "$base" >"$packages/../debootstrap.log" ||
      die "debootstrap failed; see build-package/debootstrap.log"
    touch "$base/complete"
  fi
  rm -rf "$tree"
  cp -a "$base" "$tree"
  mkdir "$tree/try"
  cp "$packages"/*.deb "$here"/*.sh "$here/../../README.md" "$tree/try"
  cp -r "$here/../../python" "$tree/try"
  cp /etc/resolv.conf "$tree/etc/resolv.conf"
}

# gdb finds the symbols of a program by its build id.
check_symbols() {
  local unpacked=$packages/../unpacked program id
  rm -rf "$unpacked"
  for package in "$packages"/*.deb; do dpkg-deb --extract "$package" "$unpacked"; done
  for program in usr/sbin/quorin usr/bin/oamctl; do
    id=$(readelf --notes "$unpacked/$program" | sed -n 's/.*Build ID: //p')
    [ -e "$unpacked/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" ] ||
      die "there are no debug symbols of $program"
  done
}

fresh_tree
say "by hand"
in_tree /try/by-hand.sh
say "debug symbols"
check_symbols

say "as a service"
cat >"$tree/etc/systemd/system/try.service" <<'UNIT'
[Unit]
After=basic.target
SuccessAction=exit
FailureAction=exit
[Service]
Type=oneshot
TimeoutStartSec=300
ExecStart=/try/as-service.sh
StandardOutput=append:/try/service.log
StandardError=inherit
UNIT
systemd-nspawn --quiet --directory "$tree" --boot --register=no --keep-unit --console=read-only \
  --kill-signal=SIGRTMIN+3 systemd.unit=try.service >"$packages/../boot.log" 2>&1 </dev/null || true
if [ ! -e "$tree/try/service.log" ]; then
  say "NOT TRIED as a service: systemd did not come up here; see build-package/boot.log"
  exit 0
fi
cat "$tree/try/service.log"
grep -q '^all well$' "$tree/try/service.log" || die "the service does not work; see build-package/boot.log"
say "the package installs, works, and goes without a trace"
