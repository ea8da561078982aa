# Debian packages of the build, and how they are installed where they are missing. Sourced by ./run and ./test.

build_packages=(g++ cmake ninja-build qtbase5-dev libgl-dev libglu1-mesa-dev libgl1-mesa-dri libeigen3-dev
                nlohmann-json3-dev libxcb1-dev libqt5sql5-sqlite libqt5sql5-psql libssl-dev
                xvfb xauth fonts-dejavu-core fonts-liberation)
test_packages=(postgresql)
benchmark_packages=(rt-tests)   # cyclictest, beside which the loop's lateness is judged

# need_packages <package>...: installs those that are missing; says in one line what to do where it cannot.
need_packages() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Missing packages, and neither root nor sudo to install them: apt-get install ${missing[*]}" >&2
            exit 1
        fi
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}"
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        "${missing[@]}" >/dev/null
}

# build_preset <preset>: configures once, then builds what changed; build_folder names where.
build_preset() {
    build_folder=build
    [ "$1" = release ] || build_folder=build/$1
    [ -e "$build_folder/build.ninja" ] || cmake --preset "$1" >/dev/null
    local log=$build_folder/build.log
    if ! cmake --build "$build_folder" >"$log" 2>&1; then
        grep -E 'error|FAILED' "$log" | head -n 40 >&2
        echo "The build failed; all of its output is in $log" >&2
        exit 1
    fi
}
