#!/usr/bin/env bash
# Builds the daemon with a platform library from outside of the tree, runs the two, and compares what
# they say with literals. Arguments: cmake, its generator, and the C++ compiler.
set -euo pipefail
cmake=$1 generator=$2 compiler=$3
source=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
folder=$(mktemp -d /tmp/quorin-seam.XXXXXX)
trap 'rm -rf "$folder"' EXIT
site=$folder/site build=$folder/build

fail() { printf 'seam: %s\n' "$*" >&2; exit 1; }

quietly() {  # command
  "$@" >"$folder/log" 2>&1 || { cat "$folder/log" >&2; fail "failed: $*"; }
}

configure() {  # folder of the sources, of the build, options
  "$cmake" -G "$generator" -S "$1" -B "$2" -D CMAKE_CXX_COMPILER="$compiler" "${@:3}"
}

# The daemon alone is built, so that "all" is no more than that.
cp -r "$source/tests/seam" "$site"
quietly configure "$site" "$site/build" -D QUORIN_SOURCE="$source"
quietly "$cmake" --build "$site/build"
library=$site/build/libsite_platform.a
quietly configure "$source" "$build" -D CMAKE_BUILD_TYPE=Debug \
  -D QUORIN_PLATFORM_INCLUDE="$site/include" -D QUORIN_PLATFORM_LIBRARY="$library"
quietly "$cmake" --build "$build" -j "$(nproc)"
programs=$(cd "$build" && find . -maxdepth 1 -type f -executable)
[ "$programs" = ./quorin ] || fail "built: $programs"

# That it links says that the headers of the site were used: by those of this tree the daemon would
# take functions that the site's library does not have.
said() {  # expected status, daemon options; what it says is expected on standard input
  local status=0
  timeout 20 "$build/quorin" "${@:2}" >"$folder/said" 2>&1 || status=$?
  diff -u - "$folder/said" || fail "quorin ${*:2}: not as expected"
  [ "$status" = "$1" ] || fail "quorin ${*:2}: ended with $status"
}
said 0 --group 0x111d:0x111f --set-update R:1:2 --error-string hello <<'END'
log client 9100
become apps:apps
process 33
groups 111d 111f
set update 1 2
registration end
log 2: svcReg failed with error code = Bad-Value
get111f0006
get 0x111f0006
got 0 "hello"
111f0006000c000500030000000500000003
end
END
said 255 --nonsense <<'END'
log client 9100
become apps:apps
process 33
unrecognised option '--nonsense'
END

nm -C "$build/quorin" >"$folder/symbols"
grep -q 'KorOamApi::playSession' "$folder/symbols" || fail "no symbol of the site's library"
if grep 'standin::' "$folder/symbols"; then fail "the stand-in got in"; fi
ldd "$build/quorin" >"$folder/libraries"
grep -q 'libboost_program_options' "$folder/libraries" || fail "no library is seen"
if grep 'libboost_json' "$folder/libraries"; then fail "a library of the stand-in got in"; fi

refused() {  # include folder, library, message
  if configure "$source" "$build" -D QUORIN_PLATFORM_INCLUDE="$1" -D QUORIN_PLATFORM_LIBRARY="$2" \
    >"$folder/log" 2>&1; then
    fail "configured with '$1' and '$2'"
  fi
  tr -s ' \n' ' ' <"$folder/log" | grep -qF "$3" || { cat "$folder/log" >&2; fail "does not say: $3"; }
}
refused "$site/include" "" "QUORIN_PLATFORM_INCLUDE needs a QUORIN_PLATFORM_LIBRARY"
refused "$site/none" "$library" "QUORIN_PLATFORM_INCLUDE: there is no $site/none/platform/*.h"
refused "" "$library;$site/none.a" "QUORIN_PLATFORM_LIBRARY: there is no file $site/none.a"
refused "" none.a "QUORIN_PLATFORM_LIBRARY: none.a is neither a full path nor a linker option"
