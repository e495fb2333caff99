#!/usr/bin/env bash
# Builds the fuzz targets and runs each for FUZZ_SECONDS (default 10) from seeds that it makes from the
# captures in tests/captures, and from former findings in fuzz/corpus.
# Arguments: the targets to run (default: all). New inputs go to FUZZ_CORPUS, if that is set, and
# findings to build/fuzz/findings; a finding fails the script.
set -euo pipefail
cd "$(dirname "$0")/.."

probe=$(mktemp)
trap 'rm -f "$probe"' EXIT
if ! echo 'extern "C" int LLVMFuzzerTestOneInput(const char *, unsigned long) { return 0; }' \
    | clang++ -x c++ -fsanitize=fuzzer,address,undefined - -o "$probe" 2>/dev/null; then
    echo "fuzz targets skipped: clang++ or its sanitizer runtime (Debian: clang, libclang-rt-dev) is missing"
    exit 0
fi

scripts/build.sh fuzz
rm -rf build/fuzz/seeds
mkdir -p build/fuzz/findings
build/fuzz/bin/fuzz-seeds build/fuzz/seeds tests/captures/*.pcap*
# Leaks are looked for once, at the end: after every run it takes longer than the run.
export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1
export LSAN_OPTIONS=suppressions=$PWD/tests/leaks.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1

fuzz() {
    local target=$1 found dictionary=fuzz/protocol.dict former=()
    found=${FUZZ_CORPUS:+$FUZZ_CORPUS/$target}
    [ -n "$found" ] || found=$(mktemp -d)
    mkdir -p "$found"
    [ ! -d "fuzz/corpus/$target" ] || former=("fuzz/corpus/$target")
    [ ! -f "fuzz/$target.dict" ] || dictionary=fuzz/$target.dict
    "build/fuzz/fuzzers/fuzz-$target" -max_total_time="${FUZZ_SECONDS:-10}" -timeout=20 \
        -rss_limit_mb=2048 -detect_leaks=0 -print_final_stats=1 -dict="$dictionary" \
        -artifact_prefix="build/fuzz/findings/$target-" "$found" "build/fuzz/seeds/$target" "${former[@]}" \
        >"build/fuzz/$target.log" 2>&1 || { tail -40 "build/fuzz/$target.log"; return 1; }
    echo "$target: $(grep -o 'cov: [0-9]* ft: [0-9]*' "build/fuzz/$target.log" | tail -1)," \
        "$(sed -n 's/^stat::number_of_executed_units: *//p' "build/fuzz/$target.log") runs"
    [ -n "${FUZZ_CORPUS:-}" ] || rm -r "$found"
}

targets=("$@")
[ $# -gt 0 ] || targets=($(ls build/fuzz/seeds))
for target in "${targets[@]}"; do
    fuzz "$target"
done
