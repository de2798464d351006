# What the scripts share. Sourced, never run.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# The compiler cache needs a home.
[ -w "${HOME:-/nowhere}" ] || export CCACHE_DIR="$root/build/ccache"

say() { echo "$*" >&2; }

fail() {
    say "$*"
    exit 1
}

# Prints a command and runs it.
show() {
    say "+ $*"
    "$@"
}

# Whether there is a display for the application: macOS, or an X server that is there. For Wayland's own protocol Qt
# would need a plugin that isn't among the packages.
has_display() {
    [ "$(uname)" != Darwin ] || return 0
    case "${DISPLAY:-}" in
        :*) local number=${DISPLAY#:} && [ -S "/tmp/.X11-unix/X${number%%.*}" ] ;;
        *) [ -n "${DISPLAY:-}" ] ;;
    esac
}

processors() { getconf _NPROCESSORS_ONLN; }

# Configures a preset, unless that has been done since the presets were last changed: configure PRESET [OPTION...]
# The compilers that presets name are Debian's; macOS has but one, unless an option says otherwise.
configure() {
    local preset=$1
    shift
    if [ "$(uname)" = Darwin ] && [ $# -eq 0 ]; then set -- -DCMAKE_CXX_COMPILER=c++; fi
    [ "$root/build/$preset/build.ninja" -nt "$root/CMakePresets.json" ] ||
        (cd "$root" && show cmake --preset "$preset" "$@")
}

# Configures and builds a preset: build PRESET [TARGET...]
build() {
    local preset=$1
    shift
    configure "$preset" &&
        show cmake --build "$root/build/$preset" --parallel "$(processors)" ${1:+--target "$@"}
}
