# shellcheck shell=bash disable=SC2030,SC2031
# The stand that the unmodified host runs on where there is no Windows: packages, a display with
# several monitors, Wine prefixes, and the clean-up after them. For bash; source it, then:
#
#   install_packages             installs the Debian packages that are missing
#   start_display [LAYOUT]       an X server of its own; exports DISPLAY
#   set_monitors LAYOUT          lays out the monitors of DISPLAY, also while programs run
#   make_prefix                  a Wine prefix for this run; exports WINEPREFIX
#   use_wine [DIRECTORY]         exports Wine's environment for programs built into DIRECTORY
#   build_preset NAME [TARGET..] builds one of the presets
#   install_modules              installs what the tests in the browser need
#   at_exit COMMAND [ARGUMENT..] runs the command when the script ends, newest first
#
# A LAYOUT is a list of monitors, primary first: 1280x720,1024x768@left (also @right, which is
# the default, @above and @below; each lies beside all those named before it).
#
# What a script starts ends with it, whichever way it ends: displays are bound to the script's life
# by the kernel, and what a killed script left in build/wine is swept up by the next one.

talu_top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
talu_home=$talu_top/build/wine
talu_wine=/usr/lib/wine/wine64
talu_wineserver=/usr/lib/wine/wineserver64
talu_monitors=1280x720,1024x768
talu_exit_commands=()

say() { printf '%s\n' "$*" >&2; }

die() {
  say "${0##*/}: $*"
  exit 1
}

# --- Clean-up ------------------------------------------------------------------------------------

at_exit() {
  talu_exit_commands+=("$(printf '%q ' "$@")")
}

run_exit_commands() {
  local code=$? command
  trap '' INT TERM HUP
  trap - EXIT
  set +e
  while ((${#talu_exit_commands[@]})); do
    command=${talu_exit_commands[-1]}
    unset 'talu_exit_commands[-1]'
    eval "$command"
  done
  exit "$code"
}

trap run_exit_commands EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
trap 'exit 129' HUP

# The moment a process started, in clock ticks since the machine did; nothing when it has ended.
# With the number of the process it names that process alone, for numbers are used again.
process_start() {
  local stat fields
  { read -r stat <"/proc/$1/stat"; } 2>/dev/null || return 0
  read -ra fields <<<"${stat##*) }"
  [[ ${fields[0]} == [ZX] ]] || echo "${fields[19]}"
}

# Ends a process group that start_group made: politely, then by force.
stop_group() {
  local pid=$1 i
  # What has ended by itself cannot be told to.
  kill -TERM -- "-$pid" 2>/dev/null || kill -TERM "$pid" 2>/dev/null || return 0
  for ((i = 0; i < 100; i++)); do
    [[ -n $(process_start "$pid") ]] || break
    sleep 0.05
  done
  kill -KILL -- "-$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
}

# Starts a command in the background, out of reach of the terminal's Ctrl+C, as a process group
# that ends with this script even when the script is killed. Its number is then in talu_group.
start_group() {
  # Bash would take the standard input from a command in the background.
  setsid setpriv --pdeathsig KILL "$@" <&0 &
  talu_group=$!
  at_exit stop_group "$talu_group"
}

# A directory for this run under build/wine, named after the script's process, so that a later run
# can tell it is left over. Exported to nobody: talu_run_dir.
open_run_dir() {
  [[ -z ${talu_run_dir:-} ]] || return 0
  talu_run_dir=$talu_home/run.$$.$(process_start $$)
  mkdir -p "$talu_run_dir"
  at_exit rm -rf "$talu_run_dir"
  sweep_run_dirs
}

sweep_run_dirs() {
  local dir name pid start
  for dir in "$talu_home"/run.*.*; do
    [[ -d $dir ]] || continue
    name=${dir##*/run.}
    pid=${name%%.*}
    start=${name#*.}
    [[ $(process_start "$pid") == "$start" ]] && continue
    # Into this run's own first, for another run may be sweeping, too.
    mv -T "$dir" "$talu_run_dir/swept" 2>/dev/null || continue
    [[ ! -d $talu_run_dir/swept/prefix ]] || stop_prefix "$talu_run_dir/swept/prefix"
    rm -rf "$talu_run_dir/swept"
  done
}

# --- Packages ------------------------------------------------------------------------------------

# Prints the packages of devkit/packages that are not there.
missing_packages() {
  local package proof
  while read -r package proof; do
    [[ -n $package && $package != \#* ]] || continue
    if [[ $proof == /* ]]; then
      [[ -e $proof ]] || echo "$package"
    else
      command -v "$proof" >/dev/null || echo "$package"
    fi
  done <"$talu_top/devkit/packages"
}

# Installs Debian packages, those named.
apt_install() {
  local as_root=()
  say "Installing: $*"
  if ((EUID != 0)); then
    command -v sudo >/dev/null || die "not root and no sudo; install these yourself: $*"
    as_root=(sudo)
  fi
  "${as_root[@]}" apt-get update -q >&2
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "$@" >&2
}

install_packages() {
  local packages=()
  mapfile -t packages < <(missing_packages)
  ((${#packages[@]})) || return 0
  apt_install "${packages[@]}"
  mapfile -t packages < <(missing_packages)
  ((${#packages[@]} == 0)) || die "installed, and still not there: ${packages[*]}"
}

# --- Display -------------------------------------------------------------------------------------

start_display() {
  local layout=${1:-$talu_monitors} fifo number fd
  open_run_dir
  # A user other than root may have to make the place of the sockets; Xorg makes it for root only.
  mkdir -m 1777 /tmp/.X11-unix 2>/dev/null || true
  fifo=$talu_run_dir/display
  rm -f "$fifo"
  mkfifo "$fifo"
  # Opened for both so that neither side waits for the other here.
  exec {fd}<>"$fifo"
  # Xorg itself, not its wrapper, which lets only users of the console start one.
  start_group /usr/lib/xorg/Xorg -displayfd 9 -config "$talu_top/devkit/xorg.conf" \
    -logfile "$talu_run_dir/xorg.log" -nolisten tcp -noreset -novtswitch -sharevts \
    9>"$fifo" >"$talu_run_dir/xorg.out" 2>&1 </dev/null
  if ! read -r -t 30 number <&"$fd"; then
    tail -20 "$talu_run_dir/xorg.log" "$talu_run_dir/xorg.out" >&2
    die "the X server did not start within 30 s"
  fi
  exec {fd}<&-
  export DISPLAY=:$number
  set_monitors "$layout"
}

set_monitors() {
  local outputs=16 monitors=() options=() known entry size side width height clock
  local -a widths heights lefts tops
  local left=0 top=0 right=0 bottom=0 i x y
  IFS=, read -ra monitors <<<"$1"
  ((${#monitors[@]} >= 1 && ${#monitors[@]} <= outputs)) || die "no layout of monitors: '$1'"
  known=$(xrandr)
  for i in "${!monitors[@]}"; do
    entry=${monitors[i]}
    [[ $entry =~ ^([0-9]+)x([0-9]+)(@(left|right|above|below))?$ ]] ||
      die "no monitor: '$entry' (like 1280x720 or 1024x768@left)"
    width=${BASH_REMATCH[1]}
    height=${BASH_REMATCH[2]}
    side=${BASH_REMATCH[4]:-right}
    size=talu-${width}x$height
    if [[ $known != *" $size "* ]]; then
      clock=$(((width + 160) * (height + 30) * 60))
      xrandr --newmode "$size" "$((clock / 1000000)).$(printf '%06d' $((clock % 1000000)))" \
        "$width" $((width + 48)) $((width + 80)) $((width + 160)) \
        "$height" $((height + 3)) $((height + 8)) $((height + 30)) 2>/dev/null || true
      known+=" $size "
    fi
    xrandr --addmode "DUMMY$i" "$size"
    x=0 y=0
    ((i == 0)) || case $side in
      left) x=$((left - width)) ;;
      right) x=$right ;;
      above) y=$((top - height)) ;;
      below) y=$bottom ;;
    esac
    widths[i]=$width heights[i]=$height lefts[i]=$x tops[i]=$y
    left=$((x < left ? x : left)) top=$((y < top ? y : top))
    right=$((x + width > right ? x + width : right))
    bottom=$((y + height > bottom ? y + height : bottom))
  done
  for ((i = 0; i < outputs; i++)); do
    if ((i < ${#monitors[@]})); then
      options+=(--output "DUMMY$i" --mode "talu-${widths[i]}x${heights[i]}"
        --pos "$((lefts[i] - left))x$((tops[i] - top))")
      ((i != 0)) || options+=(--primary)
    elif [[ $known =~ DUMMY$i\ [a-z]+\ [0-9]+x ]]; then
      options+=(--output "DUMMY$i" --off)
    fi
  done
  # Left to reckon the millimetres itself, it rounds them down at every change, in the end to none.
  xrandr --dpi 96 "${options[@]}"
  # Wine reads the server's cached list of outputs, which only a query brings up to date.
  xrandr >"${talu_run_dir:-/tmp}/xrandr.out" 2>&1 || true
}

# --- Wine ----------------------------------------------------------------------------------------

# use_wine [DIRECTORY]: DIRECTORY is a build's bin; what Wine lacks lies in its folder wine.
use_wine() {
  export WINEDEBUG=${WINEDEBUG:--all}
  export WINEARCH=win64
  export WINEDLLPATH=${1:-$talu_top/build/windows/bin}/wine
  # The C library would give every thread of the renderer a heap of its own, which fills for hours
  # with what is left over from each graphics device.
  export MALLOC_ARENA_MAX=1
  # Wine's debugger ends a program that crashed with code 0 in one case of four.
  export WINEDLLOVERRIDES='winemenubuilder.exe=d;mscoree=d;mshtml=d;winedbg.exe=d'
}

# The registry files that every prefix takes in, ours first.
registry_files() {
  find "$talu_top/devkit/wine" -name '*.reg' | LC_ALL=C sort
}

# What a template depends on; another stamp means another template.
template_stamp() {
  {
    stat -c %Y "$talu_wine"
    id -un
    registry_files | xargs -r cat
    declare -f fill_template make_template
  } | sha256sum | cut -d' ' -f1
}

fill_template() (
  set +e
  use_wine
  unset DISPLAY
  export WINEPREFIX=$1
  trap 'stop_prefix "$1"' EXIT
  exec >"$talu_home/template.log" 2>&1
  timeout 300 "$talu_wine" wineboot -i || exit
  while read -r file; do
    timeout 60 "$talu_wine" regedit /S "$(windows_path "$file")" || exit
  done < <(registry_files)
  # The registry is saved when the last program has ended.
  timeout 60 "$talu_wineserver" -w
)

# make_template: the prefix that all others are copied from, built once; talu_template.
make_template() {
  local stamp lock file fresh=$talu_home/fresh-template
  mkdir -p "$talu_home"
  stamp=$(template_stamp)
  talu_template=$talu_home/template.${stamp:0:12}
  [[ ! -d $talu_template ]] || return 0
  exec {lock}>>"$talu_home/template.lock"
  flock -w 300 "$lock" || die "another run has been making the Wine prefix for five minutes"
  if [[ ! -d $talu_template ]]; then
    say "Making the Wine prefix that all runs are copied from"
    rm -rf "$talu_home"/template.????????????* "$fresh"
    fill_template "$fresh" || die "no Wine prefix; see $talu_home/template.log"
    # Folders of the user's own instead of links into the real home.
    find "$fresh/drive_c/users" -type l -printf '%p\0' | while IFS= read -r -d '' file; do
      rm "$file"
      mkdir "$file"
    done
    # The signs on the windows' buttons; Wine does not look where Debian puts them.
    cp /usr/share/wine/fonts/marlett.ttf "$fresh/drive_c/windows/Fonts/"
    find "$fresh/dosdevices" -type l ! -name 'c:' ! -name 'z:' -delete
    # Wine would otherwise look whether the prefix is of its own version, and set it up anew.
    echo disable >"$fresh/.update-timestamp"
    mv "$fresh" "$talu_template"
  fi
  exec {lock}>&-
}

# clone_prefix DIRECTORY: a prefix there, where none is yet.
clone_prefix() {
  local target=$1 file lock
  [[ ! -e $target/system.reg ]] || return 0
  make_template
  exec {lock}>>"$talu_home/template.lock"
  flock -s "$lock"
  mkdir -p "$(dirname "$target")"
  # Links to the files that nobody changes; the registry is written in place where it is linked.
  cp -al "$talu_template" "$target"
  for file in "$talu_template"/*.reg; do
    cp --remove-destination "$file" "$target/"
  done
  exec {lock}>&-
}

# make_prefix: a prefix for this run, which ends with it; exports WINEPREFIX.
make_prefix() {
  open_run_dir
  export WINEPREFIX=$talu_run_dir/prefix
  clone_prefix "$WINEPREFIX"
  at_exit stop_prefix "$WINEPREFIX"
}

# Ends every program of a prefix, and its server.
stop_prefix() {
  local prefix=$1 server
  [[ -d $prefix ]] || return 0
  # Both fail where no server runs any more, which is what they are for.
  WINEPREFIX=$prefix timeout 30 "$talu_wineserver" -k 2>/dev/null || true
  WINEPREFIX=$prefix timeout 30 "$talu_wineserver" -w 2>/dev/null || true
  server=/tmp/.wine-$UID/$(stat -c 'server-%D-%i' "$prefix" | {
    IFS=- read -r name device inode
    printf '%s-%s-%x' "$name" "$device" "$inode"
  })
  rm -rf "$server"
}

# Wine's name of a file.
windows_path() {
  local path
  path=$(realpath -m "$1")
  printf '%s' "Z:${path//\//\\}"
}

# --- Building ------------------------------------------------------------------------------------

# build_preset NAME [TARGET...]: quiet unless something goes wrong.
build_preset() {
  local preset=$1 log=$talu_top/build/$1.log targets=()
  shift
  (($# == 0)) || targets=(--target "$@")
  say "Building $preset"
  mkdir -p "$talu_top/build"
  (
    cd "$talu_top"
    { [[ -e build/$preset/build.ninja ]] || cmake --preset "$preset"; } &&
      cmake --build --preset "$preset" "${targets[@]}"
  ) >"$log" 2>&1 || {
    tail -60 "$log" >&2
    die "$preset could not be built; all of it is in $log"
  }
}

# What the tests in the browser need from npm.
install_modules() {
  local folder=$talu_top/tests/e2e
  # npm leaves this file; an older one than the lock file is out of date.
  [[ $folder/node_modules/.package-lock.json -nt $folder/package-lock.json ]] && return 0
  say "Installing the browser tests' modules"
  (cd "$folder" && npm ci --no-audit --no-fund >"$talu_top/build/npm.log" 2>&1) || {
    tail -30 "$talu_top/build/npm.log" >&2
    die "npm ci failed"
  }
}
