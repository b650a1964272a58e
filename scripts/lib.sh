# shellcheck shell=bash
# Shared by the scripts of this folder; sourced, not run. Sets ZAN_ROOT (the source tree), the colours, the common
# options (see common_option) and, with make_temp, ZAN_TEMP (a folder for this run's files, removed at the end).
# shellcheck disable=SC2034 # what is set here is used by the scripts that source this file

# What is sorted, compared and read here is no matter of the user's language: to a Turk the capital of "i" is not "I",
# and then the tools of Net-SNMP cannot read a MIB.
SMALL=i
USER_CAPITAL_I=${SMALL^}
export LC_ALL=C.UTF-8

# The agent and its like are not on an ordinary user's PATH.
PATH=$PATH:/usr/sbin:/sbin

ZAN_ROOT=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
ZAN_SCRIPT=${ZAN_SCRIPT:-scripts/$(basename -- "$0")}

# Common options. A script that builds in another place sets DEFAULT_BUILD before it sources this file.
DEFAULT_BUILD=${DEFAULT_BUILD:-build}
BUILD_DIR=${ZAN_BUILD_DIR:-$ZAN_ROOT/$DEFAULT_BUILD}
INSTALL=yes

if [[ -t 1 && -z ${NO_COLOR:-} && ${TERM:-dumb} != dumb ]]; then
    ON_TERMINAL=yes
    BOLD=$'\e[1m' DIM=$'\e[2m' RED=$'\e[31m' GREEN=$'\e[32m' YELLOW=$'\e[33m' CYAN=$'\e[36m' PLAIN=$'\e[0m'
else
    ON_TERMINAL=
    BOLD='' DIM='' RED='' GREEN='' YELLOW='' CYAN='' PLAIN=''
fi
readonly ON_TERMINAL BOLD DIM RED GREEN YELLOW CYAN PLAIN

COMMON_OPTIONS="  --build-dir DIR   where to build (default: $DEFAULT_BUILD in the source tree)
  --no-install      install no packages; what is missing shows itself sooner or later
  --help            this text"

heading() {
    printf '\n%s%s%s\n' "$BOLD$CYAN" "$*" "$PLAIN"
}

say() {
    printf '%s\n' "$*"
}

good() {
    printf '%s%s%s\n' "$GREEN" "$*" "$PLAIN"
}

warn() {
    printf '%s%s: %s%s\n' "$YELLOW" "$ZAN_SCRIPT" "$*" "$PLAIN" >&2
}

# die MESSAGE...: each argument is a line.
die() {
    printf '%s%s: %s%s\n' "$RED" "$ZAN_SCRIPT" "$1" "$PLAIN" >&2
    shift
    if (($# > 0)); then
        printf '  %s\n' "$@" >&2
    fi
    exit 1
}

usage_error() {
    printf '%s: %s\nTry %s --help.\n' "$ZAN_SCRIPT" "$*" "$ZAN_SCRIPT" >&2
    exit 2
}

# quoted WORD...: the words as a shell reads them, for what is printed to be pasted.
quoted() {
    local words
    words=$(printf '%q ' "$@")
    printf '%s' "${words% }"
}

# need_number OPTION [VALUE]: an option's value has to be a number above 0.
need_number() {
    [[ ${2:-} =~ ^[1-9][0-9]*$ ]] || usage_error "$1 needs a number above 0"
}

# need_value OPTION WHAT [VALUE]: an option's value has to be there.
need_value() {
    [[ -n ${3:-} ]] || usage_error "$1 needs $2"
}

# common_option "$@": takes a common option off the front of the arguments; sets TAKEN to how many, 0 for none.
common_option() {
    TAKEN=1
    case $1 in
        --build-dir)
            need_value "$1" "a folder" "${2:-}"
            BUILD_DIR=$(realpath -m -- "$2")
            TAKEN=2
            ;;
        --no-install)
            INSTALL=
            ;;
        --help | -h)
            usage
            exit 0
            ;;
        *)
            TAKEN=0
            ;;
    esac
}

at_exit_commands=()

# at_exit COMMAND...: runs the command when the script ends, whichever way; the last one given runs first.
at_exit() {
    at_exit_commands=("$(printf '%q ' "$@")" "${at_exit_commands[@]}")
    trap run_at_exit EXIT
}

run_at_exit() {
    # A subshell that is ended before it has shed its parent's traps is not the end of the script.
    [[ $BASHPID == "$$" ]] || return 0
    local command
    for command in "${at_exit_commands[@]}"; do
        eval "$command" || true
    done
}

make_temp() {
    if [[ -z ${ZAN_TEMP:-} ]]; then
        local base=${TMPDIR:-/tmp}
        # Below /run it would be out of sight inside the namespaces.
        [[ $(realpath -- "$base") != /run* ]] || base=/tmp
        ZAN_TEMP=$(mktemp -d "$base/zansnmpext.XXXXXX")
        at_exit rm -rf --one-file-system "$ZAN_TEMP"
    fi
}

# show_progress TEXT BEGIN LOG: the text, the seconds gone by and the log's last line, on one line of the terminal,
# until this process is ended or the script is gone.
show_progress() {
    while kill -0 $$ 2>/dev/null; do
        print_progress "$1" "$((SECONDS - $2)) s" "$(last_line "$3")"
        sleep 0.3
    done
}

# print_progress TEXT TIME DETAIL: on one line, as what has wrapped cannot be erased; with room for a "^C".
print_progress() {
    local text=$1 width=0 room
    { read -r _ width < <(stty size <&3 2>/dev/null); } 3>&1 || true
    # A terminal that does not know its width says 0.
    ((room = (width > 0 ? width : 80) - ${#2} - 4)) || true
    if ((${#text} > room)); then
        text=${text:0:room > 3 ? room - 3 : 0}...
    fi
    ((room -= ${#text} + 2)) || true
    # In one go, so that nothing comes between.
    printf '\r\e[K%s %s%s%s' "$text" "$DIM$2" "${3:+  ${3:0:room > 0 ? room : 0}}" "$PLAIN"
}

# last_line FILE: the printable ASCII of what a program that rewrites its last line has in it now.
last_line() {
    local LC_ALL=C text
    text=$(tail -c 400 -- "$1" 2>/dev/null | tr '\r\0' '\n ' 2>/dev/null) || true
    text=${text##*$'\n'}
    printf '%s' "${text//[^ -~]/}"
}

# Ctrl-C ends a script with status 130, whatever the command that it interrupts makes of it.
trap 'exit 130' INT

# step TEXT COMMAND...: runs a long command with a sign of life instead of its output; the output is shown when it
# fails. Its status is the command's.
step() {
    local text=$1 log command progress='' interrupted='' begin=$SECONDS status
    shift
    make_temp
    log=$(mktemp "$ZAN_TEMP/step.XXXXXX")
    trap 'interrupted=yes; erase_line; say "${YELLOW}Stopping as soon as nothing is left half-way.$PLAIN"' INT
    # In the background, or Ctrl-C would be heeded only when the command has ended; which itself gets it all the same.
    # (apt-get, for one, installs what it has begun to install, and ends then.)
    (
        trap - INT QUIT
        "$@"
    ) </dev/null >"$log" 2>&1 &
    command=$!
    if [[ -n $ON_TERMINAL ]]; then
        # Redirected before it is forked: ended at once, it may complain before it gets to any redirection of its own.
        { show_progress "$text" "$begin" "$log" & } 2>/dev/null
        progress=$!
    else
        printf '%s ...\n' "$text"
    fi
    while true; do
        status=0
        wait "$command" 2>/dev/null || status=$?
        kill -0 "$command" 2>/dev/null || break # or it was a signal that has ended the waiting
    done
    if [[ -n $progress ]]; then
        kill "$progress" 2>/dev/null || true
        wait "$progress" 2>/dev/null || true
        erase_line
    fi
    trap 'exit 130' INT
    if [[ -n $interrupted ]] || ((status == 130)); then
        say "${YELLOW}Stopped: $text$PLAIN"
        exit 130
    elif ((status == 0)); then
        printf '%s %s\n' "$text" "$DIM$((SECONDS - begin)) s$PLAIN"
    else
        cat "$log" >&2
    fi
    return "$status"
}

erase_line() {
    [[ -z $ON_TERMINAL ]] || printf '\r\e[K'
}

# packages_of GROUP...: the packages of these groups, one a line.
packages_of() {
    local group
    for group in "$@"; do
        awk -v group="$group" '/^#/ { ours = ($0 == "# " group) } ours && NF && !/^#/ { print $1 }' \
            "$ZAN_ROOT/scripts/packages" | grep . || die "scripts/packages has no group \"$group\""
    done | sort -u
}

# A command of the package's name does as well: npm, for one, often comes with another package of Node.js, which then
# conflicts with Debian's.
is_installed() {
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null) == installed || -x /usr/bin/$1 ]]
}

# check_place: tells what would fail later for the place of the tree or of the build, and not say so.
check_place() {
    local path
    for path in "$ZAN_ROOT" "$BUILD_DIR"; do
        [[ $path != *[\"\$\;:,\\#\<\>]* ]] ||
            die "cmake and what it calls cannot build in $path:" \
                "they take one of the characters \" \$ ; : , \\ # < > for something else than a part of a name."
    done
    path=$BUILD_DIR
    until [[ -e $path ]]; do
        path=$(dirname -- "$path")
    done
    [[ -w $path ]] || die "$path cannot be written to: choose another folder to build in with --build-dir."
}

# ensure_packages GROUP...: installs what is missing of the groups in scripts/packages, and says what.
ensure_packages() {
    local listed
    check_place
    listed=$(packages_of "$@")
    mapfile -t listed <<<"$listed"
    ensure_installed "${listed[@]}"
}

# ensure_installed PACKAGE...: the same for packages that stand in no group.
ensure_installed() {
    local package missing=()
    [[ -z $INSTALL ]] || check_system "$@"
    for package; do
        is_installed "$package" || missing+=("$package")
    done
    if ((${#missing[@]} == 0)); then
        return
    elif [[ -n $INSTALL ]]; then
        install_packages "${missing[@]}"
    elif command -v dpkg-query >/dev/null; then
        warn "not installed, as --no-install says: ${missing[*]}"
    fi
}

# check_system PACKAGE...: the packages are those of Debian 12 and 13, by name and by what they can do.
check_system() {
    local id version name reason="its packages are not known to these scripts, only those of Debian 12 and 13 are."
    id=$(os_release ID) version=$(os_release VERSION_ID) name=$(os_release PRETTY_NAME)
    case $id-$version in
        debian-12 | debian-13) return ;;
        debian-11) reason="its cmake is 3.18, and the tests need 3.21. Debian 12 and 13 are supported." ;;
    esac
    die "${name:-this system} is not supported: $reason" "Nothing was installed. Where you have these packages' like:" \
        "$*" "--no-install tries it with them."
}

os_release() {
    sed -nE "s/^$1=\"?([^\"]*)\"?\$/\1/p" /etc/os-release 2>/dev/null
}

# Sets AS_ROOT, to be put in front of a command that is root's business.
become_root() {
    AS_ROOT=()
    [[ $(id -u) -ne 0 ]] || return 0
    command -v sudo >/dev/null || return 1
    AS_ROOT=(sudo)
}

apt_install() {
    "${AS_ROOT[@]}" bash "$ZAN_ROOT/scripts/install-packages" "$ZAN_TEMP/installed" "$@"
}

apt_update() {
    "${AS_ROOT[@]}" env LC_ALL=C apt-get -y -o DPkg::Lock::Timeout=600 -o APT::Update::Error-Mode=any update
}

install_packages() {
    become_root || die "these packages are missing, and only root can install them:" "apt-get install $*"
    if ((${#AS_ROOT[@]} > 0)); then
        say "sudo may ask for your password: installing packages is root's business."
        sudo -v || die "without sudo these packages have to be installed by root:" "apt-get install $*"
    fi
    make_temp
    local text="Installing $*"
    if (($# > 3)); then
        say "These packages are missing:"
        fold -s -w 76 <<<"$*" | sed 's/^/  /'
        text="Installing these $# packages"
    fi
    if ! step "$text" apt_install "$@" 2>/dev/null; then
        # The package lists may be missing or too old.
        if ! step "Asking for new package lists" apt_update; then
            die "apt-get cannot reach a package mirror: no network, or no mirror of /etc/apt answers." \
                "With a network, run this again, or as root: apt-get install $*"
        fi
        step "$text" apt_install "$@" ||
            die "apt-get could not install these packages; its own words are above." "apt-get install $*"
    fi
    say_installed "$@"
}

# What scripts/install-packages has reported.
say_installed() {
    local off
    off=$(sed -n 's/^off: //p' "$ZAN_TEMP/installed")
    say "New on this machine: $(grep -vc '^off:' "$ZAN_TEMP/installed") packages. To remove them again:"
    say "  ${AS_ROOT[*]:+${AS_ROOT[*]} }apt-get autoremove --purge $*"
    [[ -z $off ]] || say "Their services are off, now and at the next boot: $off."
}

# Arguments of the integration tests on another processor, C library or release. The smoke: whatever the byte order, the
# sizes of numbers and other libraries could spoil.
SMOKE=(test_spine.py test_groups.py test_tables.py test_traps.py -k
    "expected_tree or logs_exactly_this or Uptime or SessionTimeout or Expiration or every_cell or byte_for_byte")

# What these test is the same on every machine: the demo, the managers' side, the MIB as a file, the simulator, the
# loader, the scripts, the tests themselves.
ELSEWHERE=('test_agent_library*' 'test_demo*' 'test_harness*' 'test_mib*' 'test_model*' 'test_monitoring*'
    'test_pollers*' 'test_scripts*' 'test_simulator*')

# debian_sources FORMAT: in apt's own format, what this machine's apt knows of its Debian mirrors.
debian_sources() {
    apt-get indextargets --format "$1" 'Created-By: Packages' 'Origin: Debian' | sort -u | grep . ||
        die "apt has no package lists of Debian: run apt-get update"
}

# private_apt FOLDER ARCH [SUITE]: from here on apt is another one, in that folder, which installs nothing here: it has
# the main archive of that suite, or of this machine's own release, from this machine's mirror, for another architecture.
private_apt() {
    local apt=$1 arch=$2 suite=${3:-$(os_release VERSION_CODENAME)} mirror
    mkdir -p "$apt"/{lists/partial,archives/partial,preferences,sources}
    : >"$apt/status"
    # shellcheck disable=SC2016 # apt fills these in
    mirror=$(debian_sources '$(LABEL) $(SITE)' | awk '$1 == "Debian" { print $2; exit }')
    printf '%s %s %s main\n' deb "$mirror" "$suite" deb-src "$mirror" "$suite" >"$apt/sources/debian.list"
    cat >"$apt/apt.conf.new" <<CONF
APT::Architecture "$arch";
APT::Architectures { "$arch"; };
APT::Install-Recommends "false";
APT::Keep-Downloaded-Packages "true";
Binary::apt-get::APT::Keep-Downloaded-Packages "true";
Acquire::Retries "3";
Acquire::Languages "none";
Dir::State "$apt";
Dir::State::lists "$apt/lists";
Dir::State::status "$apt/status";
Dir::Cache "$apt";
Dir::Cache::archives "$apt/archives";
Dir::Etc::preferencesparts "$apt/preferences";
Dir::Etc::sourcelist "$apt/sources/debian.list";
Dir::Etc::sourceparts "$apt/preferences";
CONF
    mv "$apt/apt.conf.new" "$apt/apt.conf"
    export APT_CONFIG=$apt/apt.conf
}

# configure_and_build TARGET...: builds these targets in BUILD_DIR, unless that is done. Options of an earlier
# configuration stay.
configure_and_build() {
    [[ -z ${ZAN_BUILT:-} ]] || return 0
    # A configuration that has failed leaves its cache behind.
    if [[ ! -f $BUILD_DIR/CMakeCache.txt || (! -f $BUILD_DIR/Makefile && ! -f $BUILD_DIR/build.ninja) ]]; then
        step "Configuring the build" cmake -S "$ZAN_ROOT" -B "$BUILD_DIR" -DZAN_BUILD_TESTS=OFF ||
            die "cmake could not configure $BUILD_DIR; its own words are above."
    fi
    step "Building ${*}" cmake --build "$BUILD_DIR" --parallel "$(nproc)" --target "$@" ||
        die "the build failed; the compiler's words are above."
}

# namespace_command FLAG...: sets NAMESPACE_COMMAND, to be put in front of a command that shall run as process 1 of
# private namespaces. --net is added by who wants it. Nothing of the inside outlives the command that is in front,
# nor this script, however they end.
namespace_command() {
    local refusal
    NAMESPACE_COMMAND=(setpriv --pdeathsig KILL unshare --mount --ipc --pid --fork --mount-proc --kill-child "$@")
    if [[ $(id -u) -ne 0 ]]; then
        # First, because a new user namespace makes the kernel forget --pdeathsig.
        NAMESPACE_COMMAND=(unshare --map-root-user "${NAMESPACE_COMMAND[@]}")
    fi
    if ! refusal=$("${NAMESPACE_COMMAND[@]}" true 2>&1); then
        die "this machine refuses private namespaces: $refusal" \
            "(the command was: ${NAMESPACE_COMMAND[*]} true)" "$(namespace_hint "$refusal")"
    fi
}

# Whether private namespaces are root's business here: the kernel refuses them to other users, as it does in a chroot
# and in most containers, and sudo may help.
namespaces_need_root() {
    [[ $(id -u) -ne 0 ]] && command -v sudo >/dev/null && ! unshare --map-root-user --mount true 2>/dev/null
}

# Sets AS_ROOT to a sudo that keeps what is told to these scripts by environment.
become_root_with_settings() {
    local name
    AS_ROOT=(sudo env)
    for name in $(compgen -e); do
        case $name in
            ZAN_* | CI | NO_COLOR | TMPDIR | XDG_CACHE_HOME | NODE_EXTRA_CA_CERTS | *_proxy | *_PROXY | npm_config_*)
                AS_ROOT+=("$name=${!name}")
                ;;
        esac
    done
    say "This machine refuses private namespaces to ordinary users: going on with sudo, which may ask for your password."
}

# again_as_root ARGUMENT...: starts this script again as root, after what an ordinary user can do: ZAN_BUILT tells.
again_as_root() {
    become_root_with_settings
    run_at_exit
    trap - EXIT
    exec "${AS_ROOT[@]}" ZAN_BUILT=yes bash "$0" "$@"
}

namespace_hint() {
    if [[ $1 == *propagation* ]]; then
        echo "In a chroot: make its folder a mount point before (mount --bind FOLDER FOLDER)."
    elif [[ $(id -u) -eq 0 ]]; then
        echo "In a container: give it the capability SYS_ADMIN and a seccomp profile that allows unshare."
    else
        echo "Allow them to ordinary users (sysctl -w kernel.unprivileged_userns_clone=1), or be root."
    fi
}

# private_run: inside the namespaces, gives /run a file system of its own.
private_run() {
    mount -t tmpfs -o mode=0755 tmpfs /run
    # On Debian /var/run is a link to /run; elsewhere it may be a folder of its own.
    if [[ ! /var/run -ef /run ]]; then
        mount --bind /run /var/run
    fi
}
