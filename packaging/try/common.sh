# What both trials use, inside the tree. Sourced.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND"' ERR
export DEBIAN_FRONTEND=noninteractive

step() { printf '%s\n' "- $*"; }
fail() { printf 'FAILED: %s\n' "$*"; exit 1; }
is() { [ "$1" = "$2" ] || fail "'$1' instead of '$2'"; }  # actual, expected

apt() {  # apt-get, whose words are shown only where it fails
  apt-get -y -qq --no-install-recommends "$@" >/try/apt.log 2>&1 || { cat /try/apt.log; fail "apt-get $*"; }
}

answers() {  # path of a socket
  is "$(oamctl --socket "$1" get Test3-Stats5)" 'Test3-Stats5 (0x111f000b): Success, 4 records
  testField1   testField2   testField3
           0            1            3
          10            2            0
          20            5            1
          30            4            2'
}

# Nothing is left but the account.
gone() {
  is "$(find / -xdev \( -path /proc -o -path /try -o -path /var/log -o -path /var/cache \) -prune \
    -o -name '*quorin*' -print)" ''
  ! dpkg -s quorin >/dev/null 2>&1 || fail "dpkg still knows the package"
  [ ! -e /etc/default/quorin ] || fail "/etc/default/quorin is still there"
}
