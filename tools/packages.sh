# shellcheck shell=bash disable=SC2034
# For the set-up scripts, which source it: the packages of Debian 12 they need, and how the missing ones are installed.

# What the build stands on.
BUILD_PACKAGES=(g++ cmake ninja-build pkg-config libace-dev libsystemd-dev libmnl-dev libutfcpp-dev libcli11-dev
                libgtest-dev libgmock-dev libbenchmark-dev python3)

# What the tests use beside that: the clients that ask, what is asked about units and packages, and the compiler for Windows.
TEST_PACKAGES=(locales udhcpc isc-dhcp-client bootpc iproute2 systemd nftables dpkg-dev lintian g++-mingw-w64-x86-64-posix)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        echo "This needs root, or the command sudo: $*" >&2
        return 1
    fi
}

apt_install() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@" >/dev/null
}

is_installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Installs those of the packages that are missing, and says so first. The package lists are fetched only if they are
# needed and don't serve.
install_missing() {
    local package missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    if [ ${#missing[@]} -eq 0 ]; then
        echo "All needed packages are installed."
        return 0
    fi
    echo "Installing with apt-get: ${missing[*]}"
    apt-cache show "${missing[@]}" >/dev/null 2>&1 && apt_install "${missing[@]}" && return 0
    echo "Fetching the package lists first."
    as_root apt-get update -qq && apt_install "${missing[@]}"
}
