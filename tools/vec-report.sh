#!/usr/bin/env bash
# Which loops g++ vectorises in the audio path's source files: each file is compiled again
# with the Release tree's exact command (no -march, no -ffast-math) plus the compiler's
# vectoriser report, and the report is summed up per source file as file:line of loops
# vectorised (including loops of headers inlined into that file).
#
#   tools/vec-report.sh                      effects/, engine/ and the step tables
#   tools/vec-report.sh --missed effects/MFPhaser.cpp    also the loops left scalar, and why
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

build=build/release
missed=0
files=()
usage() {
  cat <<EOF
usage: tools/vec-report.sh [--build DIR] [--missed] [FILE.cpp ...]
  --build DIR   Release build folder whose compile commands are used (default $build)
  --missed      also list the loops that stayed scalar, with the compiler's first reason
Default files: effects/*.cpp engine/*.cpp pattern/MFTable*.cpp
EOF
}
while [ $# -gt 0 ]; do
  case "$1" in
    --build) build=$2; shift 2 ;;
    --missed) missed=1; shift ;;
    -h|--help) usage; exit 0 ;;
    -*) echo "tools/vec-report.sh: unknown option $1" >&2; usage >&2; exit 2 ;;
    *) files+=("$1"); shift ;;
  esac
done
[ ${#files[@]} -eq 0 ] && files=(effects/*.cpp engine/*.cpp pattern/MFTable*.cpp)

# The Release tree's compile commands; configuring changes nothing else in it.
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null
commands=$build/compile_commands.json
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The compile command of one source, its object sent nowhere and no compiler cache in front
# (a cache hit would replay no report).
command_for() {
  awk -v file="$root/$1" '
    /^  "command": / { command = $0 }
    /^  "file": / {
      if ($0 == "  \"file\": \"" file "\"," || $0 == "  \"file\": \"" file "\"") { print command; exit }
    }' "$commands" |
    sed -e 's/^  "command": "//' -e 's/",\{0,1\}$//' -e 's/\\"/"/g' -e 's/\\\\/\\/g' \
        -e 's/ -o [^ ]*/ -o \/dev\/null/' -e 's/^[^ ]*ccache  *//'
}

i=0
for f in "${files[@]}"; do
  cmd=$(command_for "$f")
  if [ -z "$cmd" ]; then
    echo "tools/vec-report.sh: $f is not compiled in $build" >&2
    continue
  fi
  i=$((i + 1))
  printf '%s\t%s\t%s\n' "$f" "$work/$i.txt" \
    "$cmd -fopt-info-vec-optimized-missed=$work/$i.txt; echo \$? >$work/$i.txt.status"
done >"$work/jobs"

echo "Compiling ${#files[@]} files with the vectoriser's report ($(nproc) at a time) ..." >&2
cut -f3 "$work/jobs" | (cd "$build" && xargs -P "$(nproc)" -I{} sh -c '{}' 2>/dev/null) || true

echo "Loops vectorised with the Release flags ($(c++ -dumpfullversion 2>/dev/null || echo g++)," \
  "$(grep -o '\-O[0-9s]' <<<"$(cut -f3 "$work/jobs" | head -1)" | head -1), no -march):"
total_vec=0
total_missed=0
while IFS=$'\t' read -r source report _; do
  if [ "$(cat "$report.status" 2>/dev/null)" != 0 ]; then
    echo "$source: did not compile (build the tree to see why)"
    continue
  fi
  # g++ writes no report for a file in which it met no loop and no vectorisable code.
  [ -s "$report" ] || { echo "$source: no loops"; continue; }
  summary=$(awk -v root="$root/" -v listMissed="$missed" '
    function where(line,   parts) {
      split(line, parts, ":")
      sub(root, "", parts[1])
      return parts[1] ":" parts[2]
    }
    index($0, root) != 1 { next }
    /optimized: loop vectorized/ { vec[where($0)] = 1 }
    /optimized: basic block part vectorized/ { slp[where($0)] = 1 }
    /missed: couldn.t vectorize loop/ { loop = where($0); scalar[loop] = 1; pending = loop; next }
    # The reason follows the loop, at the loop or at a statement further down its body.
    pending != "" && /missed: not vectorized: / {
      split(pending, p, ":"); split(where($0), q, ":")
      if (p[1] == q[1] && q[2] + 0 >= p[2] + 0 && !(pending in reason)) {
        r = $0; sub(/.*not vectorized: /, "", r); sub(/\.$/, "", r); reason[pending] = r
        pending = ""
      }
    }
    END {
      nv = 0; nm = 0; ns = 0
      for (l in vec) list[++nv] = l
      for (l in slp) ns++
      for (l in scalar) if (!(l in vec)) missedList[++nm] = l
      # file:line in order of file, then line number.
      for (a = 1; a <= nv; a++) for (b = a + 1; b <= nv; b++) {
        split(list[a], x, ":"); split(list[b], y, ":")
        if (x[1] > y[1] || (x[1] == y[1] && x[2] + 0 > y[2] + 0)) { t = list[a]; list[a] = list[b]; list[b] = t }
      }
      for (a = 1; a <= nm; a++) for (b = a + 1; b <= nm; b++) {
        split(missedList[a], x, ":"); split(missedList[b], y, ":")
        if (x[1] > y[1] || (x[1] == y[1] && x[2] + 0 > y[2] + 0)) { t = missedList[a]; missedList[a] = missedList[b]; missedList[b] = t }
      }
      printf "%d %d %d\n", nv, nm, ns
      line = ""
      for (a = 1; a <= nv; a++) line = line (a > 1 ? ", " : "") list[a]
      print line
      if (listMissed)
        for (a = 1; a <= nm; a++)
          print missedList[a] (missedList[a] in reason ? " (" reason[missedList[a]] ")" : "")
    }' "$report")
  read -r nv nm ns <<<"$(head -1 <<<"$summary")"
  total_vec=$((total_vec + nv))
  total_missed=$((total_missed + nm))
  echo "$source: loops vectorised $nv, left scalar $nm; straight-line code vectorised in $ns places"
  vec_line=$(sed -n 2p <<<"$summary")
  [ -n "$vec_line" ] && echo "  vectorised: $vec_line" | fold -s -w 100 | sed -e 's/ *$//' -e '2,$s/^/              /'
  if [ "$missed" = 1 ] && [ "$nm" -gt 0 ]; then
    echo "  scalar:"
    tail -n +3 <<<"$summary" | sed 's/^/    /'
  fi
done <"$work/jobs"
echo "In all: $total_vec loops vectorised, $total_missed left scalar (a header's loop counts once per file that inlines it)."
