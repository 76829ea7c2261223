# shellcheck shell=bash disable=SC2034,SC2016
# For the set-up scripts, which source it: the packages of Debian 12 they need, and how the missing ones are installed.

# What the build needs, and what makes the next one short.
BUILD_PACKAGES=(g++ cmake ninja-build ccache pkg-config libace-dev libsystemd-dev libmnl-dev libutfcpp-dev libcli11-dev
                nlohmann-json3-dev libgtest-dev libgmock-dev libbenchmark-dev python3)

# What packages are tried with: the tools that build and check one, and a Debian to install it in.
PACKAGE_PACKAGES=(dpkg-dev file lintian mmdebstrap iproute2)

# What else the tests use: the clients that ask, and the checker of units.
TEST_PACKAGES=(iproute2 locales udhcpc isc-dhcp-client bootpc systemd nftables)

# Another apt-get may be at work: for how long its locks are waited for.
LOCK_SECONDS=300

# Servers that tests ask beside the one under test, and what runs its files. They are unpacked, never installed: an
# installation would start them.
PEER_PACKAGES=(isc-dhcp-server dnsmasq-base kea-dhcp4-server logrotate)

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

apt_get() {
    as_root env DEBIAN_FRONTEND=noninteractive LC_ALL=C apt-get -qq -o DPkg::Lock::Timeout=$LOCK_SECONDS "$@" </dev/null
}

apt_install() {
    apt_get install -y --no-install-recommends "$@" >/dev/null
}

# apt-get itself doesn't wait for the lock of the lists. A list that can't be fetched may be one we don't need, so what
# needs them decides.
fetch_lists() {
    local output deadline=$((SECONDS + LOCK_SECONDS))
    echo "Fetching the package lists."
    until output=$(apt_get update 2>&1); do
        if [[ $output != *"Could not get lock"* ]] || [ $SECONDS -gt $deadline ]; then
            echo "$output" >&2
            return 0
        fi
        sleep 1
    done
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
    apt_get install --simulate "${missing[@]}" >/dev/null 2>&1 && apt_install "${missing[@]}" && return 0
    fetch_lists
    apt_install "${missing[@]}"
}

# The tests of the package fetch a Debian of their own through these lists.
fetch_missing_lists() {
    [ -n "$(apt-get indextargets --format '$(FILENAME)' 'Identifier: Packages')" ] || fetch_lists
}

# Unpacks the peers, with the libraries that this system doesn't have, into FOLDER/root, unless they are there.
unpack_peers() {
    local folder=$1 package
    [ ! -e "$folder/complete" ] || return 0
    echo "Unpacking into $folder: ${PEER_PACKAGES[*]}"
    rm -rf "$folder"
    mkdir -p "$folder/archives/partial"
    for package in "${PEER_PACKAGES[@]}"; do
        download_peer "$folder" "$package" >/dev/null || return 1
    done
    for package in "$folder"/archives/*.deb; do
        dpkg-deb -x "$package" "$folder/root" || return 1
    done
    touch "$folder/complete"
}

# A package that is installed here is fetched all the same.
download_peer() {
    local get=(env DEBIAN_FRONTEND=noninteractive apt-get -o "Dir::Cache::archives=$(realpath "$1")/archives" install -y -qq
               --no-install-recommends --download-only --reinstall "$2")
    as_root "${get[@]}" || { as_root apt-get update -qq && as_root "${get[@]}"; }
}
