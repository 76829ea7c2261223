# shellcheck shell=bash disable=SC2034
# What `tools/test real` runs, in this order. A part is a line "NAME: PACKAGE... -- COMMAND", its name one word:
#   - the packages are installed before it;
#   - the command is run from the top folder, without standard input: a script of ours, or `run_label LABEL` for the tests
#     of the release build that have this label and the label "real", which keeps them out of the other runs; run_LABEL is a
#     function of tools/test that prepares something first;
#   - it ends with 0 if it has passed, and with 77 if it couldn't run here and has said why.
REAL_PARTS=(
    "package: dpkg-dev lintian mmdebstrap iproute2 systemd udhcpc -- run_packaging"
    "peers: iproute2 -- run_peers"
    "windows: g++-mingw-w64-x86-64-posix -- run_label windows"
)
