#!/bin/bash
# Counts the instructions of analysing one synthetic day (18 Hz, windows of 128 samples every 64) in
# each format, by valgrind's callgrind. Nearly the same in every run, however busy the machine, so
# that two commits can be compared. Start and reading are counted in.
#
#   bench/instructions.sh [BINARY [OPTION...]]
#
# BINARY: build/release/src/tavrik, unless another is named. Further options of the program replace
# "-c -l128 -s64"; "-l512 -s512 --acr" counts what that costs. With $PROFILES, a folder, the profiles
# are left there: callgrind_annotate shows them by function. They are counted with AVX2, as valgrind
# has nothing wider.
set -euo pipefail

command -v valgrind >/dev/null || { echo "valgrind is needed (package valgrind)"; exit 2; }
build=$(dirname "$0")/../build/release
program=$(realpath "${1:-$build/src/tavrik}")
shift $(($# > 0 ? 1 : 0))
[ $# -gt 0 ] || set -- -c -l128 -s64
recorder=$(realpath "${MAKE_RECORDING:-$build/tools/make_recording}")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
profiles=$(realpath "${PROFILES:-$folder}")
cd "$folder"
export TZ=UTC LC_ALL=C

printf '%-8s %14s %12s\n' format instructions "per window"
for format in ko24-1 binary tm4 text; do
  "$recorder" --format=$format --demo --duration=86400 "$format.day" >/dev/null
  valgrind --tool=callgrind --callgrind-out-file="$profiles/$format.callgrind" \
    "$program" --quiet -g0 -x"$format.coords" "$@" "$format.day" >messages 2>&1 ||
    { cat messages; exit 1; }
  count=$(sed -n 's/^\(totals\|summary\): *//p' "$profiles/$format.callgrind" | head -1)
  windows=$(grep -vc '^#' "$format.az")
  printf '%-8s %14d %12d\n' $format "$count" $((count / windows))
done
