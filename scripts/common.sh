# Shared by the scripts of this folder: sourced, not run.
set -euo pipefail
# Where temporary files go is the same place for a script that changes its folder, and in another mount namespace.
if [ -n "${TMPDIR:-}" ]; then TMPDIR=$(realpath "$TMPDIR"); fi
case ${TMPDIR:-} in /dev/shm | /dev/shm/*) unset TMPDIR ;; esac
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin # which root has not by plain su, and package tools need

build_packages=(g++ cmake ninja-build pkgconf libboost-dev libboost-filesystem-dev libtinyxml-dev
    libcli11-dev nlohmann-json3-dev systemtap-sdt-dev)
demo_packages=(socat)
test_packages=(libgtest-dev strace)
check_packages=(clang clang-format clang-tidy libc++-dev libc++abi-dev libclang-rt-dev mandoc systemd)
package_packages=(build-essential debhelper fakeroot lintian)
benchmark_packages=(gnuplot-nox)

# Installs those of Debian's packages that are missing, through sudo where that is needed.
install_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    local as_root=()
    if [ "$(id -u)" != 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "missing packages: ${missing[*]}; install them as root, or install sudo" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}"
    local output
    output=$("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive sh -c 'apt-get -q update &&
        apt-get -q -o DPkg::Lock::Timeout=300 install -y --no-install-recommends "$@"' sh "${missing[@]}" 2>&1) || {
        echo "$output" >&2
        return 1
    }
}

# build PRESET [targets]: configures and builds into build/PRESET. On a terminal ninja shows how far it is. On CI a warning
# is an error. One at a time in a checkout.
build() {
    local preset=$1 quiet=--quiet werror=OFF
    shift
    if [ -n "$(find build -maxdepth 2 ! -writable -print -quit 2>/dev/null)" ]; then
        echo "build/ holds another user's files: sudo rm -r build, or give them to $(id -un) by chown -R" >&2
        return 1
    fi
    if [ -t 1 ]; then quiet=; fi
    if [ -n "${CI:-}" ]; then werror=ON; fi
    echo "Building ($preset)"
    mkdir -p build
    exec 8>build/lock
    flock -n 8 || { echo "waiting for another build in this folder" >&2 && flock 8; }
    cmake --preset "$preset" -DOSTRIVANE_WERROR=$werror >/dev/null 8>&-
    cmake --build --preset "$preset" -- $quiet "$@" 8>&-
    exec 8>&-
}
