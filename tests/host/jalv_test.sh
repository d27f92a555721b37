#!/bin/sh
# Runs the built LV2 bundle in jalv, a real LV2 host, on a private JACK server with the dummy backend: the plug-in
# must instantiate and list its 25 controls and the bypass, and the initial values given with -c must be heard in
# what a JACK client of ours records of one impulse through it.
# Usage: jalv_test.sh <folder Lamina.lv2> <plug-in URI> <jack_probe>
set -u
bundle=$1
uri=$2
probe=$3

LV2_PATH=$(cd "$(dirname "$bundle")" && pwd)
export LV2_PATH
JACK_DEFAULT_SERVER="qor-lamina-test-$$"
export JACK_DEFAULT_SERVER
JACK_NO_AUDIO_RESERVATION=1
export JACK_NO_AUDIO_RESERVATION
work=$(mktemp -d)
jack_pid=""
jalv_pid=""

# A server whose client died inside a cycle may ignore TERM: it gets KILL after a bounded wait.
cleanup() {
    for pid in $jalv_pid $jack_pid; do
        kill "$pid" 2>/dev/null
    done
    for pid in $jalv_pid $jack_pid; do
        n=0
        while kill -0 "$pid" 2>/dev/null && [ "$n" -lt 50 ]; do
            n=$((n + 1))
            sleep 0.1
        done
        kill -9 "$pid" 2>/dev/null
        wait "$pid" 2>/dev/null
    done
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 2' INT TERM

fail() {
    echo "FAIL: $*"
    for f in "$work"/*.log; do
        echo "---- $(basename "$f")"
        cat "$f"
    done
    exit 1
}

# Waits, within a bound that only a broken server reaches, until a command succeeds.
await() {
    what=$1
    shift
    n=0
    until "$@" >/dev/null 2>&1; do
        n=$((n + 1))
        [ "$n" -lt 200 ] || fail "timed out waiting for $what"
        kill -0 "$jack_pid" 2>/dev/null || fail "jackd exited"
        sleep 0.1
    done
}

# Synchronous: a cycle ends when every client has finished it, however busy the machine, so no block of the
# recording is skipped.
jackd --no-realtime -S -t 20000 -n "$JACK_DEFAULT_SERVER" -d dummy -r 48000 -p 512 >"$work/jackd.log" 2>&1 &
jack_pid=$!
await "jackd" jack_lsp

# One run of jalv with the given options: the console lists the controls, the probe records an impulse through the
# plug-in, then the end of jalv's input makes it quit. jalv's console hands -c values of LV2 parameters (not ports)
# to the plug-in only with -s.
run() {
    name=$1
    shift
    rm -f "$work/recorded"
    {
        echo "controls"
        until [ -e "$work/recorded" ]; do sleep 0.1; done
    } | jalv -s -n lamina-test -x "$@" "$uri" >"$work/jalv-$name.log" 2>&1 &
    jalv_pid=$!
    await "jalv's ports" sh -c "jack_lsp | grep -q '^lamina-test:audio_out_2$'"
    probe_status=0
    "$probe" lamina-test 2.5 >"$work/probe-$name.txt" 2>"$work/probe-$name.log" || probe_status=$?
    touch "$work/recorded"
    status=0
    wait "$jalv_pid" || status=$?
    jalv_pid=""
    [ "$probe_status" = 0 ] || fail "the probe failed with jalv $*"
    [ "$status" = 0 ] || fail "jalv $* exited with $status"
    [ -s "$work/probe-$name.txt" ] || fail "nothing recorded with jalv $*"
    grep -q "Plugin:.*$uri" "$work/jalv-$name.log" || fail "jalv did not instantiate $uri"
    if grep -qiE "error|failed|unknown|ignoring|segmentation|abort" "$work/jalv-$name.log"; then
        fail "jalv $* reported a problem"
    fi
}

# The figure `key` (with its window for right_rms) of one run.
figure() {
    awk -v key="$2" -v from="${3:-}" '$1 == key && (from == "" || $2 == from) { print $NF }' "$work/probe-$1.txt"
}

# Compares two numbers: holds "A < B".
less() {
    awk -v a="$1" -v b="$2" 'BEGIN { exit !(a < b) }'
}

run default
for key in Decay Mix LowCutGain Material Area AspectRatio Tension Gain StereoWidth EnablePorousDamp PorousFreq \
    EnableViscousDamp ThermalDampMult ThermalFreqMult EnableRadiationDamp RadiationMult RadiationFreqMult \
    EnableBandDamp PreDelay Anisotropy Modulation Drive EnableLowcut LowCutFreq EnableEQ bypass; do
    grep -q "^[> ]*$key = " "$work/jalv-default.log" || fail "control $key is not listed"
done
run dry -c Mix=0
run short -c Mix=1 -c Decay=0.5
run long -c Mix=1 -c Decay=8
kill -0 "$jack_pid" 2>/dev/null || fail "jackd died while the plug-in ran"

# The impulse goes into the left input only: the right output carries nothing but the reverb.
less "$(figure default right_peak)" 1e-3 && fail "the default setting must ring on the right"
less "$(figure dry right_peak)" 1e-7 || fail "Mix=0 must leave the dry signal alone, with nothing on the right"
less 0.5 "$(figure dry left_peak)" || fail "Mix=0 must pass the dry impulse"
less "$(figure long left_peak)" 0.2 || fail "Mix=1 must take the dry impulse out of the left output"
late_short=$(figure short right_rms 1.5)
late_long=$(figure long right_rms 1.5)
less "$(awk -v x="$late_short" 'BEGIN { print 100 * x }')" "$late_long" ||
    fail "Decay=8 must ring far longer than Decay=0.5: $late_long against $late_short two seconds after the impulse"
echo "jalv ran $uri with all 26 controls; -c Mix and Decay were heard (two seconds after the impulse:" \
    "$late_long with Decay=8, $late_short with Decay=0.5)"
exit 0
