# shellcheck shell=bash
# For the scripts that build, which source it.

# Has the builds of this script go through ccache, if it is installed. A precompiled header is cached only with this
# sloppiness, and no source uses __DATE__ or __TIME__.
use_ccache() {
    command -v ccache >/dev/null || return 0
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
    export CCACHE_SLOPPINESS=pch_defines,time_macros
    export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
    # Other builds may have other maps of source paths, which the cache takes no notice of.
    export CCACHE_NAMESPACE=quillon
}

# quietly LOG COMMAND...: runs the command, and shows the end of its output only if it fails.
quietly() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    "$@" >"$log" 2>&1 && return 0
    tail -40 "$log" >&2
    echo "Failed: $* (all of its output is in $log)" >&2
    return 1
}
