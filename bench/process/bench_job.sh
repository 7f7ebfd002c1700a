#!/usr/bin/env bash
# The whole job: `ondrel process` against the same chain in SoX.
#
# The job: 20 files of 60 s stereo 48 kHz 24-bit WAV (made with sox), each added, measured, normalised
# to a peak of -1 dBFS, faded in and out over 10 ms, converted to 44.1 kHz with shaped dither and written
# as 16-bit FLAC.
#   ondrel   the workflow (normalize, fadeInFor, fadeOutFor, changeToFLAC, changeSampleRateApple 44100,
#            changeBitDepth 16 with dither shape "optimal") is set up in a home first (not timed); then
#            `ondrel --quiet process --to OUT IN/*.wav` is timed under /usr/bin/time -v: a temporary
#            catalog, adding, every measure (true peak as the user's defaults say), the renders.
#   SoX      sox IN -b 16 OUT.flac gain -n -1 fade 0.01 -0 0.01 rate -v 44100 dither -s, two at a time.
# It prints the wall times and the ratio against the goal (at most 1.0x SoX), then compares every pair
# of outputs: frame counts must be equal, and peak and RMS levels (sox stats) within 0.1 dB.
#
# Usage: bench/process/bench_job.sh [ONDREL]   (default: build/cli/ondrel of this checkout, built with
# `scripts/build --target ondrel`, an optimised build)
# FILES and SECONDS_PER_FILE change the size of the job; WORK keeps the files in a folder of your choice.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
ondrel=${1:-$root/build/cli/ondrel}
files=${FILES:-20}
seconds=${SECONDS_PER_FILE:-60}
for tool in sox /usr/bin/time xargs bc; do
  command -v "$tool" >/dev/null || { echo "bench_job: $tool is needed" >&2; exit 2; }
done
[ -x "$ondrel" ] || { echo "bench_job: no ondrel at $ondrel" >&2; exit 2; }

work=${WORK:-$(mktemp -d)}
[ -n "${WORK:-}" ] || trap 'rm -rf "$work"' EXIT
rm -rf "$work/home" "$work/ondrel" "$work/sox"
mkdir -p "$work/in" "$work/home" "$work/ondrel" "$work/sox"
echo "making $files files of ${seconds} s in $work/in"
for i in $(seq -w 1 "$files"); do
  [ -f "$work/in/take$i.wav" ] ||
    sox -n -r 48000 -b 24 -c 2 "$work/in/take$i.wav" synth "$seconds" sine 300-3000 sine 440 vol 0.5
done

run() { "$ondrel" --home "$work/home" --quiet "$@" >/dev/null; }
run workflow clear
run workflow add normalize level=-1 measurementType=peak
run workflow add fadeInFor value=10 units=milliseconds
run workflow add fadeOutFor value=10 units=milliseconds
run workflow add changeToFLAC
run workflow add changeSampleRateApple sampleRate=44100
run workflow add changeBitDepth bitDepth=16 applyDither=true shape=optimal

now() { date +%s.%N; }
echo "ondrel process"
/usr/bin/time -v -o "$work/ondrel.time" "$ondrel" --home "$work/home" --quiet process --to "$work/ondrel" \
  "$work"/in/*.wav >"$work/ondrel.out"
ondrel_s=$(awk -F': ' '/Elapsed \(wall clock\)/ { n = split($2, t, ":"); s = 0; for (i = 1; i <= n; i++) s = s * 60 + t[i]; print s }' "$work/ondrel.time")
peak_mb=$(awk -F': ' '/Maximum resident set size/ { printf "%.0f", $2 / 1024 }' "$work/ondrel.time")

echo "sox, two at a time"
start=$(now)
ls "$work"/in/*.wav | xargs -P2 -I{} sh -c \
  'sox "$1" -b 16 "$2/$(basename "$1" .wav).flac" gain -n -1 fade 0.01 -0 0.01 rate -v 44100 dither -s' _ {} "$work/sox"
sox_s=$(echo "$(now) - $start" | bc)

# Level of a file in dB: "Pk lev dB" or "RMS lev dB" of sox stats, over all channels.
level() { sox "$1" -n stats 2>&1 | awk -v key="$2" 'index($0, key) == 1 { print $4 }'; }
frames() { sox --i -s "$1"; }
mismatches=0
worst_peak=0
worst_rms=0
for f in "$work"/sox/*.flac; do
  o="$work/ondrel/$(basename "$f")"
  if [ ! -f "$o" ]; then echo "missing: $o"; mismatches=$((mismatches + 1)); continue; fi
  [ "$(frames "$f")" = "$(frames "$o")" ] || { echo "length differs: $(basename "$f") sox $(frames "$f") ondrel $(frames "$o")"; mismatches=$((mismatches + 1)); }
  dp=$(echo "d = $(level "$f" 'Pk lev dB') - $(level "$o" 'Pk lev dB'); if (d < 0) d = -d; d" | bc -l)
  dr=$(echo "d = $(level "$f" 'RMS lev dB') - $(level "$o" 'RMS lev dB'); if (d < 0) d = -d; d" | bc -l)
  [ "$(echo "$dp > $worst_peak" | bc)" = 1 ] && worst_peak=$dp
  [ "$(echo "$dr > $worst_rms" | bc)" = 1 ] && worst_rms=$dr
  [ "$(echo "$dp > 0.1 || $dr > 0.1" | bc)" = 1 ] && { echo "level differs: $(basename "$f") peak $dp dB, RMS $dr dB"; mismatches=$((mismatches + 1)); }
done

written=$(ls "$work/ondrel" | wc -l)
printf '\n%-8s %8s\n' tool "wall s"
printf '%-8s %8.2f   (%d files written)\n' ondrel "$ondrel_s" "$written"
printf '%-8s %8.2f\n' sox "$sox_s"
printf '\nondrel / sox = %.2f  (goal <= 1.00)\n' "$(echo "$ondrel_s / $sox_s" | bc -l)"
printf 'largest level difference: peak %.3f dB, RMS %.3f dB (goal <= 0.1); %d mismatches\n' "$worst_peak" "$worst_rms" "$mismatches"
printf 'ondrel peak memory = %s MB\n' "$peak_mb"
