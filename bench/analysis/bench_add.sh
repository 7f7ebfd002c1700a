#!/usr/bin/env bash
# Analysis bench: `ondrel add` (adding and measuring) against FFmpeg's loudness meter.
#
# Job 1: 20 files of 60 s stereo 48 kHz 24-bit WAV (made with sox).
#   ondrel   `ondrel --quiet add FOLDER` into an empty home, timed under /usr/bin/time -v: it reads
#            every file once for all measures (peak, RMS, DC, clips, loudness, loudness range,
#            true peak, pitch, overview) and writes them to the catalog.
#   FFmpeg   ffmpeg -af ebur128=peak=true -f null -, two files at a time (xargs -P2).
#   Goal: ondrel at most 1.2x FFmpeg's wall time.
# Job 2: 1,000 files of 1 s (stereo 44.1 kHz 16-bit), the same two runs, FFmpeg with
#   ebur128 alone. Goal: ondrel under 3x FFmpeg's wall time.
#
# Usage: bench/analysis/bench_add.sh [ONDREL]   (default: build/cli/ondrel of this checkout, built
# with `scripts/build --target ondrel`). FILES, SECONDS_PER_FILE and SHORT_FILES change the jobs;
# WORK keeps the files in a folder of your choice.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
ondrel=${1:-$root/build/cli/ondrel}
files=${FILES:-20}
seconds=${SECONDS_PER_FILE:-60}
short_files=${SHORT_FILES:-1000}
for tool in sox ffmpeg /usr/bin/time xargs bc; do
  command -v "$tool" >/dev/null || { echo "bench_add: $tool is needed" >&2; exit 2; }
done
[ -x "$ondrel" ] || { echo "bench_add: no ondrel at $ondrel" >&2; exit 2; }

work=${WORK:-$(mktemp -d)}
[ -n "${WORK:-}" ] || trap 'rm -rf "$work"' EXIT
mkdir -p "$work/long" "$work/short"
echo "making $files files of ${seconds} s and $short_files files of 1 s in $work"
for i in $(seq -w 1 "$files"); do
  [ -f "$work/long/take$i.wav" ] ||
    sox -n -r 48000 -b 24 -c 2 "$work/long/take$i.wav" synth "$seconds" sine 300-3000 pinknoise vol 0.5
done
for i in $(seq -w 1 "$short_files"); do
  [ -f "$work/short/hit$i.wav" ] ||
    sox -n -r 44100 -b 16 -c 2 "$work/short/hit$i.wav" synth 1 pluck "$((110 + 10#$i % 600))" vol 0.7
done

wall() { awk -F': ' '/Elapsed \(wall clock\)/ { n = split($2, t, ":"); s = 0; for (i = 1; i <= n; i++) s = s * 60 + t[i]; print s }' "$1"; }
now() { date +%s.%N; }

# ondrel_add FOLDER NAME TRUEPEAK: adds and measures into a fresh home, with the true peak measured or
# not (the user's setting, off until turned on); prints the wall time.
ondrel_add() {
  rm -rf "$work/home-$2"
  "$ondrel" --home "$work/home-$2" --quiet defaults write AnalysisEnableTruePeak "$3" >/dev/null
  /usr/bin/time -v -o "$work/$2.time" "$ondrel" --home "$work/home-$2" --quiet add "$1" >/dev/null
  wall "$work/$2.time"
}
# ffmpeg_meter FOLDER FILTER: the loudness pass over every file, two at a time; prints the wall time.
ffmpeg_meter() {
  local start; start=$(now)
  ls "$1"/*.wav | xargs -P2 -I{} ffmpeg -nostdin -v error -i {} -af "$2" -f null - 2>/dev/null
  echo "$(now) - $start" | bc
}

echo "job 1: ondrel add"; long_ondrel=$(ondrel_add "$work/long" long true)
long_peak_mb=$(awk -F': ' '/Maximum resident set size/ { printf "%.0f", $2 / 1024 }' "$work/long.time")
echo "job 1: ffmpeg ebur128=peak=true"; long_ffmpeg=$(ffmpeg_meter "$work/long" ebur128=peak=true)
echo "job 2: ondrel add"; short_ondrel=$(ondrel_add "$work/short" short false)
echo "job 2: ffmpeg ebur128"; short_ffmpeg=$(ffmpeg_meter "$work/short" ebur128)

measured=$("$ondrel" --home "$work/home-long" --quiet list | grep -vc 'not analysed' || true)
printf '\n%-28s %8s %8s %7s  %s\n' job "ondrel s" "ffmpeg s" ratio goal
printf '%-28s %8.2f %8.2f %7.2f  <= 1.20  (%s files listed measured, %s MB peak)\n' \
  "$files x ${seconds} s, true peak" "$long_ondrel" "$long_ffmpeg" "$(echo "$long_ondrel / $long_ffmpeg" | bc -l)" \
  "$measured" "$long_peak_mb"
printf '%-28s %8.2f %8.2f %7.2f  <  3.00\n' \
  "$short_files x 1 s" "$short_ondrel" "$short_ffmpeg" "$(echo "$short_ondrel / $short_ffmpeg" | bc -l)"
