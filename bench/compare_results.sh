#!/bin/bash
# Compares all result files of two commands byte for byte:
#
#   bench/compare_results.sh COMMAND COMMAND [FILE...]
#
# Each COMMAND is a tavrik binary, or one with what runs it. Recordings in every format, loud, silent
# and with holes, come from build/release/tools/make_recording (or $MAKE_RECORDING); FILEs, station
# files with their coordinates (NAME.coords) beside them, are copied and analysed as well. Ends with
# status 1 and the names of the files that differ, if any do.
#
# Two commits or compilers, each built in a folder of its own:
#   bench/compare_results.sh /tmp/old/src/tavrik build/release/src/tavrik
#   CXX=clang++ cmake -S . -B /tmp/clang -G Ninja && ninja -C /tmp/clang tavrik
# Two instruction sets of one binary. The program takes the widest that the processor reports;
# valgrind reports AVX2 but no AVX-512, qemu (package qemu-user-static) what it is asked for:
#   bench/compare_results.sh build/release/src/tavrik "valgrind -q --tool=none build/release/src/tavrik"
#   bench/compare_results.sh "qemu-x86_64-static -cpu Haswell build/release/src/tavrik" \
#     "qemu-x86_64-static -cpu Nehalem build/release/src/tavrik"
set -euo pipefail

[ $# -ge 2 ] || { sed -n '2,18s/^# \{0,1\}//p' "$0"; exit 2; }
export TZ=UTC LC_ALL=C
recorder=$(realpath "${MAKE_RECORDING:-$(dirname "$0")/../build/release/tools/make_recording}")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# A command with the paths of its files made absolute, as it is run in other folders.
absolute() {
  for word in $1; do
    [ -f "$word" ] && realpath "$word" || echo "$word"
  done | tr '\n' ' '
}
commands=("$(absolute "$1")" "$(absolute "$2")")
shift 2

mkdir "$folder/recordings"
record() {
  local name=$1
  shift
  "$recorder" "$@" "$folder/recordings/$name" >/dev/null
}
seed=0
for format in ko24-0 ko24-1 ko24-2 text text-crlf text-form1 text-form2 binary binary-plain binary-u \
  tm4; do
  record "$format.dat" --format=$format --demo --duration=400 --seed=$((++seed))
done
record fast.ko24 --rate=100 --duration=120 --seed=21 --wave=30,340,0,120,1,20,900
record faint.ko24 --noise=0.7 --duration=300 --seed=22
record silent.ko24 --noise=0 --duration=120
record one-tone.ko24 --noise=0 --duration=200 --wave=200,330,20,60,2,2.1,5000
record extreme.tm4 --format=tm4 --duration=200 --seed=23 --wave=100,340,0,200,0.5,5,1e9 \
  --wave=10,340,50,100,1,1.3,1e9
record clipped.dat --format=text --noise=30000 --duration=200 --seed=24
record holes.dat --format=binary --demo --duration=400 --gap=100,40 --seed=25
for file in "$@"; do
  cp "$file" "${file%.*}.coords" "$folder/recordings"
done

# One set of options a line; FILES stands for several files at once.
options() {
  cat <<'END'
-c
-c -l128 -s64 --comment --partial --lltmp
-c -l512 -s128 --entropy --acr --crn --dont-handle-nans
-c -l512 -s512 --acr --entropy --center-time --maxdelay=64
-c -l200 -s50 --acr --angle=old --lltmp --maxdelay=5
-c -l499 -s37 --acr --angle=weighted --partial --crn --maxdelay=250
-c -l64 -s8 --no-normalize --acr --crn --lltmp --lsq_len=3
-c -l8 -s8 --acr --maxdelay=7 --lsq_len=4
-c -h0.3 -s64 --hist-size=40
-c -s32 --vortex=1 --center-time
-c -s64 -t1 --memory --save-and-exit
-c -l256 -s256 -t2 --print-ut --no-lsq-plot --memory --save-and-exit --title=comparison
-c -s64 --acr --lltmp FILES
-c -s64 --no-join --partial FILES
END
}

# Runs a command with every set of options on every recording, in a folder of its own each time.
run_all() {
  local command=$1 place=$2 number=0 path names name mode status
  while read -r set; do
    number=$((number + 1))
    for path in "$folder"/recordings/*.[!c]*; do
      names=$(basename "$path")
      local here=$place/$number-$names
      case $set in
        *FILES) [ "$names" = ko24-1.dat ] || continue; names="ko24-1.dat ko24-2.dat" ;;
      esac
      mkdir -p "$here"
      for name in $names; do
        cp "$folder/recordings/$name" "$folder/recordings/${name%.*}.coords" "$here"
      done
      mode=0
      [[ $set != *--memory* ]] || mode=4
      status=0
      # shellcheck disable=SC2086  # words are meant
      (cd "$here" && $command --quiet -g${mode} ${set% FILES} -x"${name%.*}.coords" $names) \
        >"$here/messages" 2>&1 </dev/null || status=$?
      echo "status $status" >>"$here/messages"
      for name in $names logfile; do
        rm -f "$here/$name" "$here/${name%.*}.coords"
      done
    done
  done < <(options)
}

run_all "${commands[0]}" "$folder/1" &
run_all "${commands[1]}" "$folder/2"
wait

for kind in az caz part lltmp crn hst acr crs cre vaz png; do
  count=$(find "$folder/1" -name "*.$kind" -size +0 | wc -l)
  echo "$kind: $count files"
  [ "$count" -gt 0 ] || { echo "The first command writes none."; exit 1; }
done
diff -rq "$folder/1" "$folder/2" | sed "s|$folder/||g" && echo "All are the same."
