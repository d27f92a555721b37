#!/bin/sh
# Runs the built LV2 bundle in jalv, a real LV2 host, on a private JACK server with the dummy backend: the plug-in
# must instantiate, list its 25 controls and the bypass, and run for a few seconds without an error.
# Usage: jalv_test.sh <folder Lamina.lv2> <plug-in URI>
set -u
bundle=$1
uri=$2

LV2_PATH=$(cd "$(dirname "$bundle")" && pwd)
export LV2_PATH
JACK_DEFAULT_SERVER="qor-lamina-test-$$"
export JACK_DEFAULT_SERVER
JACK_NO_AUDIO_RESERVATION=1
export JACK_NO_AUDIO_RESERVATION
work=$(mktemp -d)
jack_pid=""
jalv_pid=""

cleanup() {
    for pid in $jalv_pid $jack_pid; do
        kill "$pid" 2>/dev/null
    done
    for pid in $jalv_pid $jack_pid; do
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

jackd --no-realtime -n "$JACK_DEFAULT_SERVER" -d dummy -r 48000 -p 512 >"$work/jackd.log" 2>&1 &
jack_pid=$!

ready=0
for _ in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20; do
    if jack_lsp >/dev/null 2>&1; then
        ready=1
        break
    fi
    kill -0 "$jack_pid" 2>/dev/null || fail "jackd exited"
    sleep 0.25
done
[ "$ready" = 1 ] || fail "jackd did not come up"

# Commands arrive while the plug-in runs; end of input makes jalv quit.
{
    sleep 2
    echo "controls"
    sleep 3
    echo "controls"
    sleep 1
} | jalv -n lamina-test -x "$uri" >"$work/jalv.log" 2>&1 &
jalv_pid=$!

# jalv must be connected to our server while it runs.
sleep 1.5
jack_lsp >"$work/ports.log" 2>&1
grep -q "^lamina-test:" "$work/ports.log" || fail "jalv's client is not on the server"

status=0
wait "$jalv_pid" || status=$?
jalv_pid=""
[ "$status" = 0 ] || fail "jalv exited with $status"

grep -q "Plugin:.*$uri" "$work/jalv.log" || fail "jalv did not instantiate $uri"
for key in Decay Mix LowCutGain Material Area AspectRatio Tension Gain StereoWidth EnablePorousDamp PorousFreq \
    EnableViscousDamp ThermalDampMult ThermalFreqMult EnableRadiationDamp RadiationMult RadiationFreqMult \
    EnableBandDamp PreDelay Anisotropy Modulation Drive EnableLowcut LowCutFreq EnableEQ bypass; do
    grep -q "^[> ]*$key = " "$work/jalv.log" || fail "control $key is not listed"
done
if grep -qiE "error|failed|unknown|segmentation|abort" "$work/jalv.log"; then
    fail "jalv reported a problem"
fi
kill -0 "$jack_pid" 2>/dev/null || fail "jackd died while the plug-in ran"
echo "jalv ran $uri with all 26 controls"
exit 0
