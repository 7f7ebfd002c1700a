#!/usr/bin/env bash
# Render bench: `ondrel run` against SoX and FFmpeg on the same job.
#
# The job: 20 files of 60 s stereo 48 kHz 24-bit WAV (made with sox), each to 16-bit 44.1 kHz FLAC
# with noise-shaped dither.
#   ondrel   the catalog is filled by `ondrel add` first (not timed); the workflow is changeToFLAC,
#            changeSampleRateApple 44100, changeBitDepth 16 with dither shape "optimal"; then
#            `ondrel --quiet run` is timed under /usr/bin/time -v, which also gives its peak memory.
#   SoX      sox IN -b 16 OUT.flac rate -v 44100 dither -s, two files at a time (xargs -P2).
#   FFmpeg   ffmpeg -i IN -af aresample=resampler=soxr -ar 44100 -sample_fmt s16 OUT.flac, two at a time.
# It prints the wall times, the ratios against the goals (ondrel at most 0.8x SoX and 1.0x FFmpeg)
# and ondrel's peak resident memory against its goal (under 300 MB).
#
# Usage: bench/render/bench_run.sh [ONDREL]   (default: build/cli/ondrel of this checkout; build it
# with `scripts/build --target ondrel`, which is an optimised RelWithDebInfo build)
# FILES and SECONDS_PER_FILE override the size of the job; WORK keeps the files in a folder of your choice.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
ondrel=${1:-$root/build/cli/ondrel}
files=${FILES:-20}
seconds=${SECONDS_PER_FILE:-60}
for tool in sox ffmpeg /usr/bin/time xargs; do
  command -v "$tool" >/dev/null || { echo "bench_run: $tool is needed" >&2; exit 2; }
done
[ -x "$ondrel" ] || { echo "bench_run: no ondrel at $ondrel" >&2; exit 2; }

work=${WORK:-$(mktemp -d)}
[ -n "${WORK:-}" ] || trap 'rm -rf "$work"' EXIT
rm -rf "$work/home" "$work/ondrel" "$work/sox" "$work/ffmpeg"
mkdir -p "$work/in" "$work/home" "$work/ondrel" "$work/sox" "$work/ffmpeg"
echo "making $files files of ${seconds} s in $work/in"
for i in $(seq -w 1 "$files"); do
  [ -f "$work/in/take$i.wav" ] ||
    sox -n -r 48000 -b 24 -c 2 "$work/in/take$i.wav" synth "$seconds" sine 300-3000 sine 440 vol 0.5
done

run() { "$ondrel" --home "$work/home" --quiet "$@"; }
run add "$work/in" >/dev/null
run workflow clear >/dev/null
run workflow add changeToFLAC >/dev/null
run workflow add changeSampleRateApple sampleRate=44100 >/dev/null
run workflow add changeBitDepth bitDepth=16 applyDither=true shape=optimal >/dev/null
run workflow save-options "destinationBookmark=$work/ondrel" >/dev/null

now() { date +%s.%N; }
echo "ondrel run"
/usr/bin/time -v -o "$work/ondrel.time" "$ondrel" --home "$work/home" --quiet run >"$work/ondrel.out"
ondrel_s=$(awk -F': ' '/Elapsed \(wall clock\)/ { n = split($2, t, ":"); s = 0; for (i = 1; i <= n; i++) s = s * 60 + t[i]; print s }' "$work/ondrel.time")
peak_mb=$(awk -F': ' '/Maximum resident set size/ { printf "%.0f", $2 / 1024 }' "$work/ondrel.time")

echo "sox, two at a time"
start=$(now)
ls "$work"/in/*.wav | xargs -P2 -I{} sh -c 'sox "$1" -b 16 "$2/$(basename "$1" .wav).flac" rate -v 44100 dither -s' _ {} "$work/sox"
sox_s=$(echo "$(now) - $start" | bc)

echo "ffmpeg, two at a time"
start=$(now)
ls "$work"/in/*.wav | xargs -P2 -I{} sh -c 'ffmpeg -nostdin -y -v error -i "$1" -af aresample=resampler=soxr -ar 44100 -sample_fmt s16 "$2/$(basename "$1" .wav).flac"' _ {} "$work/ffmpeg"
ffmpeg_s=$(echo "$(now) - $start" | bc)

written=$(ls "$work/ondrel" | wc -l)
printf '\n%-8s %8s\n' tool "wall s"
printf '%-8s %8.2f   (%d files written)\n' ondrel "$ondrel_s" "$written"
printf '%-8s %8.2f\n' sox "$sox_s" ffmpeg "$ffmpeg_s"
printf '\nondrel / sox    = %.2f  (goal <= 0.80)\n' "$(echo "$ondrel_s / $sox_s" | bc -l)"
printf 'ondrel / ffmpeg = %.2f  (goal <= 1.00)\n' "$(echo "$ondrel_s / $ffmpeg_s" | bc -l)"
printf 'ondrel peak memory = %s MB  (goal < 300)\n' "$peak_mb"
