#!/usr/bin/env bash
# run.sh - builds the fuzz targets with clang and libFuzzer and runs each for a while.
#
# Usage: fuzz/run.sh SECONDS [TARGET...]   (targets by short name: volume, bmp, ...; all
# when none are named). Configures and builds build-fuzz/ (CC=clang CXX=clang++
# -DZYNE_FUZZ=ON), then runs each target SECONDS seconds on a scratch corpus in
# build-fuzz/corpus/<name>/, filled from the committed seeds and saved crashes (and for
# the container targets the sample containers build/ has made), so that libFuzzer never
# writes into fuzz/seeds. Crashes, leaks and timeouts land in build-fuzz/artifacts/<name>/
# and make the script fail. Prints each target's runs and executions per second.
# Environment: ZYNE_FUZZ_JOBS (default 2) parallel build jobs; ZYNE_FUZZ_BUILD the tree.
set -u -o pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
root="$(dirname "$here")"
build="${ZYNE_FUZZ_BUILD:-$root/build-fuzz}"
all_targets=(volume verifier blockmap saveinfo url fileptr declaration bmp encoding)

if [[ $# -lt 1 || ! "$1" =~ ^[0-9]+$ ]]; then
    echo "usage: $0 SECONDS [TARGET...]  (targets: ${all_targets[*]})" >&2
    exit 2
fi
seconds="$1"
shift
targets=("$@")
[[ ${#targets[@]} -eq 0 ]] && targets=("${all_targets[@]}")
for t in "${targets[@]}"; do
    if [[ ! -f "$here/${t}_fuzzer.cpp" ]]; then
        echo "run.sh: no fuzz target named '$t' (targets: ${all_targets[*]})" >&2
        exit 2
    fi
done

command -v clang++ >/dev/null || { echo "run.sh: clang++ not found (install clang and libclang-rt-14-dev)" >&2; exit 2; }

mkdir -p "$build"
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DZYNE_FUZZ=ON \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo >"$build/configure.log" 2>&1 ||
    { cat "$build/configure.log" >&2; echo "run.sh: configure failed" >&2; exit 1; }
build_targets=()
for t in "${targets[@]}"; do build_targets+=("${t}_fuzzer"); done
ninja -C "$build" -j "${ZYNE_FUZZ_JOBS:-2}" "${build_targets[@]}" >&2 ||
    { echo "run.sh: build failed" >&2; exit 1; }

status=0
summary=()
for t in "${targets[@]}"; do
    corpus="$build/corpus/$t"
    artifacts="$build/artifacts/$t"
    log="$build/logs/$t.log"
    mkdir -p "$corpus" "$artifacts" "$(dirname "$log")"
    cp -n "$here/seeds/$t"/* "$corpus/" 2>/dev/null
    find "$here/regress/$t" -maxdepth 1 -type f ! -name '.*' -exec cp -n {} "$corpus/" \;
    if [[ $t == volume || $t == verifier ]]; then
        # The sample containers of the normal build, when it has made them.
        for sample in "$root"/build/guests/*.zqx; do
            [[ -f $sample ]] && cp -n "$sample" "$corpus/sample-$(basename "$sample")"
        done
    fi
    dict="$here/$t.dict"
    [[ $t == volume || $t == verifier ]] && dict="$here/zqx.dict"
    dict_option=()
    [[ -f $dict ]] && dict_option=("-dict=$dict")
    echo "== $t: ${seconds}s, corpus $corpus" >&2
    # Files the target writes go to a private folder that is removed afterwards.
    scratch="$(mktemp -d "${TMPDIR:-/tmp}/zyne-fuzz-$t.XXXXXX")"
    TMPDIR="$scratch" "$build/fuzz/${t}_fuzzer" "$corpus" \
        -max_total_time="$seconds" -timeout=1 -rss_limit_mb=2048 -max_len=1048576 \
        -print_final_stats=1 -artifact_prefix="$artifacts/" "${dict_option[@]}" \
        >"$log" 2>&1
    rc=$?
    rm -rf "$scratch"
    runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)"
    rate="$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)"
    if [[ $rc -ne 0 ]]; then
        status=1
        found="$(grep -m1 -E 'ERROR: (AddressSanitizer|LeakSanitizer|libFuzzer)|runtime error|SUMMARY' "$log")"
        summary+=("$t: FAILED (exit $rc) after ${runs:-?} runs: ${found:-see $log}; input in $artifacts/")
    else
        summary+=("$t: ok, ${runs:-?} runs in ${seconds}s, ${rate:-?} exec/s")
    fi
done
printf '%s\n' "${summary[@]}"
exit "$status"
