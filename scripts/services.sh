# Sourced by the two commands: makes sure there is a display and a sound server.
# - No usable $DISPLAY: uses a running X server, or starts Xvfb (Mesa's llvmpipe gives it
#   OpenGL), and exports DISPLAY.
# - No PulseAudio server answering: starts one with a null sink "null" as the default sink,
#   whose monitor "null.monitor" the tests record from.

studyloop_start_display() {
    if [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; then
        return 0
    fi
    local socket
    for socket in /tmp/.X11-unix/X*; do
        [ -S "$socket" ] && DISPLAY=":${socket##*/X}" xdpyinfo >/dev/null 2>&1 && {
            export DISPLAY=":${socket##*/X}"
            return 0
        }
    done
    # Xvfb picks a free display number itself (-displayfd) and writes it once it listens, so
    # lock files left behind by servers that died with an earlier machine do not matter.
    local number_file log_file tries number
    number_file=$(mktemp) log_file=$(mktemp)
    Xvfb -displayfd 3 -screen 0 1600x1200x24 +extension GLX -nolisten tcp \
        3>"$number_file" >"$log_file" 2>&1 &
    for tries in $(seq 100); do
        number=$(tr -dc '0-9' <"$number_file")
        if [ -n "$number" ] && DISPLAY=":$number" xdpyinfo >/dev/null 2>&1; then
            export DISPLAY=":$number"
            rm -f "$number_file" "$log_file"
            return 0
        fi
        sleep 0.1
    done
    echo "Could not start Xvfb:" >&2
    cat "$log_file" >&2
    rm -f "$number_file" "$log_file"
    return 1
}

studyloop_start_sound() {
    if pactl info >/dev/null 2>&1; then
        pactl list short sinks 2>/dev/null | grep -q $'\tnull\t' ||
            pactl load-module module-null-sink sink_name=null >/dev/null
        pactl set-default-sink null >/dev/null 2>&1 || true
        return 0
    fi
    pulseaudio --daemonize=yes --exit-idle-time=-1 -n \
        --load="module-null-sink sink_name=null" --load=module-native-protocol-unix \
        >/dev/null 2>&1 || true
    local tries
    for tries in $(seq 50); do
        if pactl info >/dev/null 2>&1; then
            pactl set-default-sink null >/dev/null 2>&1 || true
            return 0
        fi
        sleep 0.1
    done
    echo "Could not start a PulseAudio server; sound tests will fail" >&2
    return 1
}

# For the benchmarks that record what they play: a PulseAudio server of this shell's own, its
# null sink the default sink and the sink's monitor the default source, so that no other
# program's sound reaches the recording and the defaults of a server the user runs are left
# alone. Every PulseAudio client started from this shell uses it; it stops when the shell
# exits.
studyloop_private_sound() {
    local dir tries
    dir=$(mktemp -d)
    export PULSE_RUNTIME_PATH="$dir" PULSE_SERVER="unix:$dir/native"
    pulseaudio --daemonize=yes --exit-idle-time=-1 -n \
        --load="module-null-sink sink_name=null" --load=module-native-protocol-unix \
        >/dev/null 2>&1 || true
    trap 'pulseaudio --kill >/dev/null 2>&1; rm -rf "$PULSE_RUNTIME_PATH"' EXIT
    for tries in $(seq 50); do
        if pactl info >/dev/null 2>&1; then
            pactl set-default-sink null && pactl set-default-source null.monitor
            return
        fi
        sleep 0.1
    done
    echo "Could not start a PulseAudio server of the benchmark's own" >&2
    return 1
}

studyloop_start_display
studyloop_start_sound || true
