#!/usr/bin/env bash
# Runs every fuzz target of a fuzz build for a while, one after the other:
#   fuzz/run-fuzzers.sh FUZZ_BUILD SEED_BUILD SECONDS [TARGET...]
# FUZZ_BUILD holds the libFuzzer programs (make fuzz builds them); SEED_BUILD is an ordinary build
# whose programs write the seed corpus once (fuzz/make-seeds.py, kept in FUZZ_BUILD/seeds). Each
# target starts from its own growing corpus (FUZZ_BUILD/corpus/<target>), the seeds and the
# committed regression corpus. An input that breaks a target is left in FUZZ_BUILD/findings/<target>/
# and the run fails: fix the cause, then commit the input to fuzz/regressions/<target>/.
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
fuzz_build="$(cd "$1" && pwd)"
seed_build="$2"
seconds="$3"
shift 3
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  mapfile -t targets < <(awk '/^[a-z]/ {print $1}' "$root/fuzz/targets.txt")
fi

seeds="$fuzz_build/seeds"
if [ ! -f "$seeds/.complete" ]; then
  python3 "$root/fuzz/make-seeds.py" "$seed_build" "$seeds"
fi

# Findings abort at once and name their source lines; leaks are looked for too.
export ASAN_OPTIONS="abort_on_error=1:symbolize=1:detect_leaks=1:allocator_may_return_null=1${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"
export QT_QPA_PLATFORM=offscreen

summary="$fuzz_build/fuzz-summary.txt"
printf '%-17s %12s %8s %8s %9s  %s\n' target executions cov ft "exec/s" result > "$summary"
failed=0
for target in "${targets[@]}"; do
  program="$fuzz_build/fuzz/fuzz-$target"
  corpus="$fuzz_build/corpus/$target"
  findings="$fuzz_build/findings/$target"
  log="$fuzz_build/logs/$target.log"
  rm -rf "$findings"
  mkdir -p "$corpus" "$findings" "$(dirname "$log")"
  echo "fuzz: $target for $seconds s"
  status=0
  "$program" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2560 -print_final_stats=1 \
    -artifact_prefix="$findings/" "$corpus" "$seeds/$target" "$root/fuzz/regressions/$target" > "$log" 2>&1 || status=$?
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
  coverage=$(grep -o 'cov: [0-9]*' "$log" | tail -1 | cut -d' ' -f2)
  features=$(grep -o 'ft: [0-9]*' "$log" | tail -1 | cut -d' ' -f2)
  result=ok
  if [ "$status" -ne 0 ] || ls "$findings" | grep -q .; then
    result="FINDING (see $log and $findings)"
    failed=1
    grep -m1 -E 'ERROR: |runtime error|invariant broken' "$log" || true
  fi
  printf '%-17s %12s %8s %8s %9s  %s\n' "$target" "${executions:-?}" "${coverage:-?}" "${features:-?}" "${speed:-?}" \
    "$result" >> "$summary"
done
cat "$summary"
exit "$failed"
