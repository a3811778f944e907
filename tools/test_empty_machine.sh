#!/bin/bash
# SPDX-License-Identifier: MIT
# A new user follows the README on an empty Debian machine: without sudo, with one that refuses, and with
# one that works. Needs root, debootstrap and a network. The last commit is what is tested.
#
# test_empty_machine.sh [--with-tests] [MIRROR]: --with-tests also runs the README's test command, which
# takes some 10 minutes more; MIRROR has the packages of Debian, http://deb.debian.org/debian without it.

set -euo pipefail
cd "$(dirname "$0")/.."

fail()
{
    echo "test_empty_machine.sh: $*" >&2
    exit 1
}

# --- The machine: a folder with its own file systems, processes and users

# All mounts and processes end with these namespaces, also if this script is killed.
if [[ ${1:-} != --inside ]]; then
    ((EUID == 0)) || fail "only root can make an empty machine"
    command -v debootstrap >/dev/null || fail "debootstrap is missing; apt-get install debootstrap"
    machine=$(mktemp -d)
    trap 'rm -rf --one-file-system "$machine"' EXIT
    unshare --mount --pid --fork --kill-child "tools/${0##*/}" --inside "$machine" "$@"
    exit
fi
machine=$2
shift 2
with_tests=''
if [[ ${1:-} == --with-tests ]]; then
    with_tests=1
    shift
fi
readonly machine with_tests mirror=${1:-http://deb.debian.org/debian}

quietly()
{
    "$@" >"$machine/log" 2>&1 || {
        tail -n 50 "$machine/log"
        fail "failed: $*"
    }
}

make_machine()
{
    quietly debootstrap --variant=minbase --include=git,ca-certificates bookworm "$machine" "$mirror"
    chmod 755 "$machine"
    mount -t proc proc "$machine/proc"
    mount -t sysfs -o ro sysfs "$machine/sys"
    mount -t devpts -o newinstance,ptmxmode=666 devpts "$machine/dev/pts"
    ln -sf pts/ptmx "$machine/dev/ptmx"
    mount -t tmpfs -o mode=1777 tmpfs "$machine/dev/shm"
    cp /etc/resolv.conf "$machine/etc/"
    echo "127.0.0.1 localhost $(hostname)" >"$machine/etc/hosts"
    quietly as_root 'useradd --create-home --shell /bin/bash anna'
    git bundle create -q "$machine/srv/project" HEAD
    quietly as_anna 'mkdir "my projects" && git clone -q /srv/project "my projects/clone"'
}

# in_machine COMMAND...: with nothing of this environment but the proxy
in_machine()
{
    chroot "$machine" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin TERM=dumb \
        ${http_proxy:+"http_proxy=$http_proxy"} "$@" </dev/null
}
as_root() { in_machine bash -c "$1"; }
as_anna() { in_machine su --login --whitelist-environment=http_proxy anna --command "$1"; }
in_clone() { as_anna "cd 'my projects/clone' && $1"; }

# --- Without rights

# expect_advice REASON: each command of the README gives the reason and what to type, and leaves nothing.
expect_advice()
{
    local reason=$1 number output status
    for number in 1 2 3; do
        status=0
        output=$(readme "$number" 2>&1) || status=$?
        ((status == 1)) || fail "status $status instead of 1, $reason: $output"
        grep -q "^dev: packages are missing, and $reason: g++ cmake" <<<"$output" ||
            fail "the reason is not '$reason': $output"
        grep -q '^ *apt-get update && apt-get install .*g++ cmake' <<<"$output" ||
            fail "nothing to type, $reason: $output"
        expect_left 'my projects'
        [[ -z $(in_clone 'git status --short --ignored') ]] || fail "something is left in the clone, $reason"
    done
    echo "    $reason: each command says so"
}

# expect_left FILES: all that anna's home and the temporary folder hold
expect_left()
{
    local left
    left=$(as_anna 'ls ~; ls /tmp' | paste -sd,)
    [[ $left == "$1" ]] || fail "these files are left instead of '$1': $left"
}

# --- With rights

# readme NUMBER: the README's shell block of this number, in the clone
readme() { in_clone "bash -euc \"\$(tools/readme_block.sh sh $1)\""; }

# expect_block NUMBER PATTERN: this block succeeds, and its output has a line like PATTERN.
expect_block()
{
    local start=$SECONDS
    readme "$1" >"$machine/srv/output" 2>&1 || {
        tail -n 50 "$machine/srv/output"
        fail "block $1 of the README failed"
    }
    grep -q -- "$2" "$machine/srv/output" || fail "nothing like '$2' in: $(tail "$machine/srv/output")"
    echo "    $(in_clone "tools/readme_block.sh sh $1" | head -n 1): $((SECONDS - start)) s"
}

# The program's blocks run in its own folder.
expect_first_program()
{
    local number output
    in_clone 'mkdir ~/first && tools/readme_block.sh cpp 1 >~/first/first.cpp'
    in_clone 'tools/readme_block.sh cmake 1 >~/first/CMakeLists.txt'
    for number in 4 5; do
        output=$(in_clone "block=\$(tools/readme_block.sh sh $number); cd ~/first && bash -euc \"\$block\"" 2>&1) ||
            fail "block $number of the README failed: $output"
        grep -q 'INFO(first).* : forty-two is 42$' <<<"$output" || fail "the first program printed: $output"
        echo "    first program, block $number"
    done
}

echo "An empty machine"
make_machine
echo "Without rights"
expect_advice "you are not root and there is no sudo"
quietly as_root 'DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends sudo'
expect_advice "sudo refused"
echo "With sudo"
echo 'anna ALL=(ALL) NOPASSWD: ALL' >"$machine/etc/sudoers.d/anna"
expect_block 1 'all records match'
if [[ $with_tests ]]; then expect_block 2 '^100% tests passed'; fi
expect_block 3 '^Installed; '
[[ -z $(as_anna 'find ~/qz ! -user anna') ]] || fail "files below ~/qz aren't anna's"
expect_first_program
expect_left 'first,my projects,qz'
[[ -z $(in_clone 'git status --short') ]] || fail "the clone has changed"
echo "All is well"
