# Sourced by run.sh and test.sh: installs what the build needs, only when it is missing.
# Optional extra Debian packages are passed in TARNWICK_EXTRA_PACKAGES.

tarnwick_setup() {
    case "$(uname -s)" in
    Darwin)
        if ! command -v brew >/dev/null 2>&1; then
            echo "Homebrew is needed to install Qt on macOS: https://brew.sh" >&2
            return 1
        fi
        brew list qt >/dev/null 2>&1 || brew install qt || return 1
        command -v cmake >/dev/null 2>&1 || brew install cmake || return 1
        CMAKE_PREFIX_PATH="$(brew --prefix qt)${CMAKE_PREFIX_PATH:+:$CMAKE_PREFIX_PATH}"
        export CMAKE_PREFIX_PATH
        JOBS=$(sysctl -n hw.ncpu)
        ;;
    *)
        JOBS=$(nproc 2>/dev/null || echo 2)
        if command -v dpkg-query >/dev/null 2>&1; then
            missing=""
            for pkg in cmake g++ make clang-format qt6-base-dev qt6-base-dev-tools qt6-base-private-dev libqt6test6 libgl-dev \
                $TARNWICK_EXTRA_PACKAGES; do
                dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "ok installed" || missing="$missing $pkg"
            done
            if [ -n "$missing" ]; then
                echo "Installing:$missing"
                sudo=""
                [ "$(id -u)" -eq 0 ] || sudo="sudo"
                $sudo env DEBIAN_FRONTEND=noninteractive apt-get update -qq || return 1
                # shellcheck disable=SC2086
                $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $missing || return 1
            fi
        fi
        ;;
    esac
    export JOBS
}

# tarnwick_build [target...]: configures build/, adding the CMake options in TARNWICK_OPTIONS (they stay in
# its cache), and builds incrementally (everything by default).
tarnwick_build() {
    # shellcheck disable=SC2086
    cmake -S . -B build -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}" ${TARNWICK_OPTIONS:-} >/dev/null || return 1
    [ $# -eq 0 ] || set -- --target "$@"
    cmake --build build --parallel "$JOBS" "$@"
}
