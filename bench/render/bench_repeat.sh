#!/usr/bin/env bash
# Many-source bench: one render whose timeline holds thousands of sources.
#
# The job: a 1 s stereo 48 kHz 24-bit WAV repeated COUNT times (default 3600: an hour of audio)
# into one WAV.
#   ondrel   `ondrel --quiet run` of a workflow holding `repeat count=COUNT`, under /usr/bin/time -v
#            for its wall time and peak memory (the catalog is filled first, not timed).
#   SoX      sox IN OUT repeat COUNT-1.
# Every copy is a source of its own in the render, so this shows what a source costs when it is
# silent (the mix should not pull it) and how many files a render opens (one per file, not per copy).
#
# Usage: bench/render/bench_repeat.sh [ONDREL]   (default: build/cli/ondrel of this checkout)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
ondrel=${1:-$root/build/cli/ondrel}
count=${COUNT:-3600}
for tool in sox /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "bench_repeat: $tool is needed" >&2; exit 2; }
done
[ -x "$ondrel" ] || { echo "bench_repeat: no ondrel at $ondrel" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/home" "$work/ondrel"
sox -n -r 48000 -b 24 -c 2 "$work/loop.wav" synth 1 pinknoise vol 0.5

run() { "$ondrel" --home "$work/home" --quiet "$@"; }
run add "$work/loop.wav" >/dev/null
run workflow add repeat "count=$count" >/dev/null
run workflow save-options "destinationBookmark=$work/ondrel" >/dev/null

echo "ondrel run, $count copies"
/usr/bin/time -v -o "$work/ondrel.time" "$ondrel" --home "$work/home" --quiet run >/dev/null
ondrel_s=$(awk -F': ' '/Elapsed \(wall clock\)/ { n = split($2, t, ":"); s = 0; for (i = 1; i <= n; i++) s = s * 60 + t[i]; print s }' "$work/ondrel.time")
peak_mb=$(awk -F': ' '/Maximum resident set size/ { printf "%.0f", $2 / 1024 }' "$work/ondrel.time")

echo "sox"
start=$(date +%s.%N)
sox "$work/loop.wav" "$work/sox.wav" repeat $((count - 1))
sox_s=$(echo "$(date +%s.%N) - $start" | bc)

frames_ondrel=$(soxi -s "$work/ondrel/loop.wav")
frames_sox=$(soxi -s "$work/sox.wav")
printf '\n%-8s %8s %10s\n' tool "wall s" frames
printf '%-8s %8.2f %10s\n' ondrel "$ondrel_s" "$frames_ondrel" sox "$sox_s" "$frames_sox"
printf '\nondrel / sox = %.2f\n' "$(echo "$ondrel_s / $sox_s" | bc -l)"
printf 'ondrel peak memory = %s MB\n' "$peak_mb"
