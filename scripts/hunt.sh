#!/usr/bin/env bash
# hunt.sh SECONDS|keep: runs what ./fuzz has built. What a hunt finds stays in build/fuzz/<target>/.
set -euo pipefail
cd "$(dirname "$0")/.."
programs=build/linux-fuzz/tests
targets=()
for source in tests/campaigns/fuzz/targets/*.cpp; do
    targets+=("$(basename "$source" .cpp)")
done

# hunt SECONDS TARGET: one line with what it did; fails on a finding.
hunt() {
    local seconds=$1 target=$2 folder=build/fuzz/$2 status=0 executions coverage finding
    mkdir -p "$folder/found"
    nice "$programs/fuzz-$target" -max_total_time="$seconds" -max_len=4096 -timeout=300 -rss_limit_mb=2048 \
        -print_final_stats=1 -reload=0 -artifact_prefix="$folder/" "$folder/found" "tests/campaigns/fuzz/corpus/$target" \
        >"$folder/log" 2>&1 || status=$?
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$folder/log")
    coverage=$(sed -n 's/.*cov: \([0-9]*\) ft: \([0-9]*\).*/\1 edges, \2 features/p' "$folder/log" | tail -n 1)
    printf '%-16s %10s executions, %s\n' "$target" "${executions:-?}" "${coverage:-no coverage told}"
    [ "$status" -eq 0 ] && return
    grep -hE "^does not hold|ERROR: |runtime error|misuse of the platform" "$folder/log" | head -n 5 | sed 's/^/    /'
    finding=$(sed -n 's/.*Test unit written to //p' "$folder/log" | tail -n 1)
    echo "    found: ${finding:-nothing written, see $folder/log}"
    [ -z "$finding" ] || echo "    replay: $programs/fuzz-$target $finding"
    return 1
}
export -f hunt
export programs

if [ "$1" = keep ]; then
    for target in "${targets[@]}"; do
        [ -d "build/fuzz/$target/found" ] || continue
        corpus=tests/campaigns/fuzz/corpus/$target
        "$programs/fuzz-$target" -set_cover_merge=1 -use_counters=0 "$corpus" "build/fuzz/$target/found" 2>&1 |
            sed -n "s/^MERGE-OUTER: \([0-9]* new files.*\)/$target: \1/p"
        mkdir -p "$corpus/merged"
        find "$corpus" -maxdepth 1 -type f -exec mv -t "$corpus/merged" {} +
    done
    exit
fi

jobs=$(nproc)
share=$(($1 * jobs / ${#targets[@]}))
[ "$share" -ge 1 ] || share=1
echo "--- hunting with ${#targets[@]} targets, $share seconds each, $jobs at a time"
printf '%s\n' "${targets[@]}" | xargs -P "$jobs" -I{} bash -c "hunt $share {}" || {
    echo "FAILED: at least one target found something" >&2
    exit 1
}
echo "nothing found"
