#!/usr/bin/env bash
# Runs what ./test has built: the native tests, the same under sanitizers, and the component under Wine. Most of what runs under
# Wine is waiting: it has the time of the native tests, and of the analysis and the Debian packages, which come after whatever
# waits for the processors. Beside the native tests these would let waits in real time run out.
set -uo pipefail
cd "$(dirname "$0")/.."
failed=()
again=()  # presets

native() {
    local preset=$1 log=build/$1-tests.log
    echo "--- native tests, $preset"
    ctest --test-dir "build/$preset" -V -j "$((4 * $(nproc)))" >"$log" 2>&1 || {
        tell_failures "$log"
        if may_try_again "$preset"; then again+=("$preset"); else failed+=("$preset"); fi
    }
    tail -n 12 "$log" | grep -E "tests passed|Total Test time|^\s+[0-9]+ - "
    awk '/\[  PASSED  \]/ { passed += $(NF - 1) } END { print passed, "test cases passed" }' "$log"
}

tell_failures() {
    grep -nE "Failure$|FAILED|does not hold|no file reaches|nothing there to replay|ERROR: |WARNING: ThreadSanitizer|runtime error|Timeout|Exception" -A 12 "$1" | head -n 150
}

# What waits in real time may fail because a busy machine let it wait; nothing else, no crash, and no finding of a sanitizer.
may_try_again() {
    local failures waiting
    failures=$(sed -n '/^The following tests FAILED:/,$s/^\s*[0-9]* - //p' "build/$1-tests.log")
    waiting=$(ctest --test-dir "build/$1" -N -L real-time | sed -n 's/^ *Test *#[0-9]*: \(.*\)/\1 (Failed)/p')
    [ -n "$failures" ] && ! grep -qvxFf <(echo "$waiting") <<<"$failures" &&
        ! grep -qE "ERROR: |WARNING: ThreadSanitizer|runtime error" "build/$1-tests.log"
}

# Alone this time.
try_again() {
    local preset=$1 log=build/$1-again.log
    echo "--- native tests, $preset, again: what failed beside the others"
    ctest --test-dir "build/$preset" --rerun-failed -V >"$log" 2>&1 || { tell_failures "$log"; failed+=("$preset"); }
    grep -E "Test +#.*(Passed|Failed)|tests passed" "$log"
}

# Everything under Wine with the one DLL, then with the other. Where no 32-bit Wine can be had that says so and ends with 77.
under_wine() {
    local kind worst=0
    for kind in x64 x86; do
        tests/wine/run-under-wine.sh "build/windows-$kind" build/linux &&
            tests/wine/tools-under-wine.sh "build/windows-$kind" build/linux
        case $? in
            0) ;;
            77) return $((worst > 0 ? worst : 77)) ;;
            *) worst=1 ;;
        esac
    done
    tests/wine/both-under-wine.sh build/windows-x64 build/windows-x86 build/linux || worst=1
    for kind in x64 x86; do tests/wine/setup-under-wine.sh $kind || worst=1; done
    return $worst
}

under_wine >build/automation.log 2>&1 &
under_wine=$!
native linux
native linux-asan
native linux-tsan
nice -n 19 scripts/analyse.py >build/analysis.log 2>&1 &
analysis=$!
nice -n 19 tests/packages/try-packages.sh >build/try-packages.log 2>&1 &
try_packages=$!
echo "--- both DLLs, from outside"
tests/checks/check-dll.py build/windows-x64/MovaCmdSvr.dll AMD64 || failed+=("64-bit DLL")
tests/checks/check-dll.py build/windows-x86/MovaCmdSvr.dll I386 || failed+=("32-bit DLL")
tests/checks/check-dll.py build/windows-x64/mova-handset.exe AMD64 || failed+=("64-bit handset")
tests/checks/check-dll.py build/windows-x86/mova-handset.exe I386 || failed+=("32-bit handset")
for platform in x64 x86; do
    tests/checks/check-resources.py build/windows-$platform/{MovaCmdSvr.dll,mova.exe,mova-viewer.exe,mova-handset.exe} ||
        failed+=("resources of $platform")
done
tests/checks/check-package.py || failed+=("package")
tests/checks/check-signing.sh || failed+=("signing")
tests/checks/check-flags.py build/windows-x64 build/windows-x86 || failed+=("flags")
echo "--- the component under Wine"
wait "$under_wine"
status=$?
cat build/automation.log
mapfile -t counts < <(grep '^under Wine, x[0-9]*: ' build/automation.log)
if [ "$status" -ne 77 ]; then
    [ "$status" -eq 0 ] || failed+=("under Wine")
    [ "$(cut -d: -f2- <<<"${counts[0]-}")" = "$(cut -d: -f2- <<<"${counts[1]-}")" ] || failed+=("not the same for both DLLs under Wine")
fi
echo "--- static analysis"
wait "$analysis" || failed+=("static analysis")
cat build/analysis.log
echo "--- the Debian packages"
wait "$try_packages"
packages=$?
cat build/try-packages.log
[[ $packages =~ ^(0|77)$ ]] || failed+=("Debian packages")
for preset in "${again[@]}"; do try_again "$preset"; done

echo "--- benchmarks in their short form: that they work, nothing of their figures"
scripts/run-benchmarks.sh --quick >build/bench-quick.log 2>&1 || { tail -n 20 build/bench-quick.log; failed+=("benchmarks"); }

printf '%s\n' "${counts[@]}"
if [ ${#failed[@]} -gt 0 ]; then
    echo "FAILED: ${failed[*]}"
    exit 1
fi
[ "$status" -ne 77 ] && [ "$packages" -ne 77 ] && echo "everything passed" || echo "everything else passed"
