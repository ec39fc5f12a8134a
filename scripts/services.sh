# Sourced by the two commands: makes sure there is a display and a sound server.
# - No usable $DISPLAY: starts Xvfb (Mesa's llvmpipe gives it OpenGL) and exports DISPLAY.
# - No PulseAudio server answering: starts one with a null sink "null" as the default sink,
#   whose monitor "null.monitor" the tests record from.

studyloop_start_display() {
    if [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; then
        return 0
    fi
    local number
    for number in 99 98 97 96 95; do
        [ -e "/tmp/.X11-unix/X$number" ] && DISPLAY=":$number" xdpyinfo >/dev/null 2>&1 && {
            export DISPLAY=":$number"
            return 0
        }
        [ -e "/tmp/.X$number-lock" ] && continue
        Xvfb ":$number" -screen 0 1600x1200x24 +extension GLX -nolisten tcp >/dev/null 2>&1 &
        local tries
        for tries in $(seq 50); do
            DISPLAY=":$number" xdpyinfo >/dev/null 2>&1 && {
                export DISPLAY=":$number"
                return 0
            }
            sleep 0.1
        done
    done
    echo "Could not start Xvfb" >&2
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

studyloop_start_display
studyloop_start_sound || true
