# What the words of ./dev share: installing, building, running tests. To be sourced.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)

# What each kind of work needs from Debian.
packages_build=(g++ cmake ninja-build pkg-config libasio-dev libgpiod-dev)
packages_test=("${packages_build[@]}" libgtest-dev python3 strace)
packages_fuzz=("${packages_build[@]}" clang-14 libclang-rt-14-dev)
packages_bench=("${packages_build[@]}" libbenchmark-dev)
packages_package=(g++-aarch64-linux-gnu cmake ninja-build pkg-config libasio-dev
  libgpiod-dev:arm64 libstdc++6:arm64 dpkg-dev go-md2man)
packages_board=("${packages_package[@]}" libgtest-dev:arm64 qemu-user-static)
packages_target=("${packages_package[@]}" "${packages_build[@]}"
  qemu-system-arm device-tree-compiler cpio make python3)
packages_lint=("${packages_test[@]}" "${packages_package[@]}" libbenchmark-dev
  clang-format-14 clang-tidy-14 tmux lintian)

# Objects that another checkout or another build folder has compiled serve here too.
if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
  export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
fi

say() { printf '%s\n' "$*" >&2; }

die() {
  say "$@"
  exit 1
}

# quietly LABEL COMMAND [argument...]: one line on standard error while it runs, and all that it
# printed only if it fails. The progress of a build is counted on a terminal.
quietly() {
  local label=$1 log start=$SECONDS
  shift
  mkdir -p "$root/build"
  log=$root/build/last-$BASHPID.log
  printf '%s ... ' "$label" >&2
  if "$@" 2>&1 </dev/null | tee "$log" | _CountSteps "$label"; then
    printf 'done (%d s)\n' $((SECONDS - start)) >&2
    rm -f "$log"
  else
    printf 'failed\n' >&2
    grep -v '^\[[0-9]*/[0-9]*\] ' "$log" >&2 || true
    rm -f "$log"
    return 1
  fi
}

_CountSteps() {
  local line
  while IFS= read -r line; do
    if [[ -t 2 && $line =~ ^\[([0-9]+/[0-9]+)\] ]]; then
      printf '\r%s ... %s ' "$1" "${BASH_REMATCH[1]}" >&2
    fi
  done
}

# need PACKAGE...: installs those that are missing; a package of another architecture has that
# behind a colon. With nothing missing it asks nobody but dpkg.
need() {
  command -v dpkg-query >/dev/null || return 0 # no Debian: what is missing shows when it is called
  local present package foreign missing=() own
  own=$(dpkg --print-architecture)
  present=" $(dpkg-query -W -f '${Package}:${Architecture}=${db:Status-Status} ' \
    "$@" 2>/dev/null || true)"
  present=${present//:all=/:$own=}
  for package in "$@"; do
    [[ $package == *:* ]] && foreign=${package#*:} || foreign=$own
    [[ $present == *" ${package%:*}:$foreign=installed "* ]] || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  if ((EUID != 0)) && ! command -v sudo >/dev/null; then
    foreign=
    [[ "${missing[*]}" != *:arm64* ]] || foreign="dpkg --add-architecture arm64 && apt-get update && "
    die "Missing: ${missing[*]}. As root:" \
      "${foreign}apt-get install --no-install-recommends ${missing[*]}"
  fi
  # The lists of packages may be absent or out of date: they are fetched when that shows.
  quietly "Installing ${missing[*]}" _Install "${missing[@]}"
}

_Install() {
  local foreign
  for foreign in $(printf '%s\n' "$@" | sed -n 's/.*://p' | sort -u); do
    dpkg --print-foreign-architectures | grep -qx "$foreign" ||
      _AsRoot dpkg --add-architecture "$foreign"
  done
  _Apt install -y --no-install-recommends "$@" ||
    { _Apt update && _Apt install -y --no-install-recommends "$@"; }
}

_Apt() {
  _AsRoot env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300 "$@"
}

_AsRoot() {
  local as_root=()
  ((EUID == 0)) || as_root=(sudo)
  "${as_root[@]}" "$@"
}

# configure PRESET [cmake option...]
configure() {
  quietly "Configuring $1" _InRoot cmake --preset "$@"
}

# configure_programs PRESET: for a word that needs no unit tests. A new build tree starts without
# them, so that their packages aren't needed; a tree that has them keeps them.
configure_programs() {
  local options=()
  [[ -f $root/build/$1/CMakeCache.txt ]] || options=(-DBOARD_TESTS=OFF)
  configure "$1" "${options[@]}"
}

# build PRESET [target...]
build() {
  local preset=$1
  shift
  quietly "Building $preset" _InRoot cmake --build --preset "$preset" -j "$jobs" \
    ${1:+--target "$@"}
}

# The board's program and its package, build/board/*.deb.
make_package() {
  build board board-console package_docs
  rm -f "$root"/build/board/*.deb
  quietly "Packing board" _InRoot cpack --config build/board/CPackConfig.cmake -B build/board
}

_InRoot() { (cd "$root" && "$@"); }

# fix_addresses: what stands in front of a program with sanitizers, as an array. They lay out the
# address space themselves, and a kernel that moves mappings by more than 28 bits can put one in
# their way: then the program runs at fixed addresses.
fixed_addresses=()
fix_addresses() {
  local random_bits
  random_bits=$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0)
  if ((random_bits > 28)) && setarch "$(uname -m)" -R true 2>/dev/null; then
    fixed_addresses=(setarch "$(uname -m)" -R)
  fi
}

# Totals of the suites that run_suite has run.
passed=0 failed=0 skipped=0

# run_suite PRESET [command in front of ctest...]: runs the preset's tests and adds their results
# to the totals. Only what fails is shown.
run_suite() {
  local preset=$1 results=$root/build/$1/test-results.xml status=0 ran bad off
  shift
  rm -f "$results"
  local run=(_InRoot "$@" ctest --preset "$preset" -j "$jobs" --output-junit "$results")
  say "Running the tests of $preset"
  if [[ -t 1 ]]; then
    "${run[@]}" --progress || status=$?
  else
    "${run[@]}" | _WithoutPasses || status=$?
  fi
  # The head of the results: tests="8" failures="0" disabled="0" skipped="0"
  ran=$(_Count tests) bad=$(_Count failures) off=$(($(_Count disabled) + $(_Count skipped)))
  # ctest may also fail as a whole, with a program that can't list its tests for example.
  ((status == 0 || bad > 0)) || bad=1 ran=$((ran + 1))
  printf '%s: %s\n' "$preset" "$(_Totals $((ran - bad - off)) "$bad" "$off")"
  ((passed += ran - bad - off, failed += bad, skipped += off)) || true
}

_Count() {
  local number=
  [[ ! -f $results ]] || number=$(grep -m1 -o "\<$1=\"[0-9]*\"" "$results" | tr -dc 0-9)
  echo "${number:-0}"
}

_WithoutPasses() { grep -v -E ' Passed +[0-9.]+ sec$|^ +Start +[0-9]+: ' || true; }

_Totals() {
  local text="$1 passed, $2 failed"
  (($3 == 0)) || text+=", $3 skipped"
  echo "$text"
}

# The last line of a word that tests, and its exit status.
finish_suites() {
  _Totals "$passed" "$failed" "$skipped"
  ((failed == 0 && passed > 0))
}
