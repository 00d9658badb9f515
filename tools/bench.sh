#!/usr/bin/env bash
# Measures the plug-in against its performance targets. Every row runs in one process with
# what it is compared with (the pass-through plug-in, a peer plug-in from Debian, the state
# with every lane closed), members timed in alternation; each row is repeated in fresh
# processes and the table gives the median of the per-process figures and their spread.
#
#   tools/bench.sh                 every row, 5 processes each
#   tools/bench.sh --readme        the same, and the README's benchmark table rewritten
#   tools/bench.sh --runs 2 --seconds 1 --rows open,closed     a quick look
set -euo pipefail
cd "$(dirname "$0")/.."

all_rows="open,closed,skeleton,crush,reverb,delay,block1,instance"
runs=5          # fresh processes per row
rounds=9        # timed runs of every member inside one process
seconds=5       # seconds of audio per timed run
rows=$all_rows
readme=0
build=build/release
rate=48000
block=256
level=-12

usage() {
  cat <<EOF
usage: tools/bench.sh [options]
  --runs N        fresh processes per row (default $runs)
  --rounds N      timed runs of every member within a process (default $rounds)
  --seconds SEC   seconds of audio per timed run (default $seconds)
  --rows LIST     comma-separated rows (default all): $all_rows
  --build DIR     Release build folder (default $build)
  --readme        rewrite the README's benchmark table with this run's figures
Each row: ${rate} Hz, block ${block}, stereo white noise at ${level} dBFS RMS, CPU time of
the processing thread. Peers are installed from Debian when missing.
EOF
}

command_line="tools/bench.sh${*:+ $*}"
while [ $# -gt 0 ]; do
  case "$1" in
    --runs) runs=$2; shift 2 ;;
    --rounds) rounds=$2; shift 2 ;;
    --seconds) seconds=$2; shift 2 ;;
    --rows) rows=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --readme) readme=1; shift ;;
    -h|--help) usage; exit 0 ;;
    *) echo "tools/bench.sh: unknown option $1" >&2; usage >&2; exit 2 ;;
  esac
done
for r in ${rows//,/ }; do
  case ",$all_rows," in *",$r,"*) ;; *) echo "tools/bench.sh: unknown row $r" >&2; exit 2 ;; esac
done
want() { case ",$rows," in *",$1,"*) return 0 ;; *) return 1 ;; esac; }

# --- Peers -------------------------------------------------------------------------------
crush_peer=/usr/lib/vst/MaBitcrush-vst.so
reverb_peer=/usr/lib/lxvst/DragonflyPlateReverb-vst.so
delay_peer=/usr/lib/vst/ZamDelay-vst.so
declare -A peer_package=([$crush_peer]=dpf-plugins-vst [$reverb_peer]=dragonfly-reverb-vst
  [$delay_peer]=zam-plugins)
declare -A peer_of=([crush]=$crush_peer [reverb]=$reverb_peer [delay]=$delay_peer)

missing=()
for row in crush reverb delay; do
  want "$row" && [ ! -e "${peer_of[$row]}" ] && missing+=("${peer_package[${peer_of[$row]}]}")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo_cmd=()
  if [ "$(id -u)" -ne 0 ]; then
    sudo_cmd=(sudo)
    echo "Installing the peer plug-ins with sudo apt-get: ${missing[*]}"
  else
    echo "Installing the peer plug-ins: ${missing[*]}"
  fi
  if ! { "${sudo_cmd[@]}" apt-get update -qq &&
         DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}" >/dev/null; }; then
    echo "Could not install ${missing[*]}: the rows that need them are skipped." >&2
  fi
fi

# --- Build -------------------------------------------------------------------------------
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
echo "Building the Release tree in $build ..."
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DCADENZOID_TESTS=OFF -DCADENZOID_BENCH=OFF \
  "${launcher[@]}" >/dev/null
targets=(cadenzoid cadenzoid-render cadenzoid-passthrough cadenzoid-bench-states)
have_instance=0
if want instance && cmake --build "$build" --target help | grep -q '^\.\.\. cadenzoid-instance$'; then
  targets+=(cadenzoid-instance)
  have_instance=1
fi
cmake --build "$build" -j"$(nproc)" --target "${targets[@]}" >/dev/null

render=$build/cadenzoid-render
plugin=$build/Cadenzoid.so
passthrough=$build/PassThrough.so
states=$build/bench-states/Presets
# A home of its own, so that the developer's settings and presets play no part.
home=$build/bench-home
mkdir -p "$home/config" "$home/data" "$home/shared"
export XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_DATA_DIRS=$home/shared

# --- Measuring ---------------------------------------------------------------------------
# "median min max" of the numbers on standard input.
stats() {
  sort -g | awk '{ v[NR] = $1 } END { if (NR == 0) { print "nan nan nan"; exit }
    printf "%s %s %s\n", v[int(NR / 2) + 1], v[1], v[NR] }'
}
calc() { awk "BEGIN { printf \"%.4f\", $1 }"; }

# One row: runs the renderer in $runs fresh processes with the members given, and computes
# FORMULA (an awk expression of A, B, C..., the members' medians in that process) for each.
# Leaves the per-process values in row_values and each member's medians in member_values.
declare -A member_values
row_values=""
measure() {
  local formula=$1
  shift
  row_values=""
  member_values=()
  local i out
  for ((i = 1; i <= runs; i++)); do
    out=$("$render" --bench "$seconds" --runs "$rounds" --rate "$rate" --block "$block" \
      --noise "$level" --machine -p "$plugin" "$@")
    local assign=""
    while read -r word label median _; do
      [ "$word" = member ] || continue
      assign+="$label=$median; "
      member_values[$label]+="$median "
    done <<<"$out"
    row_values+="$(awk "BEGIN { $assign printf \"%.4f\", $formula }") "
  done
}

# The median of the per-process values of a member, formatted.
member_median() { printf '%s\n' ${member_values[$1]} | stats | awk '{ printf "%.1f", $1 }'; }

table=()
add_line() { table+=("$1"); }
# ROW TEXT, FORMAT of the value, TARGET, what the value is compared with, DETAIL
add_row() {
  local name=$1 format=$2 target=$3 detail=$4 median low high ratio met
  read -r median low high < <(printf '%s\n' $row_values | stats)
  ratio=$(calc "$median / $target")
  met=$(awk -v r="$ratio" 'BEGIN { print (r <= 1.0) ? "yes" : "no" }')
  add_line "| $name | $(printf "$format" "$median") | $(printf "$format" "$low") – $(printf "$format" "$high") | $(printf "$format" "$target") | $(printf '%.2f' "$ratio") | $met | $detail |"
}
skip_row() { add_line "| $1 | – | – | $2 | – | – | $3 |"; }

add_line "| Row | Measured (median) | Spread (min – max) | Target | Ratio to target | Met | Detail (medians, ns per frame) |"
add_line "|---|---|---|---|---|---|---|"

closed_values=""
if want open; then
  echo "Row: every lane open ..."
  measure "A" --preset "$states/all-lanes-open.cdz" --pair "$passthrough"
  add_row "Every lane open on a full-length zone, defaults (ns per frame)" "%.1f" 100 \
    "pass-through $(member_median B); $(calc "1e9 / ($(member_median A) * $rate)" | cut -d. -f1)x real time"
fi
if want closed || want skeleton; then
  echo "Row: every lane closed ..."
  measure "A - B" --preset "$states/all-lanes-closed.cdz" --pair "$passthrough"
  closed_values=$row_values
  closed_detail="every lane closed $(member_median A), pass-through $(member_median B)"
  want closed && add_row "Every lane closed, over the pass-through plug-in (ns per frame)" "%.1f" 5 \
    "$closed_detail"
fi
# Net cost of one lane: its state minus the state with every lane closed, in the same run.
effect_row() {
  local row=$1 state=$2 channels=$3 target=$4 name=$5 peer=${peer_of[$1]}
  want "$row" || return 0
  if [ ! -e "$peer" ]; then
    skip_row "$name" "$target" "peer not installed (${peer_package[$peer]})"
    return 0
  fi
  echo "Row: $row ..."
  measure "(A - B) / $channels / C" --preset "$states/$state" \
    --pair-preset "$states/all-lanes-closed.cdz" --pair "$peer"
  local per=""
  [ "$channels" = 2 ] && per=" per channel"
  add_row "$name" "%.2f" "$target" \
    "lane alone $(member_median A), every lane closed $(member_median B), net$per $(calc "($(member_median A) - $(member_median B)) / $channels" | awk '{ printf "%.1f", $1 }'); peer $(member_median C)"
}
effect_row crush crush-alone.cdz 2 1.0 "Crush alone against MaBitcrush (mono), per channel (x the peer)"
effect_row reverb reverb-alone.cdz 1 0.5 "Reverb alone against Dragonfly Plate (x the peer)"
effect_row delay delay-alone.cdz 2 0.4 "Delay alone against ZamDelay (mono), per channel (x the peer)"
if want block1; then
  echo "Row: block size 1 ..."
  measure "B / A" --preset "$states/all-lanes-open.cdz" --pair-block 1
  add_row "Block size 1 against block 256, every lane open (x per frame)" "%.2f" 1.5 \
    "block 256 $(member_median A), block 1 $(member_median B)"
fi

if want skeleton; then
  # The skeleton cannot be timed apart from the ticks from outside: the closed row bounds it.
  row_values=$closed_values
  add_row "Per-sample driver skeleton over the pass-through plug-in, at most (ns per frame)" \
    "%.1f" 3 "bounded by the closed row, which adds the sequencer's ticks: $closed_detail"
fi

if want instance; then
  if [ "$have_instance" = 1 ]; then
    echo "Row: a light instance ..."
    resident="" startup="" setchunk=""
    for ((i = 1; i <= runs; i++)); do
      out=$("$build/cadenzoid-instance" -p "$plugin" --preset "$states/all-lanes-closed.cdz" \
        --rate "$rate" --tempo 120) || out=""
      resident+="$(sed -n 's/^resident MiB per instance: *//p' <<<"$out") "
      startup+="$(sed -n 's/^start-up CPU ms: *//p' <<<"$out") "
      setchunk+="$(sed -n 's/^setChunk ms: *//p' <<<"$out") "
    done
    # A row without a figure from every process says so rather than give a partial median.
    instance_row() {
      local values=$1 format=$2 target=$3 name=$4 detail=$5
      if [ "$(wc -w <<<"$values")" -ne "$runs" ]; then
        skip_row "$name" "$target" "cadenzoid-instance gave no figure"
      else
        row_values=$values
        add_row "$name" "$format" "$target" "$detail"
      fi
    }
    instance_row "$resident" "%.1f" 10 "Resident memory per instance, every lane closed (MiB)" \
      "cadenzoid-instance, 120 bpm"
    instance_row "$startup" "%.1f" 10 "Start-up (CPU ms)" "cadenzoid-instance"
    instance_row "$setchunk" "%.2f" 0.5 "setChunk (ms)" "cadenzoid-instance"
  else
    skip_row "Resident memory per instance, every lane closed (MiB)" 10 "not available"
    skip_row "Start-up (CPU ms)" 10 "not available"
    skip_row "setChunk (ms)" 0.5 "not available"
  fi
fi

# --- Report ------------------------------------------------------------------------------
cpu=$(sed -n 's/^model name[[:space:]]*: *//p' /proc/cpuinfo | head -1)
header=(
  "$(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores ($cpu), commit $(git rev-parse --short HEAD 2>/dev/null || echo unknown)."
  "\`$command_line\`: $runs fresh processes per row; in each, $rounds runs of ${seconds} s of audio"
  "per member in alternation (median taken); ${rate} Hz, block ${block}, white noise at ${level} dBFS."
  "Spread: the lowest and highest of the per-process figures. Ratio to target: at most 1 meets it."
)
echo
printf '%s\n' "${header[@]}" ""
printf '%s\n' "${table[@]}"

if [ "$readme" = 1 ]; then
  block_file=$(mktemp)
  { printf '%s\n' "${header[@]}" ""; printf '%s\n' "${table[@]}"; } >"$block_file"
  awk -v file="$block_file" '
    /<!-- bench:begin -->/ { print; while ((getline line < file) > 0) print line; skip = 1; next }
    /<!-- bench:end -->/ { skip = 0 }
    !skip { print }' README.md >README.md.new
  if ! grep -q '<!-- bench:end -->' README.md.new || ! grep -q '<!-- bench:begin -->' README.md.new; then
    rm -f README.md.new "$block_file"
    echo "tools/bench.sh: the README has no bench:begin / bench:end markers" >&2
    exit 1
  fi
  mv README.md.new README.md
  rm -f "$block_file"
  echo
  echo "README.md: benchmark table rewritten."
fi
