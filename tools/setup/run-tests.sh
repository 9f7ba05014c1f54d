#!/usr/bin/env bash
# Runs what ./test has built: the native tests, the same under sanitizers, and the component under Wine.
set -uo pipefail
cd "$(dirname "$0")/../.."
failed=()

native() {
    local preset=$1
    echo "--- native tests, $preset"
    ctest --test-dir "build/$preset" --output-on-failure -j "$(nproc)" >"build/$preset-tests.log" 2>&1
    local status=$?
    if [ $status -eq 0 ]; then tail -n 4 "build/$preset-tests.log"; else tail -n 100 "build/$preset-tests.log"; fi
    [ $status -eq 0 ] || failed+=("$preset")
}

native linux
native linux-asan
native linux-tsan
echo "--- both DLLs, from outside"
tests/automation/check-dll.py build/windows-x64/MovaCmdSvr.dll AMD64 || failed+=("64-bit DLL")
tests/automation/check-dll.py build/windows-x86/MovaCmdSvr.dll I386 || failed+=("32-bit DLL")
echo "--- the component under Wine"
tests/automation/run-under-wine.sh build/windows-x64 build/linux || failed+=("under Wine")

if [ ${#failed[@]} -gt 0 ]; then
    echo "FAILED: ${failed[*]}"
    exit 1
fi
echo "everything passed"
